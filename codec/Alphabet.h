#ifndef CODEC_ALPHABET_H
#define CODEC_ALPHABET_H

#include <array>
#include <cstddef>

// Private: the digits of a radix, both ways, and the characters that texts have in common.

namespace contentcoding {

// What a table of values has for a character that is not a digit.
constexpr unsigned char kNoDigit = 0xFF;

// An alphabet and its inverse, made at compile time from the digits in the order of their values.
template <std::size_t Base>
struct Alphabet {
    constexpr explicit Alphabet(const char (&all)[Base + 1]) {
        values.fill(kNoDigit);
        for (std::size_t v = 0; v < Base; ++v) {
            digits[v] = all[v];
            values[static_cast<unsigned char>(all[v])] = static_cast<unsigned char>(v);
        }
        digits[Base] = '\0';
    }

    constexpr unsigned char value(char c) const { return values[static_cast<unsigned char>(c)]; }

    // Takes letters "a" to "z" for "A" to "Z" too.
    constexpr Alphabet anyCase() const {
        Alphabet both = *this;
        for (unsigned char c = 'a'; c <= 'z'; ++c)
            if (both.values[c] == kNoDigit) both.values[c] = values[c - ('a' - 'A')];
        return both;
    }

    char digits[Base + 1];
    std::array<unsigned char, 256> values{};
};

template <std::size_t N>
Alphabet(const char (&)[N]) -> Alphabet<N - 1>;

// Space and tab.
constexpr bool isBlank(unsigned char c) { return c == ' ' || c == '\t'; }
// The same, CR and LF.
constexpr bool isWhiteSpace(unsigned char c) { return isBlank(c) || c == '\r' || c == '\n'; }

}  // namespace contentcoding

#endif
