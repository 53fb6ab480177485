#include "codec/kernels/avx2/Avx2.h"
#include "codec/kernels/avx2/Ops.h"
#include "codec/kernels/scalar/Scalar.h"

// A group of two bytes is a number n, and three digits: n = (a * 43 + b) * 43 + c.

namespace contentcoding::avx2 {
namespace {

constexpr std::size_t kBlockGroups = 16;  // 32 bytes, 48 characters
constexpr std::size_t kBlockBytes = 32;
constexpr std::size_t kBlockChars = 48;
constexpr int kPair = 43 * 43;

// The digit of a value: 0 to 9, A to Z, and seven others. A value v from 36 up uses entry v - 35 of
// the offsets. Smaller ones use entry 0, which is right for the letters; numbers need 7 less.
__m256i edaChars(__m256i values) {
    constexpr char kLetter = 'A' - 10;
    const __m256i offsets =
        broadcast128(_mm_setr_epi8(kLetter, '(' - 36, ')' - 37, ',' - 38, '-' - 39, '.' - 40,
                                   '/' - 41, '=' - 42, 0, 0, 0, 0, 0, 0, 0, 0));
    const __m256i isNumber = _mm256_cmpgt_epi8(splat(10), values);
    const __m256i offset = _mm256_shuffle_epi8(offsets, _mm256_subs_epu8(values, splat(35)));
    const __m256i less = _mm256_and_si256(isNumber, splat(kLetter - '0'));
    return _mm256_add_epi8(values, _mm256_sub_epi8(offset, less));
}

// Writes the 24 characters of eight groups. Their digits come as
//   firstTwo  a0 b0 a1 b1 a2 b2 a3 b3 a4 b4 a5 b5 a6 b6 a7 b7
//   last      c0 .. c1 .. c2 .. c3 .. c4 .. c5 .. c6 .. c7 ..
// and go out as
//   start     a0 b0 c0 a1 b1 c1 a2 b2 c2 a3 b3 c3 a4 b4 c4 a5
//   end       b5 c5 a6 b6 c6 a7 b7 c7
void storeDigits(__m128i firstTwo, __m128i last, char* text) {
    store16(_mm_or_si128(
                _mm_shuffle_epi8(firstTwo, _mm_setr_epi8(0, 1, kZero, 2, 3, kZero, 4, 5, kZero, 6,
                                                         7, kZero, 8, 9, kZero, 10)),
                _mm_shuffle_epi8(last, _mm_setr_epi8(kZero, kZero, 0, kZero, kZero, 2, kZero, kZero,
                                                     4, kZero, kZero, 6, kZero, kZero, 8, kZero))),
            text);
    const __m128i end = _mm_or_si128(
        _mm_shuffle_epi8(firstTwo, _mm_setr_epi8(11, kZero, 12, 13, kZero, 14, 15, kZero, kZero,
                                                 kZero, kZero, kZero, kZero, kZero, kZero, kZero)),
        _mm_shuffle_epi8(last, _mm_setr_epi8(kZero, 10, kZero, kZero, 12, kZero, kZero, 14, kZero,
                                             kZero, kZero, kZero, kZero, kZero, kZero, kZero)));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(text + 16), end);
}

// Quotients of sixteen numbers. The high half of a product is shifted down by 16 already.
template <std::uint64_t kDivisor, int kShift, std::uint64_t kLargest>
__m256i divided(__m256i numbers) {
    constexpr auto kFactor = static_cast<short>(reciprocal<kDivisor, kShift, kLargest>());
    return _mm256_srli_epi16(_mm256_mulhi_epu16(numbers, _mm256_set1_epi16(kFactor)), kShift - 16);
}

__m256i times(__m256i numbers, short factor) {
    return _mm256_mullo_epi16(numbers, _mm256_set1_epi16(factor));
}

// Sixteen numbers of two bytes, highest first:  n1 n0  ->  n0 n1
__m256i swapBytes16(__m256i numbers) {
    return _mm256_shuffle_epi8(
        numbers, broadcast128(_mm_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14)));
}

void encodeBlock(const unsigned char* bytes, char* text) {
    const __m256i numbers = swapBytes16(load32(bytes));
    const __m256i a = divided<kPair, 26, 0xFFFF>(numbers);
    const __m256i bc = _mm256_sub_epi16(numbers, times(a, kPair));
    const __m256i b = divided<43, 21, kPair - 1>(bc);
    const __m256i c = _mm256_sub_epi16(bc, times(b, 43));
    const __m256i firstTwo = edaChars(_mm256_or_si256(a, _mm256_slli_epi16(b, 8)));
    const __m256i last = edaChars(c);
    storeDigits(lowHalf(firstTwo), lowHalf(last), text);
    storeDigits(highHalf(firstTwo), highHalf(last), text + kBlockChars / 2);
}

