#include <arm_neon.h>

#include <cstdint>

#include "codec/kernels/Neon.h"

namespace contentcoding::neon {
namespace {

// Four bits for each byte that does not belong to the class. A look-up gives 0 for an index above
// 15: so one of the two tables gives 0.
std::uint64_t others(uint8x16_t bytes, uint8x16_t low, uint8x16_t high) {
    const uint8x16_t bits =
        vcombine_u8(vcreate_u8(0x8040201008040201), vcreate_u8(0x8040201008040201));
    const uint8x16_t index = vandq_u8(bytes, vdupq_n_u8(0x8F));
    const uint8x16_t entry =
        vorrq_u8(vqtbl1q_u8(low, index), vqtbl1q_u8(high, veorq_u8(index, vdupq_n_u8(0x80))));
    const uint8x16_t member = vtstq_u8(entry, vqtbl1q_u8(bits, vshrq_n_u8(bytes, 4)));
    const uint8x8_t nibbles = vshrn_n_u16(vreinterpretq_u16_u8(vmvnq_u8(member)), 4);
    return vget_lane_u64(vreinterpret_u64_u8(nibbles), 0);
}

}  // namespace

// Aligned blocks, as the contract allows. Sanitizers do not know.
__attribute__((no_sanitize("address", "thread"))) std::size_t runLength(const unsigned char* p,
                                                                        std::size_t n,
                                                                        const ByteClass& is) {
    constexpr std::size_t kBlock = 16;
    if (n == 0) return 0;
    const uint8x16_t low = vld1q_u8(is.low), high = vld1q_u8(is.high);
    const std::size_t before = reinterpret_cast<std::uintptr_t>(p) % kBlock;
    const unsigned char* block = p - before;
    std::uint64_t found = others(vld1q_u8(block), low, high) >> 4 * before << 4 * before;
    std::size_t start = 0;  // of the block, from the first one on
    while (found == 0) {
        start += kBlock;
        if (start >= before + n) return n;
        block += kBlock;
        found = others(vld1q_u8(block), low, high);
    }
    const std::size_t run = start + static_cast<std::size_t>(__builtin_ctzll(found)) / 4 - before;
    return run < n ? run : n;
}

}  // namespace contentcoding::neon
