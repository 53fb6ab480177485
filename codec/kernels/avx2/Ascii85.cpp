#include <cstdint>
#include <cstring>

#include "codec/kernels/avx2/Avx2.h"
#include "codec/kernels/avx2/Ops.h"
#include "codec/kernels/scalar/Scalar.h"

// A group of four bytes is a number n, and five digits: n = (((a * 85 + b) * 85 + c) * 85 + d) * 85
// + e. With pairs of digits that is (a * 7225 + bc) * 7225 + de, where bc = b * 85 + c.

namespace contentcoding::avx2 {
namespace {

constexpr std::size_t kBlockGroups = 8;  // 32 bytes, 40 characters
constexpr std::size_t kBlockBytes = 32;
constexpr std::size_t kBlockChars = 40;
constexpr int kPair = 85 * 85;

// Eight numbers of four bytes, highest first:  n3 n2 n1 n0  <->  n0 n1 n2 n3
__m256i swapBytes32(__m256i numbers) {
    return _mm256_shuffle_epi8(
        numbers, broadcast128(_mm_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12)));
}

// Quotients of eight 32-bit numbers. A product of two takes 64 bits, so the numbers at even and at
// odd places are multiplied one after the other, and put together again.
__m256i dividedByPair(__m256i numbers) {
    constexpr int kShift = 44;
    const __m256i factor = _mm256_set1_epi64x(reciprocal<kPair, kShift, 0xFFFFFFFF>());
    const __m256i even = _mm256_mul_epu32(numbers, factor),
                  odd = _mm256_mul_epu32(_mm256_srli_epi64(numbers, 32), factor);
    return _mm256_blend_epi32(_mm256_srli_epi64(even, kShift),
                              _mm256_slli_epi64(_mm256_srli_epi64(odd, kShift), 32), 0xAA);
}

__m256i timesPair(__m256i numbers) { return _mm256_mullo_epi32(numbers, _mm256_set1_epi32(kPair)); }

// Sixteen pairs bc, as 16-bit numbers, become their digits in memory order:  bc  ->  b c
__m256i splitPairs(__m256i pairs) {
    // The high half of a product is shifted down by 16 already.
    constexpr int kShift = 21;
    constexpr auto kFactor = static_cast<short>(reciprocal<85, kShift, kPair - 1>());
    const __m256i first =
        _mm256_srli_epi16(_mm256_mulhi_epu16(pairs, _mm256_set1_epi16(kFactor)), kShift - 16);
    const __m256i second =
        _mm256_sub_epi16(pairs, _mm256_mullo_epi16(first, _mm256_set1_epi16(85)));
    return _mm256_or_si256(first, _mm256_slli_epi16(second, 8));
}

// Writes the 20 characters of four groups. Their digits come as
//   first   a0 .. .. .. a1 .. .. .. a2 .. .. .. a3 .. .. ..
//   others  b0 c0 d0 e0 b1 c1 d1 e1 b2 c2 d2 e2 b3 c3 d3 e3
// and go out as
//   start   a0 b0 c0 d0 e0 a1 b1 c1 d1 e1 a2 b2 c2 d2 e2 a3
//   end     b3 c3 d3 e3
void storeDigits(__m128i first, __m128i others, char* text) {
    const __m128i start = _mm_or_si128(
        _mm_shuffle_epi8(first, _mm_setr_epi8(0, kZero, kZero, kZero, kZero, 4, kZero, kZero, kZero,
                                              kZero, 8, kZero, kZero, kZero, kZero, 12)),
        _mm_shuffle_epi8(others, _mm_setr_epi8(kZero, 0, 1, 2, 3, kZero, 4, 5, 6, 7, kZero, 8, 9,
                                               10, 11, kZero)));
    store16(start, text);
    const int end = _mm_extract_epi32(others, 3);
    std::memcpy(text + 16, &end, sizeof end);
}

struct Digits {
    __m128i first, others;
};

// Reads the 20 characters of four groups, the other way round. The second load starts 4 characters
// later, so that its last four are the last ones of the text; nothing after them is read.
Digits loadDigits(const char* text) {
    const __m128i start = load16(text), end = load16(text + 4);
    return {
        _mm_shuffle_epi8(start, _mm_setr_epi8(0, kZero, kZero, kZero, 5, kZero, kZero, kZero, 10,
                                              kZero, kZero, kZero, 15, kZero, kZero, kZero)),
        _mm_or_si128(_mm_shuffle_epi8(start, _mm_setr_epi8(1, 2, 3, 4, 6, 7, 8, 9, 11, 12, 13, 14,
                                                           kZero, kZero, kZero, kZero)),
                     _mm_shuffle_epi8(
                         end, _mm_setr_epi8(kZero, kZero, kZero, kZero, kZero, kZero, kZero, kZero,
                                            kZero, kZero, kZero, kZero, 12, 13, 14, 15)))};
}

void encodeBlock(__m256i numbers, char* text) {
    // head = a * 7225 + bc, and first = a, each in 32 bits.
    const __m256i head = dividedByPair(numbers), first = dividedByPair(head);
    const __m256i bc = _mm256_sub_epi32(head, timesPair(first));
    const __m256i de = _mm256_sub_epi32(numbers, timesPair(head));
    const __m256i others = splitPairs(_mm256_or_si256(bc, _mm256_slli_epi32(de, 16)));
    const __m256i firstChars = _mm256_add_epi8(first, splat('!'));
    const __m256i otherChars = _mm256_add_epi8(others, splat('!'));
    storeDigits(lowHalf(firstChars), lowHalf(otherChars), text);
    storeDigits(highHalf(firstChars), highHalf(otherChars), text + kBlockChars / 2);
}

// False, and nothing written, if a character is not a digit or a group may be too large. With a
// first digit of at most 81, the largest number is 82 * 85^4 - 1, which is below 2^32.
bool decodeBlock(const char* text, unsigned char* bytes) {
    static_assert(std::uint64_t{82} * kPair * kPair - 1 <= 0xFFFFFFFF);
    const Digits low = loadDigits(text), high = loadDigits(text + kBlockChars / 2);
    // Characters below "!" wrap around to large values.
    const __m256i first = _mm256_sub_epi8(join(low.first, high.first), _mm256_set1_epi32('!'));
    const __m256i others = _mm256_sub_epi8(join(low.others, high.others), splat('!'));
    if (movemask(_mm256_and_si256(isAtMost(others, 84), isAtMost(first, 81))) != ~0u) return false;
    // Neighbours times 85 and 1, added:  b c d e  ->  bc de   (16 bits each)
    const __m256i pairs = _mm256_maddubs_epi16(others, _mm256_set1_epi16(1 << 8 | 85));
    // Two of these times 7225 and 1, added:  bcde   (32 bits)
    const __m256i fours = _mm256_madd_epi16(pairs, _mm256_set1_epi32(1 << 16 | kPair));
    const __m256i numbers =
        _mm256_add_epi32(fours, _mm256_mullo_epi32(first, _mm256_set1_epi32(kPair * kPair)));
    store32(swapBytes32(numbers), bytes);
    return true;
}

}  // namespace

std::size_t encodeAscii85(const unsigned char* bytes, std::size_t groups, char* text) {
    std::size_t done = 0;
    for (; groups - done >= kBlockGroups; done += kBlockGroups) {
        const __m256i numbers = swapBytes32(load32(bytes));
        if (movemask(_mm256_cmpeq_epi32(numbers, _mm256_setzero_si256())) != 0) break;
        encodeBlock(numbers, text);
        bytes += kBlockBytes;
        text += kBlockChars;
    }
    return done + scalar::encodeAscii85(bytes, groups - done, text);
}

// A block that decodeBlock() leaves alone may still be good, when a first digit is 82.
std::size_t decodeAscii85(const char* text, std::size_t groups, unsigned char* bytes) {
    std::size_t done = 0;
    for (; groups - done >= kBlockGroups; done += kBlockGroups) {
        if (!decodeBlock(text, bytes)) {
            const std::size_t some = scalar::decodeAscii85(text, kBlockGroups, bytes);
            if (some < kBlockGroups) return done + some;
        }
        text += kBlockChars;
        bytes += kBlockBytes;
    }
    return done + scalar::decodeAscii85(text, groups - done, bytes);
}

}  // namespace contentcoding::avx2
