#ifndef CODEC_BYTES_H
#define CODEC_BYTES_H

#include <array>
#include <cstddef>
#include <cstdint>

// Private: numbers in bytes, classes of bytes, and the scanner for runs of one class.

namespace contentcoding {

// The number in `n` bytes, 8 at most, the most significant one first.
inline std::uint64_t loadBigEndian(const unsigned char* p, unsigned int n) {
    std::uint64_t value = 0;
    for (unsigned int i = 0; i < n; ++i)
        value = value << 8 | p[i];
    return value;
}

// Entry b says whether the byte b belongs to the class.
using ByteClass = std::array<bool, 256>;

template <class Predicate>
constexpr ByteClass byteClass(Predicate belongs) {
    ByteClass is{};
    for (unsigned int b = 0; b < 256; ++b)
        is[b] = belongs(static_cast<unsigned char>(b));
    return is;
}

// How many of the `n` bytes from `p` on belong to the class before the first that does not.
inline std::size_t runLength(const unsigned char* p, std::size_t n, const ByteClass& is) {
    std::size_t i = 0;
    while (i < n && is[p[i]])
        ++i;
    return i;
}

}  // namespace contentcoding

#endif
