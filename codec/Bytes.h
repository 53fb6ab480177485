#ifndef CODEC_BYTES_H
#define CODEC_BYTES_H

#include <cstddef>
#include <cstdint>

#include <algorithm>

#include "codec/kernels/Kernels.h"
#include "support/Ascii.h"

// Private: numbers in bytes, classes of bytes, and the scanner for runs of one class.

namespace contentcoding {

// The number in `n` bytes, 8 at most, the most significant one first.
inline std::uint64_t loadBigEndian(const unsigned char* p, unsigned int n) {
    std::uint64_t value = 0;
    for (unsigned int i = 0; i < n; ++i)
        value = value << 8 | p[i];
    return value;
}

// The class of the bytes that the predicate holds for.
template <class Predicate>
constexpr ByteClass byteClass(Predicate belongs) {
    ByteClass is{};
    for (unsigned int b = 0; b < 256; ++b) {
        is.is[b] = belongs(static_cast<unsigned char>(b));
        unsigned char& entry = (b < 0x80 ? is.low : is.high)[b & 0x0F];
        if (is.is[b]) entry = static_cast<unsigned char>(entry | 1u << (b >> 4 & 7));
    }
    return is;
}

// The table of a coder that writes bytes of a class as they are, and others as "=" and two digits.
constexpr Escapes escapesExcept(const ByteClass& kept) {
    Escapes escapes{kept, {}};
    for (unsigned int b = 0; b < 256; ++b) {
        const char escape[] = {'=', HexDigits[b >> 4], HexDigits[b & 0x0F]};
        Escapes::Entry& entry = escapes.of[b];
        entry.length = kept.is[b] ? 1 : sizeof escape;
        std::copy_n(escape, sizeof escape, entry.text);
        if (kept.is[b]) entry.text[0] = static_cast<char>(b);
    }
    return escapes;
}

// Has the decoder take the character `c` for the hexadecimal digit `digit`, if that is one.
constexpr void setDigit(Unescapes& unescapes, unsigned int c, unsigned int digit) {
    const unsigned char value = kHexDigitValue[digit];
    const bool isDigit = value != kNoHexDigit;
    unescapes.lowDigit[c] = isDigit ? value : Unescapes::kNoDigit;
    unescapes.highDigit[c] =
        isDigit ? static_cast<unsigned short>(value << 4) : Unescapes::kNoDigit;
}

// The table of a decoder that takes characters of a class as they are, "=" and two digits for a
// byte, and drops others. Where it differs from that, the caller changes it.
constexpr Unescapes unescapesExcept(const ByteClass& kept) {
    Unescapes unescapes{kept, {}, {}, {}, {}, 0, 256};
    for (unsigned int c = 0; c < 256; ++c) {
        unescapes.text[c] = static_cast<unsigned char>(c);
        unescapes.length[c] = kept.is[c] ? 1 : 0;
        setDigit(unescapes, c, c);
    }
    unescapes.length[unsigned{'='}] = Unescapes::kEscape;
    return unescapes;
}

// How many of the `n` bytes from `p` on belong to the class before the first that does not. What
// follows that one is not looked at, and need not exist.
inline std::size_t runLength(const unsigned char* p, std::size_t n, const ByteClass& is) {
    return n > 0 && is[*p] ? kernels().runLength(p, n, is) : 0;
}

}  // namespace contentcoding

#endif
