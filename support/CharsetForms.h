#ifndef SUPPORT_CHARSETFORMS_H
#define SUPPORT_CHARSETFORMS_H

// Private: the charsets that are converted without the library, one character at a time.

#include <string_view>

namespace contentcoding {

// Stands for an ill-formed part of the input; not a character.
constexpr char32_t kIllFormed = 0xFFFFFFFF;

struct Decoded {
    char32_t character;
    unsigned int length;  // in bytes; at least 1
};

constexpr bool isHighSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDBFF; }
constexpr bool isLowSurrogate(char32_t c) { return c >= 0xDC00 && c <= 0xDFFF; }
constexpr char32_t joinSurrogates(char32_t high, char32_t low) {
    return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00);
}
constexpr char32_t highSurrogateOf(char32_t c) { return 0xD800 + ((c - 0x10000) >> 10); }
constexpr char32_t lowSurrogateOf(char32_t c) { return 0xDC00 + (c & 0x3FF); }

// The characters of the bytes from 0xA0 up in ISO 8859-16.
constexpr unsigned int kLatin10First = 0xA0;
constexpr std::u16string_view kLatin10Upper =
    u"\u00A0ĄąŁ€„Š§š©Ș«Ź\u00ADźŻ"  // A0
    u"°±ČłŽ”¶·žčș»ŒœŸż"            // B0
    u"ÀÁÂĂÄĆÆÇÈÉÊËÌÍÎÏ"            // C0
    u"ĐŃÒÓÔŐÖŚŰÙÚÛÜĘȚß"            // D0
    u"àáâăäćæçèéêëìíîï"            // E0
    u"đńòóôőöśűùúûüęțÿ";           // F0
static_assert(kLatin10Upper.size() == 0x100 - kLatin10First);

// Each decode function reads the first character of the `n` bytes at `p`; `n` is at least 1. An
// ill-formed part ends before the first byte that cannot continue it.

template <unsigned char Last>
constexpr Decoded decodeByte(const unsigned char* p, unsigned int) {
    return {*p <= Last ? *p : kIllFormed, 1};
}

constexpr Decoded decodeLatin10(const unsigned char* p, unsigned int) {
    const char32_t c = *p;
    return {c < kLatin10First ? c : kLatin10Upper[c - kLatin10First], 1};
}

// The well-formed sequences are those of table 3-7 of the Unicode Standard: after four of the lead
// bytes the second byte has narrower bounds.
constexpr Decoded decodeUtf8(const unsigned char* p, unsigned int n) {
    const unsigned char lead = *p;
    if (lead < 0x80) return {lead, 1};
    if (lead < 0xC2 || lead > 0xF4) return {kIllFormed, 1};
    const unsigned int trailing = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    unsigned char lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned char highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    char32_t c = lead & (0x3Fu >> trailing);
    for (unsigned int i = 1; i <= trailing; ++i) {
        if (i == n || p[i] < lowest || p[i] > highest) return {kIllFormed, i};
        c = c << 6 | (p[i] & 0x3Fu);
        lowest = 0x80;
        highest = 0xBF;
    }
    return {c, trailing + 1};
}

// The number stored in the `Width` bytes at `p`.
template <unsigned int Width, bool BigEndian>
constexpr char32_t loadUnit(const unsigned char* p) {
    char32_t unit = 0;
    for (unsigned int i = 0; i < Width; ++i)
        unit = unit << 8 | p[BigEndian ? i : Width - 1 - i];
    return unit;
}

template <unsigned int Width, bool BigEndian>
constexpr void storeUnit(char32_t unit, unsigned char* p) {
    for (unsigned int i = 0; i < Width; ++i, unit >>= 8)
        p[BigEndian ? Width - 1 - i : i] = static_cast<unsigned char>(unit);
}

template <bool BigEndian>
constexpr Decoded decodeUtf16(const unsigned char* p, unsigned int n) {
    if (n < 2) return {kIllFormed, n};
    const char32_t unit = loadUnit<2, BigEndian>(p);
    if (isLowSurrogate(unit)) return {kIllFormed, 2};
    if (!isHighSurrogate(unit)) return {unit, 2};
    if (n < 4) return {kIllFormed, n};  // a pair cut by the end is one part
    const char32_t low = loadUnit<2, BigEndian>(p + 2);
    if (!isLowSurrogate(low)) return {kIllFormed, 2};
    return {joinSurrogates(unit, low), 4};
}

template <bool BigEndian>
constexpr Decoded decodeUtf32(const unsigned char* p, unsigned int n) {
    if (n < 4) return {kIllFormed, n};
    const char32_t c = loadUnit<4, BigEndian>(p);
    const bool character = c <= 0x10FFFF && !isHighSurrogate(c) && !isLowSurrogate(c);
    return {character ? c : kIllFormed, 4};
}

// Each encode function writes the character `c` and returns its length in bytes, or writes nothing
// and returns 0 if the charset lacks the character.
constexpr unsigned int kMaxEncoded = 4;

template <unsigned char Last>
constexpr unsigned int encodeByte(char32_t c, unsigned char* p) {
    if (c > Last) return 0;
    *p = static_cast<unsigned char>(c);
    return 1;
}

constexpr unsigned int encodeLatin10(char32_t c, unsigned char* p) {
    if (c < kLatin10First) return encodeByte<kLatin10First - 1>(c, p);
    const auto at = c < 0x10000 ? kLatin10Upper.find(static_cast<char16_t>(c)) : kLatin10Upper.npos;
    if (at == kLatin10Upper.npos) return 0;
    *p = static_cast<unsigned char>(kLatin10First + at);
    return 1;
}

constexpr unsigned int encodeUtf8(char32_t c, unsigned char* p) {
    const auto trailing = [](char32_t bits) {
        return static_cast<unsigned char>(0x80 | (bits & 0x3F));
    };
    if (c < 0x80) return encodeByte<0x7F>(c, p);
    if (c < 0x800) {
        p[0] = static_cast<unsigned char>(0xC0 | c >> 6);
        p[1] = trailing(c);
        return 2;
    }
    if (c < 0x10000) {
        p[0] = static_cast<unsigned char>(0xE0 | c >> 12);
        p[1] = trailing(c >> 6);
        p[2] = trailing(c);
        return 3;
    }
    p[0] = static_cast<unsigned char>(0xF0 | c >> 18);
    p[1] = trailing(c >> 12);
    p[2] = trailing(c >> 6);
    p[3] = trailing(c);
    return 4;
}

template <bool BigEndian>
constexpr unsigned int encodeUtf16(char32_t c, unsigned char* p) {
    if (c < 0x10000) {
        storeUnit<2, BigEndian>(c, p);
        return 2;
    }
    storeUnit<2, BigEndian>(highSurrogateOf(c), p);
    storeUnit<2, BigEndian>(lowSurrogateOf(c), p + 2);
    return 4;
}

template <bool BigEndian>
constexpr unsigned int encodeUtf32(char32_t c, unsigned char* p) {
    storeUnit<4, BigEndian>(c, p);
    return 4;
}

}  // namespace contentcoding

#endif
