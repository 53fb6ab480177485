#include <arm_neon.h>

#include <cstdint>

#include "codec/kernels/neon/Neon.h"
#include "codec/kernels/scalar/Scalar.h"

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

// Whole blocks inside [p, p+n), of which none reaches into a page that the bytes before it do not
// lie in: so `n` may be more than there is, as long as the memory goes up to the byte that ends the
// run.
std::size_t runLength(const unsigned char* p, std::size_t n, const ByteClass& is) {
    constexpr std::size_t kBlock = 16, kPage = 4096;  // pages are this long, or a multiple
    const auto upTo = [p](std::size_t alignment) {
        return alignment - reinterpret_cast<std::uintptr_t>(p) % alignment;
    };
    if (n < kBlock) return scalar::runLength(p, n, is);
    const uint8x16_t low = vld1q_u8(is.low), high = vld1q_u8(is.high);
    const auto othersAt = [&](std::size_t i) { return others(vld1q_u8(p + i), low, high); };
    const auto place = [](std::size_t i, std::uint64_t found) {
        return i + static_cast<std::size_t>(__builtin_ctzll(found)) / 4;
    };
    const std::size_t first = upTo(kBlock);
    if (upTo(kPage) < kBlock) {
        const std::size_t run = scalar::runLength(p, first, is);
        if (run < first) return run;
    } else if (const std::uint64_t found = othersAt(0)) {
        return place(0, found);
    }
    // From here on blocks are aligned, and each is in one page.
    const std::size_t last = n - kBlock;
    for (std::size_t i = first; i <= last; i += kBlock) {
        if (const std::uint64_t found = othersAt(i)) return place(i, found);
    }
    // The last block overlaps the one before; the bytes that are new are in one page.
    const std::uint64_t found = othersAt(last);
    return found == 0 ? n : place(last, found);
}

}  // namespace contentcoding::neon
