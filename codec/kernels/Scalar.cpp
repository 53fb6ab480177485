#include "codec/kernels/Kernels.h"

namespace contentcoding {
namespace {

// aaaaaabb bbbbcccc ccdddddd  ->  00aaaaaa 00bbbbbb 00cccccc 00dddddd
void encodeBase64(const unsigned char* bytes, std::size_t groups, const char* alphabet,
                  char* text) {
    for (; groups > 0; --groups, bytes += 3, text += 4) {
        const unsigned int b0 = bytes[0], b1 = bytes[1], b2 = bytes[2];
        text[0] = alphabet[b0 >> 2];
        text[1] = alphabet[(b0 & 0x03) << 4 | b1 >> 4];
        text[2] = alphabet[(b1 & 0x0F) << 2 | b2 >> 6];
        text[3] = alphabet[b2 & 0x3F];
    }
}

// 00aaaaaa 00bbbbbb 00cccccc 00dddddd  ->  aaaaaabb bbbbcccc ccdddddd
std::size_t decodeBase64(const char* text, std::size_t quanta, const unsigned char* values,
                         unsigned char* bytes) {
    for (std::size_t done = 0; done < quanta; ++done, text += 4, bytes += 3) {
        const unsigned int a = values[static_cast<unsigned char>(text[0])];
        const unsigned int b = values[static_cast<unsigned char>(text[1])];
        const unsigned int c = values[static_cast<unsigned char>(text[2])];
        const unsigned int d = values[static_cast<unsigned char>(text[3])];
        if ((a | b | c | d) > 63) return done;
        bytes[0] = static_cast<unsigned char>(a << 2 | b >> 4);
        bytes[1] = static_cast<unsigned char>(b << 4 | c >> 2);
        bytes[2] = static_cast<unsigned char>(c << 6 | d);
    }
    return quanta;
}

}  // namespace

constexpr Kernels kScalarKernels = {"portable", encodeBase64, decodeBase64};

}  // namespace contentcoding
