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

// The eight values of one group in each half, as 16-bit numbers. A digit lies in one byte or in two
// neighbours; `order` puts those into a window of 16 bits. The high half of a product with 2^(16-k)
// is a shift down by k:
//   digit    a                  b                  c                  d
//   window   aaaaabbb'bbcccccd  aaaaabbb'bbcccccd  bbcccccd'ddddeeee  bbcccccd'ddddeeee
//   shift    11                 6                  9                  4
//   digit    e                  f                  g                  h
//   window   ddddeeee'efffffgg  efffffgg'ggghhhhh  efffffgg'ggghhhhh  ggghhhhh'00000000
//   shift    7                  10                 5                  8
// What is left above the five bits is masked off.
__m256i fiveBitValues(__m256i bytes, __m256i order) {
    constexpr short kBy11 = 1 << 5, kBy6 = 1 << 10, kBy9 = 1 << 7, kBy4 = 1 << 12, kBy7 = 1 << 9,
                    kBy10 = 1 << 6, kBy5 = 1 << 11, kBy8 = 1 << 8;
    const __m256i shifts =
        broadcast128(_mm_setr_epi16(kBy11, kBy6, kBy9, kBy4, kBy7, kBy10, kBy5, kBy8));
    const __m256i windows = _mm256_shuffle_epi8(bytes, order);
    return _mm256_and_si256(_mm256_mulhi_epu16(windows, shifts), _mm256_set1_epi16(31));
}

// The bytes of the windows of a group that starts at byte `i`, low byte first.
__m128i windowsAt(char i) {
    const __m128i order = _mm_setr_epi8(1, 0, 1, 0, 2, 1, 2, 1, 3, 2, 4, 3, 4, 3, kZero, 4);
    return _mm_add_epi8(order, _mm_set1_epi8(i));
}

void encodeBlock(const unsigned char* bytes, char* text) {
    // Two groups for each half, from bytes 0 and 5, and from bytes 10 and 15:
    //   bytes 0 ... 9 .. .. .. .. .. ..  |  .. .. .. .. .. .. 10 ... 19
    const __m256i in = join(load16(bytes), load16(bytes + 4));
    const __m256i first = fiveBitValues(in, join(windowsAt(0), windowsAt(6)));
    const __m256i second = fiveBitValues(in, join(windowsAt(5), windowsAt(11)));
    const __m256i values = _mm256_packus_epi16(first, second);
    const __m256i isNumber = _mm256_cmpgt_epi8(values, splat(25));
    const __m256i letters = _mm256_add_epi8(values, splat('A'));
    const __m256i numbers = _mm256_add_epi8(values, splat('2' - 26));
    store32(select(isNumber, numbers, letters), text);
}

// False, and nothing written, if one of the 32 characters is not a digit.
bool decodeBlock(const char* text, unsigned char* bytes) {
    const __m256i chars = load32(text);
    // Characters below the first letter or number wrap around to large values.
    const __m256i letters = _mm256_sub_epi8(chars, splat('A'));
    const __m256i numbers = _mm256_sub_epi8(chars, splat('2'));
    const __m256i isLetter = isAtMost(letters, 25);
    if (movemask(_mm256_or_si256(isLetter, isAtMost(numbers, 5))) != ~0u) return false;
    const __m256i values = select(isLetter, letters, _mm256_add_epi8(numbers, splat(26)));
    // Neighbours times 32 and 1, added:  000aaaaa 000bbbbb  ->  000000aa'aaabbbbb
    const __m256i pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi16(0x0120));
    // Two of these times 1024 and 1, added: the 20 bits aaaaabbb'bbcccccd'dddd of one 32-bit number
    // and the 20 bits eeeeefff'ffgggggh'hhhh of the next.
    const __m256i fours = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00010400));
    // As 64-bit numbers, efgh above abcd. One shift puts abcd 20 bits up, the other one efgh down
    // to the end; the 40 lowest bits are then the group:  ...
    // aaaaabbb'bbcccccd'ddddeeee'efffffgg'ggghhhhh
    const __m256i groups =
        _mm256_or_si256(_mm256_slli_epi64(fours, 20), _mm256_srli_epi64(fours, 32));
    // The five lowest bytes of each number, highest first; ten bytes in each half.
    const __m256i packed = _mm256_shuffle_epi8(
        groups, broadcast128(_mm_setr_epi8(4, 3, 2, 1, 0, 12, 11, 10, 9, 8, kZero, kZero, kZero,
                                           kZero, kZero, kZero)));
    // 16 bytes, then 8 from byte 10 on, then the last 2.
    const __m128i high = highHalf(packed);
    const int lastTwo = _mm_extract_epi16(high, 4);
    store16(lowHalf(packed), bytes);
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
