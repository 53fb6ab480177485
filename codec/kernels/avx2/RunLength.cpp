#include <cstdint>
#include <cstring>

#include "codec/kernels/avx2/Avx2.h"
#include "codec/kernels/avx2/Ops.h"

// Both scanners load whole blocks that lie inside [p, p+n), and no block that reaches into a page
// in which the scan may not arrive. So `n` may exceed the memory, if the memory holds the byte that
// ends the scan.

namespace contentcoding::avx2 {
namespace {

constexpr std::size_t kBlocksAtOnce = 4;
constexpr std::size_t kPage = 4096;  // or a multiple of it
static_assert(kPage % (kBlocksAtOnce * kBlock) == 0);

// How many bytes there are from `p` up to the next multiple of `alignment`: 1 at least.
std::size_t bytesUpTo(std::size_t alignment, const unsigned char* p) {
    return alignment - reinterpret_cast<std::uintptr_t>(p) % alignment;
}

long long load8(const unsigned char* p) {
    long long bytes = 0;
    std::memcpy(&bytes, p, sizeof bytes);
    return bytes;
}

int load4(const unsigned char* p) {
    int bytes = 0;
    std::memcpy(&bytes, p, sizeof bytes);
    return bytes;
}

constexpr std::size_t kShortestEnds = 4;

// A range of kShortestEnds bytes up to a block is covered by its first and its last bytes, which
// may overlap. The length of these:
std::size_t endLength(std::size_t n) { return n >= 16 ? 16 : n >= 8 ? 8 : kShortestEnds; }

// Both ends, one after the other. For "abcdefghijk", n = 11 and ends of 8:
//   abcdefghdefghijk ................
__m256i loadEnds(const unsigned char* p, std::size_t n) {
    const unsigned char* const last = p + n - endLength(n);
    if (n >= 16) return join(load16(p), load16(last));
    return _mm256_castsi128_si256(n >= 8 ? _mm_set_epi64x(load8(last), load8(p))
                                         : _mm_set_epi32(0, 0, load4(last), load4(p)));
}

// The two conditions that end a scan: as a mask for 32 bytes, and for a single one.
struct OutsideClass {
    const ByteClass& members;
    ClassTables tables = tablesOf(members);
    static constexpr bool kManyAtOnce = false;

    __m256i operator()(__m256i bytes) const { return isOutside(bytes, tables); }
    bool operator()(unsigned char b) const { return !members.contains[b]; }
};

struct EitherOf {
    unsigned char a, b;
    static constexpr bool kManyAtOnce = true;

    __m256i operator()(__m256i bytes) const {
        return _mm256_or_si256(isEqual(bytes, a), isEqual(bytes, b));
    }
    bool operator()(unsigned char c) const { return c == a || c == b; }
};

template <class Stops>
std::size_t scanByByte(const unsigned char* p, std::size_t n, const Stops& stops) {
    std::size_t i = 0;
    while (i < n && !stops(p[i]))
        ++i;
    return i;
}

// For kShortestEnds bytes up to two blocks, all in one page.
template <class Stops>
std::size_t scanShort(const unsigned char* p, std::size_t n, const Stops& stops) {
    std::uint64_t found = 0;
    if (n > kBlock) {
        found = movemask(stops(load32(p))) | std::uint64_t{movemask(stops(load32(p + n - kBlock)))}
                                                 << (n - kBlock);
    } else {
        const std::size_t length = endLength(n);
        const std::uint32_t ends = movemask(stops(loadEnds(p, n)));
        const std::uint32_t first = (std::uint32_t{1} << length) - 1;
        // Bit i of the second end is for byte n - length + i.
        found = (ends & first) | std::uint64_t{ends >> length & first} << (n - length);
    }
    return found == 0 ? n : firstBit(found);
}

// Skips blocks without a byte that ends the scan, four at a time where these are aligned together,
// and so in one page. `block` is aligned; `last` is the start of the last whole one.
template <class Stops>
const unsigned char* skipMany(const unsigned char* block, const unsigned char* last,
                              const Stops& stops) {
    constexpr std::size_t kMany = kBlocksAtOnce * kBlock;
    if (bytesUpTo(kMany, block) != kMany) return block;
    for (; last - block >= static_cast<std::ptrdiff_t>(kMany - kBlock); block += kMany) {
        const __m256i two = _mm256_or_si256(stops(load32(block)), stops(load32(block + kBlock))),
                      more = _mm256_or_si256(stops(load32(block + 2 * kBlock)),
                                             stops(load32(block + 3 * kBlock)));
        if (movemask(_mm256_or_si256(two, more)) != 0) break;
    }
    return block;
}

// How many bytes of [p, p+n) come before the first that ends the scan.
template <class Stops>
std::size_t scan(const unsigned char* p, std::size_t n, const Stops& stops) {
    if (n < kShortestEnds) return scanByByte(p, n, stops);
    const std::size_t inPage = bytesUpTo(kPage, p);
    if (n <= 2 * kBlock && n <= inPage) return scanShort(p, n, stops);
    const std::size_t first = n < kBlock ? n : bytesUpTo(kBlock, p);
    if (inPage < kBlock) {
        const std::size_t run = scanByByte(p, first, stops);
        if (run < first) return run;
    } else if (const std::uint32_t found = movemask(stops(load32(p)))) {
        return firstBit(found);
    }
    if (n < kBlock) return n;
    // From here on blocks are aligned, and each is in one page.
    const unsigned char* const last = p + n - kBlock;
    const unsigned char* block = p + first;
    for (; block <= last; block += kBlock) {
        if (Stops::kManyAtOnce) {
            block = skipMany(block, last, stops);
            if (block > last) break;
        }
        if (const std::uint32_t found = movemask(stops(load32(block))))
            return static_cast<std::size_t>(block - p) + firstBit(found);
    }
    // The last block overlaps the one before. Its new bytes are in one page.
    const std::uint32_t found = movemask(stops(load32(last)));
    return found == 0 ? n : n - kBlock + firstBit(found);
}

}  // namespace

std::size_t runLength(const unsigned char* p, std::size_t n, const ByteClass& members) {
    return scan(p, n, OutsideClass{members});
}

std::size_t lengthUntil(const unsigned char* p, std::size_t n, unsigned char a, unsigned char b) {
    return scan(p, n, EitherOf{a, b});
}

}  // namespace contentcoding::avx2
