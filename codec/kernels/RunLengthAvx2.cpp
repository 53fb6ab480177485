#include <cstdint>

#include "codec/kernels/Avx2.h"
#include "codec/kernels/ClassAvx2.h"

namespace contentcoding::avx2 {
namespace {

constexpr std::size_t kBlock = 32;

std::size_t smaller(std::size_t a, std::size_t b) { return a < b ? a : b; }

}  // namespace

// Aligned blocks, the first and last with bytes that are none of ours: such a block lies in one
// page with one that is, so it can be read; and their bits are dropped. Sanitizers do not know.
__attribute__((no_sanitize("address", "thread"))) std::size_t runLength(const unsigned char* p,
                                                                        std::size_t n,
                                                                        const ByteClass& is) {
    if (n == 0) return 0;
    const ClassTables tables = tablesOf(is);
    const std::size_t before = reinterpret_cast<std::uintptr_t>(p) % kBlock;
    const auto* block = reinterpret_cast<const __m256i*>(p - before);
    std::uint32_t found = others(_mm256_load_si256(block), tables) >> before << before;
    std::size_t start = 0;  // of the block, from the first one on
    while (found == 0) {
        start += kBlock;
        if (start - before >= n) return n;
        found = others(_mm256_load_si256(++block), tables);
    }
    return smaller(start + firstBit(found) - before, n);
}

// The same, and four blocks at a time where these are aligned together.
__attribute__((no_sanitize("address", "thread"))) std::size_t lengthUntil(const unsigned char* p,
                                                                          std::size_t n,
                                                                          unsigned char a,
                                                                          unsigned char b) {
    if (n == 0) return 0;
    const __m256i as = _mm256_set1_epi8(static_cast<char>(a)),
                  bs = _mm256_set1_epi8(static_cast<char>(b));
    // Zero where the byte is one of the two.
    const auto differences = [&](__m256i bytes) {
        return _mm256_min_epu8(_mm256_xor_si256(bytes, as), _mm256_xor_si256(bytes, bs));
    };
    const auto zerosIn = [](__m256i bytes) {
        return static_cast<std::uint32_t>(
            _mm256_movemask_epi8(_mm256_cmpeq_epi8(bytes, _mm256_setzero_si256())));
    };
    const std::size_t before = reinterpret_cast<std::uintptr_t>(p) % kBlock;
    const auto* block = reinterpret_cast<const __m256i*>(p - before);
    std::uint32_t found = zerosIn(differences(_mm256_load_si256(block))) >> before << before;
    std::size_t start = 0;  // of the block, from the first one on
    while (found == 0) {
        start += kBlock;
        ++block;
        if (start - before >= n) return n;
        const bool aligned = reinterpret_cast<std::uintptr_t>(block) % (4 * kBlock) == 0;
        for (; aligned && n - (start - before) > 4 * kBlock; start += 4 * kBlock, block += 4) {
            const __m256i two = _mm256_min_epu8(differences(_mm256_load_si256(block)),
                                                differences(_mm256_load_si256(block + 1))),
                          more = _mm256_min_epu8(differences(_mm256_load_si256(block + 2)),
                                                 differences(_mm256_load_si256(block + 3)));
            if (zerosIn(_mm256_min_epu8(two, more)) != 0) break;
        }
        found = zerosIn(differences(_mm256_load_si256(block)));
    }
    return smaller(start + firstBit(found) - before, n);
}

}  // namespace contentcoding::avx2
