#include "codec/kernels/scalar/Scalar.h"

namespace contentcoding::scalar {

void encodeEda(const unsigned char* bytes, std::size_t groups, char* text) {
    constexpr unsigned int kBase = 43;
    for (; groups > 0; --groups, bytes += 2, text += 3) {
        const unsigned int value = bytes[0] * 256u + bytes[1], last = value % (kBase * kBase);
        text[0] = kEdaAlphabet[value / (kBase * kBase)];
        text[1] = kEdaAlphabet[last / kBase];
        text[2] = kEdaAlphabet[last % kBase];
    }
}

}  // namespace contentcoding::scalar
