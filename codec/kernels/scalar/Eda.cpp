#include "codec/kernels/scalar/Scalar.h"

namespace contentcoding::scalar {
namespace {

constexpr unsigned int kBase = 43;

// As a digit this makes a group too large, wherever it stands.
constexpr unsigned int kNoDigit43 = 0x10000;

struct EdaValues {
    unsigned int entry[256];
};

constexpr EdaValues kEdaValues = [] {
    EdaValues values{};
    for (unsigned int& value : values.entry)
        value = kNoDigit43;
    for (unsigned int v = 0; v < kBase; ++v)
        values.entry[static_cast<unsigned char>(kEdaAlphabet[v])] = v;
    return values;
}();

}  // namespace

void encodeEda(const unsigned char* bytes, std::size_t groups, char* text) {
    for (; groups > 0; --groups, bytes += 2, text += 3) {
        const unsigned int value = bytes[0] * 256u + bytes[1], last = value % (kBase * kBase);
        text[0] = kEdaAlphabet[value / (kBase * kBase)];
        text[1] = kEdaAlphabet[last / kBase];
        text[2] = kEdaAlphabet[last % kBase];
    }
}

std::size_t decodeEda(const char* text, std::size_t groups, unsigned char* bytes) {
    for (std::size_t done = 0; done < groups; ++done, text += 3, bytes += 2) {
        unsigned int value = 0;
        for (unsigned int i = 0; i < 3; ++i)
            value = value * kBase + kEdaValues.entry[static_cast<unsigned char>(text[i])];
        if (value > 0xFFFF) return done;
        bytes[0] = static_cast<unsigned char>(value >> 8);
        bytes[1] = static_cast<unsigned char>(value);
    }
    return groups;
}

}  // namespace contentcoding::scalar
