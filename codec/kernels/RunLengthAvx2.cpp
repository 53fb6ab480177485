#include <cstdint>

#include "codec/kernels/Avx2.h"
#include "codec/kernels/ClassAvx2.h"

namespace contentcoding::avx2 {

// Aligned blocks, the first and last with bytes that are none of ours: such a block lies in one
// page with one that is, so it can be read; and their bits are dropped. Sanitizers do not know.
__attribute__((no_sanitize("address", "thread"))) std::size_t runLength(const unsigned char* p,
                                                                        std::size_t n,
                                                                        const ByteClass& is) {
    constexpr std::size_t kBlock = 32;
    if (n == 0) return 0;
    const ClassTables tables = tablesOf(is);
    const std::size_t before = reinterpret_cast<std::uintptr_t>(p) % kBlock;
    const auto* block = reinterpret_cast<const __m256i*>(p - before);
    std::uint32_t found = others(_mm256_load_si256(block), tables) >> before << before;
    std::size_t start = 0;  // of the block, from the first one on
    while (found == 0) {
        start += kBlock;
        if (start >= before + n) return n;
        found = others(_mm256_load_si256(++block), tables);
    }
    const std::size_t run = start + firstBit(found) - before;
    return run < n ? run : n;
}

}  // namespace contentcoding::avx2
