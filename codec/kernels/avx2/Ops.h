#ifndef CODEC_KERNELS_CLASSAVX2_H
#define CODEC_KERNELS_CLASSAVX2_H

#include <immintrin.h>

#include <cstdint>

#include "codec/kernels/Kernels.h"

// Private: telling which of 32 bytes belong to a class, and choosing by that.

namespace contentcoding::avx2 {

// All static: what is compiled with the flags of one file must not serve another.

struct ClassTables {
    __m256i low, high;
};

static inline __m256i twice(const unsigned char* half) {
    return _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(half)));
}

static inline ClassTables tablesOf(const ByteClass& is) { return {twice(is.low), twice(is.high)}; }

// All bits of each byte that does not belong to the class.
static inline __m256i outside(__m256i bytes, const ClassTables& is) {
    const __m256i bit = _mm256_set1_epi64x(static_cast<long long>(0x8040201008040201));
    const __m256i half = _mm256_and_si256(_mm256_srli_epi16(bytes, 4), _mm256_set1_epi8(0x0F));
    // A shuffle goes by the low half, and gives 0 where the byte's highest bit is set: so one of
    // the two gives 0.
    const __m256i flipped = _mm256_xor_si256(bytes, _mm256_set1_epi8(static_cast<char>(0x80)));
    const __m256i entry =
        _mm256_or_si256(_mm256_shuffle_epi8(is.low, bytes), _mm256_shuffle_epi8(is.high, flipped));
    const __m256i member = _mm256_and_si256(entry, _mm256_shuffle_epi8(bit, half));
    return _mm256_cmpeq_epi8(member, _mm256_setzero_si256());
}

// A bit for each of them.
static inline std::uint32_t others(__m256i bytes, const ClassTables& is) {
    return static_cast<std::uint32_t>(_mm256_movemask_epi8(outside(bytes, is)));
}

// Of two registers the bytes of one where the mask has all bits set, of the other where it has
// none. (Not by the processor's own instruction: where char is unsigned, GCC 12 takes its mask for
// unset.)
static inline __m256i chosen(__m256i mask, __m256i set, __m256i unset) {
    return _mm256_or_si256(_mm256_and_si256(mask, set), _mm256_andnot_si256(mask, unset));
}

static inline unsigned int firstBit(std::uint32_t bits) {
    return static_cast<unsigned int>(__builtin_ctz(bits));
}

}  // namespace contentcoding::avx2

#endif
