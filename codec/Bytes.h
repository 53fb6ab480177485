#ifndef CODEC_BYTES_H
#define CODEC_BYTES_H

#include <cstddef>
#include <cstdint>

#include "codec/kernels/Kernels.h"

// Private: numbers in bytes, and the scanner for runs of bytes of one class.

namespace contentcoding {

// The number in `n` bytes, 8 at most, the most significant one first.
inline std::uint64_t loadBigEndian(const unsigned char* p, unsigned int n) {
    std::uint64_t value = 0;
    for (unsigned int i = 0; i < n; ++i)
        value = value << 8 | p[i];
    return value;
}

// How many of the `n` bytes from `p` on belong to the class before the first that does not. Reads
// as Kernels::runLength does.
inline std::size_t runLength(const unsigned char* p, std::size_t n, const ByteClass& members) {
    return n > 0 && members[*p] ? kernels().runLength(p, n, members) : 0;
}

}  // namespace contentcoding

#endif
