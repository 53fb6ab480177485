#include <immintrin.h>

#include <cstdint>
#include <cstring>

#include "codec/kernels/avx2/Avx2.h"
#include "codec/kernels/scalar/Scalar.h"

// Ascii85 and EDA: division by a constant is multiplication by its reciprocal, rounded up, which is
// exact as long as the error of that, times the dividend, stays below the power of two divided by.

namespace contentcoding::avx2 {
namespace {

// What a shuffle writes a zero for.
constexpr char kNone = static_cast<char>(0x80);

__m128i load16(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
__m256i load32(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
__m256i twice(__m128i half) { return _mm256_broadcastsi128_si256(half); }
void store16(__m128i bytes, void* to) { _mm_storeu_si128(static_cast<__m128i*>(to), bytes); }

constexpr std::size_t kBlock85Groups = 8;  // 32 bytes, 40 characters
constexpr std::size_t kBlock85Bytes = 32;
constexpr std::size_t kBlock85Chars = 40;
constexpr int kPair85 = 85 * 85;

// Eight numbers of four bytes, the most significant one first.
__m256i bigEndian32(__m256i bytes) {
    return _mm256_shuffle_epi8(
        bytes, twice(_mm_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12)));
}

// By 7225: the reciprocal is 2^44 / 7225, rounded up, and off by 1259 / 7225; times 2^32 that stays
// below 2^44.
__m256i dividedByPair85(__m256i numbers) {
    const __m256i reciprocal =
        _mm256_set1_epi64x(((std::int64_t{1} << 44) + kPair85 - 1) / kPair85);
    const __m256i even = _mm256_mul_epu32(numbers, reciprocal),
                  odd = _mm256_mul_epu32(_mm256_srli_epi64(numbers, 32), reciprocal);
    return _mm256_blend_epi32(_mm256_srli_epi64(even, 44),
                              _mm256_slli_epi64(_mm256_srli_epi64(odd, 44), 32), 0xAA);
}

// The two digits of numbers below 7225 in 16 bits, the first one in the low byte. The reciprocal is
// 2^21 / 85, rounded up, and off by 53 / 85.
__m256i digitPairs85(__m256i numbers) {
    const __m256i first =
        _mm256_srli_epi16(_mm256_mulhi_epu16(numbers, _mm256_set1_epi16(24673)), 5);
    const __m256i second =
        _mm256_sub_epi16(numbers, _mm256_mullo_epi16(first, _mm256_set1_epi16(85)));
    return _mm256_or_si256(first, _mm256_slli_epi16(second, 8));
}

// Writes the 20 characters of four groups: the first digits, and the other four of each.
void write85(__m128i first, __m128i others, char* text) {
    const __m128i start = _mm_or_si128(
        _mm_shuffle_epi8(first, _mm_setr_epi8(0, kNone, kNone, kNone, kNone, 4, kNone, kNone, kNone,
                                              kNone, 8, kNone, kNone, kNone, kNone, 12)),
        _mm_shuffle_epi8(others, _mm_setr_epi8(kNone, 0, 1, 2, 3, kNone, 4, 5, 6, 7, kNone, 8, 9,
                                               10, 11, kNone)));
    store16(start, text);
    const int last = _mm_extract_epi32(others, 3);
    std::memcpy(text + 16, &last, sizeof last);
}

// The digits at 1 to 4 of four groups, together, and those at 0, in numbers of their own.
struct Digits85 {
    __m128i first, others;
};

Digits85 read85(const char* text) {
    const __m128i start = load16(text), end = load16(text + 4);
    return {
        _mm_shuffle_epi8(start, _mm_setr_epi8(0, kNone, kNone, kNone, 5, kNone, kNone, kNone, 10,
                                              kNone, kNone, kNone, 15, kNone, kNone, kNone)),
        _mm_or_si128(_mm_shuffle_epi8(start, _mm_setr_epi8(1, 2, 3, 4, 6, 7, 8, 9, 11, 12, 13, 14,
                                                           kNone, kNone, kNone, kNone)),
                     _mm_shuffle_epi8(
                         end, _mm_setr_epi8(kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone,
                                            kNone, kNone, kNone, kNone, 12, 13, 14, 15)))};
}

// Whether all bytes are at most `highest`, all unsigned.
bool allAtMost(__m256i bytes, char highest) {
    const __m256i above = _mm256_subs_epu8(bytes, _mm256_set1_epi8(highest));
    return _mm256_testz_si256(above, above) != 0;
}

// False, and nothing written, where a character is no digit, or a group may be too large.
bool decodeBlock85(const char* text, unsigned char* bytes) {
    const Digits85 low = read85(text), high = read85(text + kBlock85Chars / 2);
    const __m256i first =
        _mm256_sub_epi8(_mm256_set_m128i(high.first, low.first), _mm256_set1_epi32('!'));
    const __m256i others =
        _mm256_sub_epi8(_mm256_set_m128i(high.others, low.others), _mm256_set1_epi8('!'));
    if (!allAtMost(others, 84) || !allAtMost(first, 81)) return false;
    const __m256i pairs = _mm256_maddubs_epi16(others, _mm256_set1_epi16(1 << 8 | 85));
    const __m256i fours = _mm256_madd_epi16(pairs, _mm256_set1_epi32(1 << 16 | kPair85));
    const __m256i numbers =
        _mm256_add_epi32(fours, _mm256_mullo_epi32(first, _mm256_set1_epi32(kPair85 * kPair85)));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(bytes), bigEndian32(numbers));
    return true;
}

constexpr std::size_t kBlockEdaGroups = 16;  // 32 bytes, 48 characters
constexpr std::size_t kBlockEdaBytes = 32;
constexpr std::size_t kBlockEdaChars = 48;

// 0 to 9, A to Z, and seven others.
__m256i edaChars(__m256i values) {
    constexpr char kLetter = 'A' - 10;
    const __m256i offsets =
        twice(_mm_setr_epi8(kLetter, '(' - 36, ')' - 37, ',' - 38, '-' - 39, '.' - 40, '/' - 41,
                            '=' - 42, 0, 0, 0, 0, 0, 0, 0, 0));
    const __m256i isNumber = _mm256_cmpgt_epi8(_mm256_set1_epi8(10), values);
    const __m256i offset =
        _mm256_shuffle_epi8(offsets, _mm256_subs_epu8(values, _mm256_set1_epi8(35)));
    const __m256i less = _mm256_and_si256(isNumber, _mm256_set1_epi8(kLetter - '0'));
    return _mm256_add_epi8(values, _mm256_sub_epi8(offset, less));
}

// Writes the 24 characters of eight groups: the first two of each, and the last ones.
void writeEda(__m128i firstTwo, __m128i last, char* text) {
    store16(_mm_or_si128(
                _mm_shuffle_epi8(firstTwo, _mm_setr_epi8(0, 1, kNone, 2, 3, kNone, 4, 5, kNone, 6,
                                                         7, kNone, 8, 9, kNone, 10)),
                _mm_shuffle_epi8(last, _mm_setr_epi8(kNone, kNone, 0, kNone, kNone, 2, kNone, kNone,
                                                     4, kNone, kNone, 6, kNone, kNone, 8, kNone))),
            text);
    const __m128i end = _mm_or_si128(
        _mm_shuffle_epi8(firstTwo, _mm_setr_epi8(11, kNone, 12, 13, kNone, 14, 15, kNone, kNone,
                                                 kNone, kNone, kNone, kNone, kNone, kNone, kNone)),
        _mm_shuffle_epi8(last, _mm_setr_epi8(kNone, 10, kNone, kNone, 12, kNone, kNone, 14, kNone,
                                             kNone, kNone, kNone, kNone, kNone, kNone, kNone)));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(text + 16), end);
}

// By 1849: 2^26 / 1849, rounded up, is off by 591 / 1849; by 43: 2^21 / 43 by 1 / 43.
void encodeBlockEda(const unsigned char* bytes, char* text) {
    const __m256i numbers = _mm256_shuffle_epi8(
        load32(bytes), twice(_mm_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14)));
    const __m256i first = _mm256_srli_epi16(
        _mm256_mulhi_epu16(numbers, _mm256_set1_epi16(static_cast<short>(36295))), 10);
    const __m256i rest =
        _mm256_sub_epi16(numbers, _mm256_mullo_epi16(first, _mm256_set1_epi16(43 * 43)));
    const __m256i second = _mm256_srli_epi16(
        _mm256_mulhi_epu16(rest, _mm256_set1_epi16(static_cast<short>(48771))), 5);
    const __m256i third = _mm256_sub_epi16(rest, _mm256_mullo_epi16(second, _mm256_set1_epi16(43)));
    const __m256i firstTwo = edaChars(_mm256_or_si256(first, _mm256_slli_epi16(second, 8)));
    const __m256i last = edaChars(third);
    writeEda(_mm256_castsi256_si128(firstTwo), _mm256_castsi256_si128(last), text);
    writeEda(_mm256_extracti128_si256(firstTwo, 1), _mm256_extracti128_si256(last, 1),
             text + kBlockEdaChars / 2);
}

}  // namespace

