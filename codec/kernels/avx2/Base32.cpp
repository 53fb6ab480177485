#include <immintrin.h>

#include <cstring>

#include "codec/kernels/avx2/Avx2.h"
#include "codec/kernels/avx2/Ops.h"
#include "codec/kernels/scalar/Scalar.h"

// Five bytes are eight digits of five bits:  aaaaabbb bbcccccd ddddeeee efffffgg ggghhhhh

namespace contentcoding::avx2 {
namespace {

constexpr std::size_t kBlockGroups = 4;
constexpr std::size_t kBlockBytes = 20;
constexpr std::size_t kBlockChars = 32;

// What a shuffle writes a zero for.
constexpr char kZero = static_cast<char>(0x80);

__m128i load16(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }

// The eight values of one group in each half, as 16-bit numbers. A digit lies in one or two
// neighbouring bytes; `order` has these as a number, which is shifted down by a product:
//   aaaaabbb bbcccccd  ->  00000000 000aaaaa   (by 11), and for the next one   000bbbbb   (by 6)
__m256i valuesOf(__m256i bytes, __m256i order) {
    constexpr short kBy11 = 1 << 5, kBy6 = 1 << 10, kBy9 = 1 << 7, kBy4 = 1 << 12, kBy7 = 1 << 9,
                    kBy10 = 1 << 6, kBy5 = 1 << 11, kBy8 = 1 << 8;
    const __m256i shifts = _mm256_broadcastsi128_si256(
        _mm_setr_epi16(kBy11, kBy6, kBy9, kBy4, kBy7, kBy10, kBy5, kBy8));
    const __m256i windows = _mm256_shuffle_epi8(bytes, order);
    return _mm256_and_si256(_mm256_mulhi_epu16(windows, shifts), _mm256_set1_epi16(31));
}

// The bytes of the windows of a group that starts at byte `i`, low byte first. The last digit is in
// one byte; the other one is zero.
__m128i orderAt(char i) {
    const __m128i order = _mm_setr_epi8(1, 0, 1, 0, 2, 1, 2, 1, 3, 2, 4, 3, 4, 3, kZero, 4);
    return _mm_add_epi8(order, _mm_set1_epi8(i));
}

void encodeBlock(const unsigned char* bytes, char* text) {
    // Two groups for each half: from its start, and from byte 6 of the second load.
    const __m256i in =
        _mm256_inserti128_si256(_mm256_castsi128_si256(load16(bytes)), load16(bytes + 4), 1);
    const __m256i first = valuesOf(in, _mm256_setr_m128i(orderAt(0), orderAt(6)));
    const __m256i second = valuesOf(in, _mm256_setr_m128i(orderAt(5), orderAt(11)));
    const __m256i values = _mm256_packus_epi16(first, second);
    const __m256i isDigit = _mm256_cmpgt_epi8(values, _mm256_set1_epi8(25));
    const __m256i letters = _mm256_add_epi8(values, _mm256_set1_epi8('A'));
    const __m256i digits = _mm256_add_epi8(values, _mm256_set1_epi8('2' - 26));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(text), chosen(isDigit, digits, letters));
}

// Whether each byte is at most `highest`, all unsigned.
__m256i atMost(__m256i bytes, char highest) {
    return _mm256_cmpeq_epi8(_mm256_min_epu8(bytes, _mm256_set1_epi8(highest)), bytes);
}

// False, and nothing written, when one of the 32 characters is no digit.
bool decodeBlock(const char* text, unsigned char* bytes) {
    const __m256i chars = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text));
    const __m256i letters = _mm256_sub_epi8(chars, _mm256_set1_epi8('A'));
    const __m256i digits = _mm256_sub_epi8(chars, _mm256_set1_epi8('2'));
    const __m256i isLetter = atMost(letters, 25);
    if (_mm256_movemask_epi8(_mm256_or_si256(isLetter, atMost(digits, 5))) != -1) return false;
    const __m256i values = chosen(isLetter, letters, _mm256_add_epi8(digits, _mm256_set1_epi8(26)));
    // 000aaaaa 000bbbbb  ->  000000aa aaabbbbb, two of these  ->  20 bits, two of these  ->  40
    // bits
    const __m256i pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi16(0x0120));
    const __m256i fours = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00010400));
    const __m256i groups =
        _mm256_or_si256(_mm256_slli_epi64(fours, 20), _mm256_srli_epi64(fours, 32));
    // Their five bytes, most significant first.
    const __m256i packed = _mm256_shuffle_epi8(
        groups, _mm256_broadcastsi128_si256(_mm_setr_epi8(4, 3, 2, 1, 0, 12, 11, 10, 9, 8, kZero,
                                                          kZero, kZero, kZero, kZero, kZero)));
    const __m128i high = _mm256_extracti128_si256(packed, 1);
    const int lastTwo = _mm_extract_epi16(high, 4);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), _mm256_castsi256_si128(packed));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(bytes + 10), high);
    std::memcpy(bytes + 18, &lastTwo, 2);
    return true;
}

}  // namespace

void encodeBase32(const unsigned char* bytes, std::size_t groups, char* text) {
    if (groups < kBlockGroups) {
        scalar::encodeBase32(bytes, groups, text);
        return;
    }
    for (; groups >= kBlockGroups; groups -= kBlockGroups) {
        encodeBlock(bytes, text);
        bytes += kBlockBytes;
        text += kBlockChars;
    }
    if (groups > 0) {  // the last block overlaps the one before
        const std::size_t again = kBlockGroups - groups;
        encodeBlock(bytes - again * 5, text - again * 8);
    }
}

std::size_t decodeBase32(const char* text, std::size_t groups, unsigned char* bytes) {
    std::size_t done = 0;
    while (groups - done >= kBlockGroups && decodeBlock(text, bytes)) {
        text += kBlockChars;
        bytes += kBlockBytes;
        done += kBlockGroups;
    }
    return done + scalar::decodeBase32(text, groups - done, bytes);
}

}  // namespace contentcoding::avx2