// The values of 32 digits, and 1 more each, so that 0 stands for any other character. A half-table
// has the characters from 0x20 or from 0x30 on, whose high digit is made 0 first; what is 0x10 or
// more then gets its highest bit set, for which a shuffle gives 0.
__m256i edaEntries(__m256i chars) {
    const __m256i signs =
        broadcast128(_mm_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 37, 38, 0, 0, 39, 40, 41, 42));
    const __m256i numbers =
        broadcast128(_mm_setr_epi8(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0, 0, 0, 43, 0, 0));
    const auto lookUp = [chars](__m256i table, unsigned char high) {
        const __m256i index = _mm256_xor_si256(chars, splat(high));
        return _mm256_shuffle_epi8(table, _mm256_adds_epu8(index, splat(0x70)));
    };
    const __m256i letters = _mm256_sub_epi8(chars, splat('A'));
    const __m256i isLetter = isAtMost(letters, 25);
    return _mm256_or_si256(_mm256_or_si256(lookUp(signs, 0x20), lookUp(numbers, 0x30)),
                           _mm256_and_si256(isLetter, _mm256_add_epi8(letters, splat(11))));
}

// False, and nothing written, if a character is not a digit or a group is too large. The 24 values
// of eight groups are in two halves of registers, the second one from the ninth value on:
//   start     a0 b0 c0 a1 b1 c1 a2 b2 c2 a3 b3 c3 a4 b4 c4 a5
//   end       c2 a3 b3 c3 a4 b4 c4 a5 b5 c5 a6 b6 c6 a7 b7 c7
// and are put together as storeDigits() has them.
bool decodeBlock(const char* text, unsigned char* bytes) {
    constexpr std::size_t kHalfChars = kBlockChars / 2, kLater = kHalfChars - 16;
    __m256i start = edaEntries(join(load16(text), load16(text + kHalfChars)));
    __m256i end = edaEntries(join(load16(text + kLater), load16(text + kHalfChars + kLater)));
    if (movemask(isEqual(_mm256_min_epu8(start, end), 0)) != 0) return false;
    start = _mm256_sub_epi8(start, splat(1));
    end = _mm256_sub_epi8(end, splat(1));
    const __m256i firstTwo = _mm256_or_si256(
        _mm256_shuffle_epi8(start, broadcast128(_mm_setr_epi8(0, 1, 3, 4, 6, 7, 9, 10, 12, 13, 15,
                                                              kZero, kZero, kZero, kZero, kZero))),
        _mm256_shuffle_epi8(
            end, broadcast128(_mm_setr_epi8(kZero, kZero, kZero, kZero, kZero, kZero, kZero, kZero,
                                            kZero, kZero, kZero, 8, 10, 11, 13, 14))));
    const __m256i last = _mm256_or_si256(
        _mm256_shuffle_epi8(
            start, broadcast128(_mm_setr_epi8(2, kZero, 5, kZero, 8, kZero, 11, kZero, 14, kZero,
                                              kZero, kZero, kZero, kZero, kZero, kZero))),
        _mm256_shuffle_epi8(
            end, broadcast128(_mm_setr_epi8(kZero, kZero, kZero, kZero, kZero, kZero, kZero, kZero,
                                            kZero, kZero, 9, kZero, 12, kZero, 15, kZero))));
    // Neighbours times 43 and 1, added:  a b  ->  ab   (16 bits)
    const __m256i pairs = _mm256_maddubs_epi16(firstTwo, _mm256_set1_epi16(1 << 8 | 43));
    // Up to 1524 the product fits in 16 bits; the sum may not, and then differs from the same sum
    // that does not wrap.
    constexpr short kLargestPair = 1524;
    static_assert(kLargestPair * 43 <= 0xFFFF && (kLargestPair + 1) * 43 > 0xFFFF);
    const __m256i products = times(pairs, 43);
    const __m256i numbers = _mm256_add_epi16(products, last);
    const __m256i isTooLarge =
        _mm256_or_si256(_mm256_cmpgt_epi16(pairs, _mm256_set1_epi16(kLargestPair)),
                        _mm256_xor_si256(numbers, _mm256_adds_epu16(products, last)));
    if (_mm256_testz_si256(isTooLarge, isTooLarge) == 0) return false;
    store32(swapBytes16(numbers), bytes);
    return true;
}

}  // namespace

void encodeEda(const unsigned char* bytes, std::size_t groups, char* text) {
    for (; groups >= kBlockGroups; groups -= kBlockGroups) {
        encodeBlock(bytes, text);
        bytes += kBlockBytes;
        text += kBlockChars;
    }
    scalar::encodeEda(bytes, groups, text);
}

std::size_t decodeEda(const char* text, std::size_t groups, unsigned char* bytes) {
    std::size_t done = 0;
    while (groups - done >= kBlockGroups && decodeBlock(text, bytes)) {
        bytes += kBlockBytes;
        text += kBlockChars;
        done += kBlockGroups;
    }
    return done + scalar::decodeEda(text, groups - done, bytes);
}

}  // namespace contentcoding::avx2
