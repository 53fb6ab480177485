#ifndef CODEC_KERNELS_AVX2_OPS_H
#define CODEC_KERNELS_AVX2_OPS_H

#include <immintrin.h>

#include <cstdint>
#include <cstring>

#include "codec/kernels/Kernels.h"

// Private: the vocabulary of the AVX2 kernels. Lane 0 of a register is the first byte in memory. A
// mask has all bits of a lane set, or none; movemask() makes it a number with one bit for each
// byte, that of lane 0 lowest.

namespace contentcoding::avx2 {

// All static: code that is compiled with -mavx2 must not be merged with code that is not.

constexpr std::size_t kBlock = 32;               // the bytes of a register
constexpr char kZero = static_cast<char>(0x80);  // the index for which a shuffle gives a zero

static inline __m128i load16(const void* p) {
    return _mm_loadu_si128(static_cast<const __m128i*>(p));
}
static inline __m256i load32(const void* p) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(p));
}
static inline void store16(__m128i bytes, void* p) {
    _mm_storeu_si128(static_cast<__m128i*>(p), bytes);
}
static inline void store32(__m256i bytes, void* p) {
    _mm256_storeu_si256(static_cast<__m256i*>(p), bytes);
}

// Shuffles and most other operations treat the two halves of a register alike.
static inline __m128i lowHalf(__m256i bytes) { return _mm256_castsi256_si128(bytes); }
static inline __m128i highHalf(__m256i bytes) { return _mm256_extracti128_si256(bytes, 1); }
static inline __m256i join(__m128i low, __m128i high) { return _mm256_set_m128i(high, low); }
static inline __m256i broadcast128(__m128i half) { return _mm256_broadcastsi128_si256(half); }

static inline __m256i splat(unsigned char b) { return _mm256_set1_epi8(static_cast<char>(b)); }
static inline __m256i isEqual(__m256i bytes, unsigned char b) {
    return _mm256_cmpeq_epi8(bytes, splat(b));
}
static inline __m256i isAtMost(__m256i bytes, unsigned char highest) {
    return _mm256_cmpeq_epi8(_mm256_min_epu8(bytes, splat(highest)), bytes);
}
static inline std::uint32_t movemask(__m256i mask) {
    return static_cast<std::uint32_t>(_mm256_movemask_epi8(mask));
}

// Selects bytes from `set` where the mask is all ones, else from `unset`. (Not by the instruction
// for this: where char is unsigned, GCC 12 misreads the mask.)
static inline __m256i select(__m256i mask, __m256i set, __m256i unset) {
    return _mm256_or_si256(_mm256_and_si256(mask, set), _mm256_andnot_si256(mask, unset));
}

// The place of the lowest bit that is set; there is one.
static inline std::size_t firstBit(std::uint64_t bits) {
    return static_cast<std::size_t>(__builtin_ctzll(bits));
}

struct ClassTables {
    __m256i low, high;
};

static inline ClassTables tablesOf(const ByteClass& members) {
    return {broadcast128(load16(members.low)), broadcast128(load16(members.high))};
}

// A mask of the bytes that do not belong to the class. For 0x41, "A", which is bit 4 of low[1]:
//   bytes     0x41        a byte 0xHL
//   entry     low[1]      low[L], or high[L] where H is 8 or more
//   bit       00010000    bit H % 8
//   member    entry & bit, zero outside the class
static inline __m256i isOutside(__m256i bytes, const ClassTables& tables) {
    const __m256i bits = _mm256_set1_epi64x(static_cast<long long>(0x8040201008040201));
    const __m256i half = _mm256_and_si256(_mm256_srli_epi16(bytes, 4), splat(0x0F));
    // A shuffle goes by the low half, and gives 0 where the highest bit of the index is set. So one
    // of the two gives 0.
    const __m256i flipped = _mm256_xor_si256(bytes, splat(0x80));
    const __m256i entry = _mm256_or_si256(_mm256_shuffle_epi8(tables.low, bytes),
                                          _mm256_shuffle_epi8(tables.high, flipped));
    const __m256i member = _mm256_and_si256(entry, _mm256_shuffle_epi8(bits, half));
    return _mm256_cmpeq_epi8(member, _mm256_setzero_si256());
}

static inline std::uint32_t nonMembers(__m256i bytes, const ClassTables& tables) {
    return movemask(isOutside(bytes, tables));
}

// Division by a constant d is multiplication by its reciprocal. Let m * d = 2^k + e with 0 <= e <
// d. Then n * m / 2^k = n / d + (n * e / 2^k) / d. As long as n * e < 2^k, the second term is below
// 1 / d, which is too little to reach the next whole number.
template <std::uint64_t kDivisor, unsigned int kShift, std::uint64_t kLargest>
consteval std::uint64_t reciprocal() {
    constexpr std::uint64_t kPower = std::uint64_t{1} << kShift;
    constexpr std::uint64_t kFactor = (kPower + kDivisor - 1) / kDivisor;
    static_assert((kFactor * kDivisor - kPower) * kLargest < kPower);
    return kFactor;
}

// The tail of an input, shorter than a block plus the bytes that are looked at after a block,
// followed by pads so that whole blocks can be loaded.
struct PaddedTail {
    unsigned char bytes[4 * kBlock];
};

static inline PaddedTail padTail(const void* from, std::size_t n, unsigned short pads) {
    PaddedTail tail;
    std::memcpy(tail.bytes, from, n);
    store32(_mm256_set1_epi16(static_cast<short>(pads)), tail.bytes + n);
    store32(_mm256_set1_epi16(static_cast<short>(pads)), tail.bytes + n + kBlock);
    return tail;
}

// How much of a tail of `n` bytes is handed over: blocks begin with one of these, and have `ahead`
// bytes after them.
static inline std::size_t paddedSize(std::size_t n, std::size_t ahead) {
    return n - 1 + kBlock + ahead;
}

}  // namespace contentcoding::avx2

#endif
