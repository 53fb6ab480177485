#include <arm_neon.h>

#include <cstdint>

#include "codec/kernels/neon/Neon.h"
#include "codec/kernels/scalar/Scalar.h"

namespace contentcoding::neon {
namespace {

// Four bits for each byte that does not belong to the class. A look-up gives 0 for an index above
// 15, so one of the two tables gives 0. For 0x41, "A", which is bit 4 of low[1]:
//   index    0x01         the low half, with the highest bit
//   entry    low[1]       low[L], or high[L] where H is 8 or more
//   member   all ones     where entry has bit H % 8
//   nibbles  0000         each byte of ~member, narrowed to four bits
std::uint64_t nonMembers(uint8x16_t bytes, uint8x16_t low, uint8x16_t high) {
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

// Loads whole blocks that lie inside [p, p+n), and no block that reaches into a page in which the
// run may not arrive. So `n` may exceed the memory, if the memory holds the byte that ends the run.
std::size_t runLength(const unsigned char* p, std::size_t n, const ByteClass& members) {
    constexpr std::size_t kBlock = 16, kPage = 4096;  // or a multiple of it
    const auto upTo = [p](std::size_t alignment) {
        return alignment - reinterpret_cast<std::uintptr_t>(p) % alignment;
    };
    if (n < kBlock) return scalar::runLength(p, n, members);
    const uint8x16_t low = vld1q_u8(members.low), high = vld1q_u8(members.high);
    const auto nonMembersAt = [&](std::size_t i) { return nonMembers(vld1q_u8(p + i), low, high); };
    const auto place = [](std::size_t i, std::uint64_t found) {
        return i + static_cast<std::size_t>(__builtin_ctzll(found)) / 4;
    };
    const std::size_t first = upTo(kBlock);
    if (upTo(kPage) < kBlock) {
        const std::size_t run = scalar::runLength(p, first, members);
        if (run < first) return run;
    } else if (const std::uint64_t found = nonMembersAt(0)) {
        return place(0, found);
    }
    // From here on blocks are aligned, and each is in one page.
    const std::size_t last = n - kBlock;
    for (std::size_t i = first; i <= last; i += kBlock) {
        if (const std::uint64_t found = nonMembersAt(i)) return place(i, found);
    }
    // The last block overlaps the one before. Its new bytes are in one page.
    const std::uint64_t found = nonMembersAt(last);
    return found == 0 ? n : place(last, found);
}

}  // namespace contentcoding::neon
