#include <cstdint>
#include <cstring>

#include "codec/kernels/avx2/Avx2.h"
#include "codec/kernels/avx2/Ops.h"

// Both scanners read whole blocks inside [p, p+n). No block reaches into a page that the bytes
// before it do not lie in: so `n` may be more than there is, as long as the memory goes up to the
// byte that ends the scan.

namespace contentcoding::avx2 {
namespace {

constexpr std::size_t kBlock = 32;
constexpr std::size_t kBlocksAtOnce = 4;
constexpr std::size_t kPage = 4096;  // pages are this long, or a multiple
static_assert(kPage % (kBlocksAtOnce * kBlock) == 0);

// How many bytes there are from `p` up to the next multiple of `alignment`: 1 at least.
std::size_t bytesUpTo(std::size_t alignment, const unsigned char* p) {
    return alignment - reinterpret_cast<std::uintptr_t>(p) % alignment;
}

__m256i load(const unsigned char* p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

std::uint32_t bits(__m256i mask) { return static_cast<std::uint32_t>(_mm256_movemask_epi8(mask)); }

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

// The length of one of the two ends of [p, p+n) that have all its bytes between them, for `n` from
// kShortestEnds up to a block.
std::size_t endLength(std::size_t n) { return n >= 16 ? 16 : n >= 8 ? 8 : kShortestEnds; }

// Both ends, one after the other.
__m256i loadEnds(const unsigned char* p, std::size_t n) {
    const unsigned char* const last = p + n - endLength(n);
    if (n >= 16)
        return _mm256_set_m128i(_mm_loadu_si128(reinterpret_cast<const __m128i*>(last)),
                                _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    return _mm256_castsi128_si256(n >= 8 ? _mm_set_epi64x(load8(last), load8(p))
                                         : _mm_set_epi32(0, 0, load4(last), load4(p)));
}

// What ends a scan: a mask for 32 bytes, and an answer for one.
struct OutsideClass {
    const ByteClass& is;
    ClassTables tables = tablesOf(is);
    static constexpr bool kManyAtOnce = false;

    __m256i operator()(__m256i bytes) const { return outside(bytes, tables); }
    bool operator()(unsigned char b) const { return !is.contains[b]; }
};

struct EitherOf {
    unsigned char a, b;
    __m256i as = _mm256_set1_epi8(static_cast<char>(a)),
            bs = _mm256_set1_epi8(static_cast<char>(b));
    static constexpr bool kManyAtOnce = true;

    __m256i operator()(__m256i bytes) const {
        return _mm256_or_si256(_mm256_cmpeq_epi8(bytes, as), _mm256_cmpeq_epi8(bytes, bs));
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

// For bytes that are all in one page: kShortestEnds at least, and two blocks at most.
template <class Stops>
std::size_t scanShort(const unsigned char* p, std::size_t n, const Stops& stops) {
    std::uint64_t found = 0;
    if (n > kBlock) {
        found = bits(stops(load(p))) | std::uint64_t{bits(stops(load(p + n - kBlock)))}
                                           << (n - kBlock);
    } else {
        const std::size_t length = endLength(n);
        const std::uint32_t ends = bits(stops(loadEnds(p, n)));
        const std::uint32_t first = (std::uint32_t{1} << length) - 1;
        found = (ends & first) | std::uint64_t{ends >> length & first} << (n - length);
    }
    return found == 0 ? n : static_cast<std::size_t>(__builtin_ctzll(found));
}

// Goes on over blocks without such a byte, as many as go four at a time; `block` is aligned, and
// `last` is where the last whole one would start.
template <class Stops>
const unsigned char* skipMany(const unsigned char* block, const unsigned char* last,
                              const Stops& stops) {
    constexpr std::size_t kMany = kBlocksAtOnce * kBlock;
    if (bytesUpTo(kMany, block) != kMany) return block;
    for (; last - block >= static_cast<std::ptrdiff_t>(kMany - kBlock); block += kMany) {
        const __m256i two = _mm256_or_si256(stops(load(block)), stops(load(block + kBlock))),
                      more = _mm256_or_si256(stops(load(block + 2 * kBlock)),
                                             stops(load(block + 3 * kBlock)));
        if (bits(_mm256_or_si256(two, more)) != 0) break;
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
    } else if (const std::uint32_t found = bits(stops(load(p)))) {
        return firstBit(found);
    }
    // From here on blocks are aligned, and each is in one page.
    if (n < kBlock) return n;
    const unsigned char* const last = p + n - kBlock;
    const unsigned char* block = p + first;
    for (; block <= last; block += kBlock) {
        if (Stops::kManyAtOnce) {
            block = skipMany(block, last, stops);
            if (block > last) break;
        }
        if (const std::uint32_t found = bits(stops(load(block))))
            return static_cast<std::size_t>(block - p) + firstBit(found);
    }
    // The last block overlaps the one before; the bytes that are new are in one page.
    const std::uint32_t found = bits(stops(load(last)));
    return found == 0 ? n : n - kBlock + firstBit(found);
}

}  // namespace

std::size_t runLength(const unsigned char* p, std::size_t n, const ByteClass& is) {
    return scan(p, n, OutsideClass{is});
}

std::size_t lengthUntil(const unsigned char* p, std::size_t n, unsigned char a, unsigned char b) {
    return scan(p, n, EitherOf{a, b});
}

}  // namespace contentcoding::avx2
