#ifndef SUPPORT_CHARSET_UTF8_H
#define SUPPORT_CHARSET_UTF8_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "support/CharsetForms.h"

// Private: how much of a text is well-formed UTF-8.

namespace contentcoding {

// Of eight bytes: those that ASCII does not have.
inline constexpr std::uint64_t kHighBits = 0x8080808080808080;

// The length of the ASCII characters that `text` starts with.
inline std::size_t asciiPrefix(std::string_view text) {
    std::size_t at = 0;
    for (std::uint64_t eight; text.size() - at >= sizeof eight; at += sizeof eight) {
        std::memcpy(&eight, text.data() + at, sizeof eight);
        if (eight & kHighBits) break;
    }
    while (at < text.size() && static_cast<unsigned char>(text[at]) < 0x80)
        ++at;
    return at;
}

// The first character of a text that is not empty.
inline Decoded firstOfUtf8(std::string_view text) {
    const auto n = static_cast<unsigned int>(text.size() < kMaxEncoded ? text.size() : kMaxEncoded);
    return decodeUtf8(reinterpret_cast<const unsigned char*>(text.data()), n);
}

// The length of the longest well-formed text that `text` starts with.
inline std::size_t wellFormedPrefix(std::string_view text) {
    std::size_t at = 0;
    while ((at += asciiPrefix(text.substr(at))) < text.size()) {
        const Decoded decoded = firstOfUtf8(text.substr(at));
        if (decoded.character == kIllFormed) break;
        at += decoded.length;
    }
    return at;
}

inline bool isWellFormed(std::string_view text) { return wellFormedPrefix(text) == text.size(); }

}  // namespace contentcoding

#endif