std::size_t encodeAscii85(const unsigned char* bytes, std::size_t groups, char* text) {
    std::size_t done = 0;
    for (; groups - done >= kBlock85Groups; done += kBlock85Groups) {
        const __m256i numbers = bigEndian32(load32(bytes));
        const __m256i isZero = _mm256_cmpeq_epi32(numbers, _mm256_setzero_si256());
        if (_mm256_testz_si256(isZero, isZero) == 0) break;
        const __m256i head = dividedByPair85(numbers), first = dividedByPair85(head);
        const auto less = [](__m256i number, __m256i quotient) {
            return _mm256_sub_epi32(number,
                                    _mm256_mullo_epi32(quotient, _mm256_set1_epi32(kPair85)));
        };
        const __m256i pairs = digitPairs85(
            _mm256_or_si256(less(head, first), _mm256_slli_epi32(less(numbers, head), 16)));
        const __m256i others = _mm256_add_epi8(pairs, _mm256_set1_epi8('!'));
        const __m256i firsts = _mm256_add_epi8(first, _mm256_set1_epi8('!'));
        write85(_mm256_castsi256_si128(firsts), _mm256_castsi256_si128(others), text);
        write85(_mm256_extracti128_si256(firsts, 1), _mm256_extracti128_si256(others, 1),
                text + kBlock85Chars / 2);
        bytes += kBlock85Bytes;
        text += kBlock85Chars;
    }
    return done + scalar::encodeAscii85(bytes, groups - done, text);
}

std::size_t decodeAscii85(const char* text, std::size_t groups, unsigned char* bytes) {
    std::size_t done = 0;
    for (; groups - done >= kBlock85Groups; done += kBlock85Groups) {
        if (!decodeBlock85(text, bytes)) {
            const std::size_t some = scalar::decodeAscii85(text, kBlock85Groups, bytes);
            if (some < kBlock85Groups) return done + some;
        }
        text += kBlock85Chars;
        bytes += kBlock85Bytes;
    }
    return done + scalar::decodeAscii85(text, groups - done, bytes);
}

void encodeEda(const unsigned char* bytes, std::size_t groups, char* text) {
    for (; groups >= kBlockEdaGroups; groups -= kBlockEdaGroups) {
        encodeBlockEda(bytes, text);
        bytes += kBlockEdaBytes;
        text += kBlockEdaChars;
    }
    scalar::encodeEda(bytes, groups, text);
}

}  // namespace contentcoding::avx2
