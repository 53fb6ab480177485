#include "codec/kernels/Scalar.h"

#include <cstdint>
#include <cstring>

#include "support/Ascii.h"

namespace contentcoding::scalar {
namespace {

constexpr unsigned char kNoDigit32 = 0xFF;

struct Base32Values {
    unsigned char of[256];
};

constexpr Base32Values kBase32Values = [] {
    Base32Values values{};
    for (unsigned char& value : values.of)
        value = kNoDigit32;
    for (unsigned char v = 0; v < 32; ++v)
        values.of[static_cast<unsigned char>(kBase32Alphabet[v])] = v;
    return values;
}();

constexpr unsigned int kEscapeChars = 3;
constexpr bool isBlank(unsigned char b) { return b == ' ' || b == '\t'; }

// By the low seven bits.
constexpr bool isWhiteSpace(char c) {
    const unsigned int b = static_cast<unsigned char>(c) & 0x7F;
    return b == ' ' || b == '\t' || b == '\r' || b == '\n';
}

bool startsLineEnd(const char* p, std::size_t left) {
    return left >= 2 && p[0] == '\r' && p[1] == '\n';
}

// Decodes what starts with "=" and goes on for `left` characters. Nothing read where to stop.
Progress unescapeOne(const char* p, std::size_t left, const Unescapes& unescapes, char* byte) {
    if (left == 1) return {0, 0};
    if (unescapes.lines && startsLineEnd(p + 1, left - 1)) return {kEscapeChars, 0};
    if (unescapes.lines && isWhiteSpace(p[1])) return {0, 0};
    *byte = *p;
    if (left < kEscapeChars) return {1, 1};
    const auto digitAt = [&](std::size_t i) {
        return kHexDigitValue[static_cast<unsigned char>(p[i]) & unescapes.digitBits];
    };
    const unsigned int high = digitAt(1), low = digitAt(2);
    if (high == kNoHexDigit || low == kNoHexDigit) return {1, 1};
    const unsigned int value = high << 4 | low;
    if (value == 0 && unescapes.stopsAtZero) return {0, 0};
    if (value == 0xFF && unescapes.stopsAtFff && left > kEscapeChars && (p[3] & 0x7F) == 'F')
        return {0, 0};
    *byte = static_cast<char>(value);
    return {kEscapeChars, 1};
}

}  // namespace

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
Progress decodeBase64(const char* text, std::size_t n, const Base64Values& values,
                      unsigned char* bytes) {
    Progress done{0, 0};
    while (n - done.read >= 4) {
        const char* const p = text + done.read;
        const unsigned int a = values.of[static_cast<unsigned char>(p[0])];
        const unsigned int b = values.of[static_cast<unsigned char>(p[1])];
        const unsigned int c = values.of[static_cast<unsigned char>(p[2])];
        const unsigned int d = values.of[static_cast<unsigned char>(p[3])];
        if ((a | b | c | d) > 63) {
            const Progress one = decodeQuantum(p, n - done.read, values, bytes + done.written);
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

Progress decodeQuantum(const char* text, std::size_t n, const Base64Values& values,
                       unsigned char* bytes) {
    unsigned int bits = 0, digits = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const unsigned int value = values.of[static_cast<unsigned char>(text[i])];
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

std::size_t runLength(const unsigned char* p, std::size_t n, const ByteClass& is) {
    std::size_t i = 0;
    while (i < n && is.is[p[i]])
        ++i;
    return i;
}

std::size_t lengthUntil(const unsigned char* p, std::size_t n, unsigned char a, unsigned char b) {
    std::size_t i = 0;
    while (i < n && p[i] != a && p[i] != b)
        ++i;
    return i;
}

Progress escape(const unsigned char* bytes, std::size_t n, const Escapes& escapes, char* text,
                std::size_t room) {
    Progress done{0, 0};
    while (done.read < n) {
        const unsigned char* const p = bytes + done.read;
        const std::size_t left = n - done.read, fits = room - done.written;
        char* const to = text + done.written;
        const bool blankAtEnd =
            escapes.lines && isBlank(*p) &&
            (left == 1 || startsLineEnd(reinterpret_cast<const char*>(p) + 1, left - 1));
        if (escapes.kept[*p] && !blankAtEnd) {
            if (fits < 1) break;
            *to = static_cast<char>(*p);
            ++done.written;
        } else if (*p == escapes.replaced) {
            if (fits < 1) break;
            *to = static_cast<char>(escapes.replacement);
            ++done.written;
        } else if (escapes.lines && startsLineEnd(reinterpret_cast<const char*>(p), left)) {
            if (fits < 2) break;
            std::memcpy(to, p, 2);
            done.written += 2;
            ++done.read;
        } else {
            if (fits < kEscapeChars) break;
            writeEscape(*p, to);
            done.written += kEscapeChars;
        }
        ++done.read;
    }
    return done;
}

Progress unescape(const char* text, std::size_t n, const Unescapes& unescapes, char* bytes,
                  std::size_t room) {
    Progress done{0, 0};
    while (done.read < n && done.written < room) {
        const char* const p = text + done.read;
        const std::size_t left = n - done.read;
        char* const to = bytes + done.written;
        const auto c = static_cast<unsigned char>(*p);
        if ((c & unescapes.escapeBits) == '=') {
            const Progress one = unescapeOne(p, left, unescapes, to);
            if (one.read == 0) break;
            done.read += one.read;
            done.written += one.written;
        } else if (unescapes.lines && startsLineEnd(p, left)) {
            if (room - done.written < 2) break;
            std::memcpy(to, p, 2);
            done.read += 2;
            done.written += 2;
        } else if (unescapes.lines && isWhiteSpace(*p) &&
                   (*p == '\n' || left == 1 || isWhiteSpace(p[1]))) {
            break;
        } else {
            const bool isReplaced = c == unescapes.replaced;
            *to = isReplaced ? static_cast<char>(unescapes.replacement) : *p;
            if (isReplaced || unescapes.kept[c]) ++done.written;
            ++done.read;
        }
    }
    return done;
}

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
            const unsigned char value = kBase32Values.of[static_cast<unsigned char>(text[i])];
            bits = bits << 5 | value;
            all |= value;
        }
        if (all > 31) return done;
        for (unsigned int i = 0; i < 5; ++i)
            bytes[i] = static_cast<unsigned char>(bits >> (32 - 8 * i));
    }
    return groups;
}

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

void encodeEda(const unsigned char* bytes, std::size_t groups, char* text) {
    constexpr unsigned int kBase = 43;
    for (; groups > 0; --groups, bytes += 2, text += 3) {
        const unsigned int value = bytes[0] * 256u + bytes[1], last = value % (kBase * kBase);
        text[0] = kEdaAlphabet[value / (kBase * kBase)];
        text[1] = kEdaAlphabet[last / kBase];
        text[2] = kEdaAlphabet[last % kBase];
    }
}

}  // namespace contentcoding::scalar
