#include "codec/kernels/scalar/Scalar.h"

#include <cstring>

namespace contentcoding::scalar {

// aaaaaabb bbbbcccc ccdddddd  ->  00aaaaaa 00bbbbbb 00cccccc 00dddddd
void encodeGroups(const unsigned char* bytes, std::size_t groups, const char* alphabet,
                  char* text) {
    for (; groups > 0; --groups, bytes += 3, text += 4) {
        const unsigned int b0 = bytes[0], b1 = bytes[1], b2 = bytes[2];
        text[0] = alphabet[b0 >> 2];
        text[1] = alphabet[(b0 & 0x03) << 4 | b1 >> 4];
        text[2] = alphabet[(b1 & 0x0F) << 2 | b2 >> 6];
        text[3] = alphabet[b2 & 0x3F];
    }
}

void encodeBase64(const unsigned char* bytes, std::size_t groups, const Base64Format& format,
                  char* text) {
    const std::size_t inLine = format.lineGroups;
    for (; groups >= inLine; groups -= inLine) {
        encodeGroups(bytes, inLine, format.alphabet, text);
        bytes += inLine * 3;
        text += inLine * 4;
        std::memcpy(text, format.lineBreak, format.breakSize);
        text += format.breakSize;
    }
    encodeGroups(bytes, groups, format.alphabet, text);
}

// 00aaaaaa 00bbbbbb 00cccccc 00dddddd  ->  aaaaaabb bbbbcccc ccdddddd
Transfer decodeBase64(const char* text, std::size_t n, const Base64Values& values,
                      unsigned char* bytes) {
    Transfer done{0, 0};
    while (n - done.read >= 4) {
        const char* const p = text + done.read;
        const unsigned int a = values.entry[static_cast<unsigned char>(p[0])];
        const unsigned int b = values.entry[static_cast<unsigned char>(p[1])];
        const unsigned int c = values.entry[static_cast<unsigned char>(p[2])];
        const unsigned int d = values.entry[static_cast<unsigned char>(p[3])];
        if ((a | b | c | d) > 63) {
            const Transfer one = decodeQuantum(p, n - done.read, values, bytes + done.written);
            if (one.read == 0) break;
            done.read += one.read;
            done.written += one.written;
            continue;
        }
        bytes[done.written] = static_cast<unsigned char>(a << 2 | b >> 4);
        bytes[done.written + 1] = static_cast<unsigned char>(b << 4 | c >> 2);
        bytes[done.written + 2] = static_cast<unsigned char>(c << 6 | d);
        done.read += 4;
        done.written += 3;
    }
    return done;
}

Transfer decodeQuantum(const char* text, std::size_t n, const Base64Values& values,
                       unsigned char* bytes) {
    unsigned int bits = 0, digits = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const unsigned int value = values.entry[static_cast<unsigned char>(text[i])];
        if (value > 63) continue;
        bits = bits << 6 | value;
        if (++digits < 4) continue;
        bytes[0] = static_cast<unsigned char>(bits >> 16);
        bytes[1] = static_cast<unsigned char>(bits >> 8);
        bytes[2] = static_cast<unsigned char>(bits);
        return {i + 1, 3};
    }
    return {0, 0};
}

}  // namespace contentcoding::scalar
