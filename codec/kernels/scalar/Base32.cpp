#include "codec/kernels/scalar/Scalar.h"

#include <cstdint>

namespace contentcoding::scalar {
namespace {

constexpr unsigned char kNoDigit32 = 0xFF;

struct Base32Values {
    unsigned char entry[256];
};

constexpr Base32Values kBase32Values = [] {
    Base32Values values{};
    for (unsigned char& value : values.entry)
        value = kNoDigit32;
    for (unsigned char v = 0; v < 32; ++v)
        values.entry[static_cast<unsigned char>(kBase32Alphabet[v])] = v;
    return values;
}();

}  // namespace

void encodeBase32(const unsigned char* bytes, std::size_t groups, char* text) {
    for (; groups > 0; --groups, bytes += 5, text += 8) {
        std::uint64_t bits = 0;
        for (unsigned int i = 0; i < 5; ++i)
            bits = bits << 8 | bytes[i];
        for (unsigned int i = 0; i < 8; ++i)
            text[i] = kBase32Alphabet[bits >> (35 - 5 * i) & 31];
    }
}

std::size_t decodeBase32(const char* text, std::size_t groups, unsigned char* bytes) {
    for (std::size_t done = 0; done < groups; ++done, text += 8, bytes += 5) {
        std::uint64_t bits = 0;
        unsigned int all = 0;
        for (unsigned int i = 0; i < 8; ++i) {
            const unsigned char value = kBase32Values.entry[static_cast<unsigned char>(text[i])];
            bits = bits << 5 | value;
            all |= value;
        }
        if (all > 31) return done;
        for (unsigned int i = 0; i < 5; ++i)
            bytes[i] = static_cast<unsigned char>(bits >> (32 - 8 * i));
    }
    return groups;
}

}  // namespace contentcoding::scalar
