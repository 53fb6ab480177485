#include "codec/kernels/scalar/Scalar.h"

#include <cstring>

#include "support/Ascii.h"

namespace contentcoding::scalar {
namespace {

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
Transfer unescapeOne(const char* p, std::size_t left, const UnescapeRules& unescapes, char* byte) {
    if (left == 1) return {0, 0};
    if (unescapes.crlfAware && startsLineEnd(p + 1, left - 1)) return {kEscapeChars, 0};
    if (unescapes.crlfAware && isWhiteSpace(p[1])) return {0, 0};
    *byte = *p;
    if (left < kEscapeChars) return {1, 1};
    const auto digitAt = [&](std::size_t i) {
        return kHexDigitValue[static_cast<unsigned char>(p[i]) & unescapes.digitMask];
    };
    const unsigned int high = digitAt(1), low = digitAt(2);
    if (high == kNoHexDigit || low == kNoHexDigit) return {1, 1};
    const unsigned int value = high << 4 | low;
    if (value == 0 && unescapes.stopsAtZero) return {0, 0};
    if (value == 0xFF && unescapes.stopsAtEscapedFf && left > kEscapeChars && (p[3] & 0x7F) == 'F')
        return {0, 0};
    *byte = static_cast<char>(value);
    return {kEscapeChars, 1};
}

}  // namespace

Transfer escape(const unsigned char* bytes, std::size_t n, const EscapeRules& escapes, char* text,
                std::size_t room) {
    Transfer done{0, 0};
    while (done.read < n) {
        const unsigned char* const p = bytes + done.read;
        const std::size_t left = n - done.read, fits = room - done.written;
        char* const to = text + done.written;
        const bool blankAtEnd =
            escapes.crlfAware && isBlank(*p) &&
            (left == 1 || startsLineEnd(reinterpret_cast<const char*>(p) + 1, left - 1));
        if (escapes.kept[*p] && !blankAtEnd) {
            if (fits < 1) break;
            *to = static_cast<char>(*p);
            ++done.written;
        } else if (*p == escapes.replaced) {
            if (fits < 1) break;
            *to = static_cast<char>(escapes.replacement);
            ++done.written;
        } else if (escapes.crlfAware && startsLineEnd(reinterpret_cast<const char*>(p), left)) {
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

Transfer unescape(const char* text, std::size_t n, const UnescapeRules& unescapes, char* bytes,
                  std::size_t room) {
    Transfer done{0, 0};
    while (done.read < n && done.written < room) {
        const char* const p = text + done.read;
        const std::size_t left = n - done.read;
        char* const to = bytes + done.written;
        const auto c = static_cast<unsigned char>(*p);
        if ((c & unescapes.signMask) == '=') {
            const Transfer one = unescapeOne(p, left, unescapes, to);
            if (one.read == 0) break;
            done.read += one.read;
            done.written += one.written;
        } else if (unescapes.crlfAware && startsLineEnd(p, left)) {
            if (room - done.written < 2) break;
            std::memcpy(to, p, 2);
            done.read += 2;
            done.written += 2;
        } else if (unescapes.crlfAware && isWhiteSpace(*p) &&
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

}  // namespace contentcoding::scalar
