#include "codec/kernels/scalar/Scalar.h"

namespace contentcoding::scalar {

std::size_t runLength(const unsigned char* p, std::size_t n, const ByteClass& members) {
    std::size_t i = 0;
    while (i < n && members.contains[p[i]])
        ++i;
    return i;
}

std::size_t lengthUntil(const unsigned char* p, std::size_t n, unsigned char a, unsigned char b) {
    std::size_t i = 0;
    while (i < n && p[i] != a && p[i] != b)
        ++i;
    return i;
}

}  // namespace contentcoding::scalar
