#include "codec/kernels/scalar/Scalar.h"

#include <cstdint>

namespace contentcoding::scalar {

// 85^5 exceeds 2^32. Two digits at a time keep the chain of divisions short.
std::size_t encodeAscii85(const unsigned char* bytes, std::size_t groups, char* text) {
    constexpr std::uint32_t kPair = 85 * 85;
    const auto digit = [](std::uint32_t v) { return static_cast<char>('!' + v); };
    for (std::size_t done = 0; done < groups; ++done, bytes += 4, text += 5) {
        std::uint32_t value = 0;
        for (unsigned int i = 0; i < 4; ++i)
            value = value << 8 | bytes[i];
        if (value == 0) return done;
        const std::uint32_t head = value / kPair, last = value % kPair;
        const std::uint32_t middle = head % kPair;
        text[0] = digit(head / kPair);
        text[1] = digit(middle / 85);
        text[2] = digit(middle % 85);
        text[3] = digit(last / 85);
        text[4] = digit(last % 85);
    }
    return groups;
}

std::size_t decodeAscii85(const char* text, std::size_t groups, unsigned char* bytes) {
    for (std::size_t done = 0; done < groups; ++done, text += 5, bytes += 4) {
        std::uint64_t value = 0;
        bool allDigits = true;
        for (unsigned int i = 0; i < 5; ++i) {
            const auto digit = static_cast<unsigned char>(text[i] - '!');
            value = value * 85 + digit;
            allDigits = allDigits && digit < 85;
        }
        if (!allDigits || value > 0xFFFFFFFF) return done;
        for (unsigned int i = 0; i < 4; ++i)
            bytes[i] = static_cast<unsigned char>(value >> (24 - 8 * i));
    }
    return groups;
}

}  // namespace contentcoding::scalar
