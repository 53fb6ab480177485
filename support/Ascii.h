#ifndef SUPPORT_ASCII_H
#define SUPPORT_ASCII_H

// Private: what ASCII characters mean, whatever the locale. Bytes from 0x80 up mean nothing.

#include <array>
#include <string_view>

// The digits that every escape is written with.
constexpr char HexDigits[17] = "0123456789ABCDEF";

namespace contentcoding {

constexpr char toLowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

constexpr char toUpperAscii(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c;
}

constexpr bool isAlphanumeric(unsigned char b) {
    return (b >= '0' && b <= '9') || (b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z');
}

constexpr bool isOneOf(unsigned char b, std::string_view characters) {
    return characters.find(static_cast<char>(b)) != characters.npos;
}

constexpr unsigned char kNoHexDigit = 0xFF;

// Entry c is the value of the hexadecimal digit c, of either case, or kNoHexDigit.
constexpr auto kHexDigitValue = [] {
    std::array<unsigned char, 256> values{};
    values.fill(kNoHexDigit);
    for (unsigned char v = 0; v < 16; ++v) {
        values[static_cast<unsigned char>(HexDigits[v])] = v;
        values[static_cast<unsigned char>(toLowerAscii(HexDigits[v]))] = v;
    }
    return values;
}();

constexpr unsigned char hexDigitValue(char c) {
    return kHexDigitValue[static_cast<unsigned char>(c)];
}

// Writes "=" and the two digits of `b`.
inline void writeEscape(unsigned char b, char* text) {
    text[0] = '=';
    text[1] = HexDigits[b >> 4];
    text[2] = HexDigits[b & 0x0F];
}

// Whether the two texts are equal when ASCII letters of either case count as equal.
constexpr bool equalIgnoringCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (toLowerAscii(a[i]) != toLowerAscii(b[i])) return false;
    }
    return true;
}

// Where `needle` first occurs in `text`, from `start` on, under the same rule; npos when it does
// not.
constexpr std::size_t findIgnoringCase(std::string_view text, std::string_view needle,
                                       std::size_t start = 0) {
    for (; start <= text.size() && needle.size() <= text.size() - start; ++start) {
        if (equalIgnoringCase(text.substr(start, needle.size()), needle)) return start;
    }
    return std::string_view::npos;
}

}  // namespace contentcoding

#endif
