#include "codec/kernels/scalar/Scalar.h"

#include <cstring>

#include "support/Ascii.h"

namespace contentcoding::scalar {
namespace {

constexpr bool isSpaceOrTab(unsigned char b) { return b == ' ' || b == '\t'; }

// By the low seven bits.
constexpr bool isWhiteSpace(char c) {
    const unsigned int b = static_cast<unsigned char>(c) & 0x7F;
    return b == ' ' || b == '\t' || b == '\r' || b == '\n';
}

bool startsLineEnd(const char* p, std::size_t left) {
    return left >= 2 && p[0] == '\r' && p[1] == '\n';
}

// Decodes what begins at a "=", `left` characters before the end. Reads nothing where the coder
// stops.
Transfer unescapeOne(const char* p, std::size_t left, const UnescapeRules& rules, char* byte) {
    if (left == 1) return {0, 0};
    if (rules.crlfAware && startsLineEnd(p + 1, left - 1)) return {kEscapeChars, 0};
    if (rules.crlfAware && isWhiteSpace(p[1])) return {0, 0};
    *byte = *p;
    if (left < kEscapeChars) return {1, 1};
    const auto digitAt = [&](std::size_t i) {
        return kHexDigitValue[static_cast<unsigned char>(p[i]) & rules.digitMask];
    };
    const unsigned int high = digitAt(1), low = digitAt(2);
    if (high == kNoHexDigit || low == kNoHexDigit) return {1, 1};
    const unsigned int value = high << 4 | low;
    if (value == 0 && rules.stopsAtZero) return {0, 0};
    if (value == 0xFF && rules.stopsAtEscapedFf && left > kEscapeChars && (p[3] & 0x7F) == 'F')
        return {0, 0};
    *byte = static_cast<char>(value);
    return {kEscapeChars, 1};
}

}  // namespace

Transfer escape(const unsigned char* bytes, std::size_t n, const EscapeRules& rules, char* text,
                std::size_t room) {
    Transfer done{0, 0};
    while (done.read < n) {
        const unsigned char* const p = bytes + done.read;
        const std::size_t left = n - done.read, fits = room - done.written;
        char* const to = text + done.written;
        const bool isTrailing =
            rules.crlfAware && isSpaceOrTab(*p) &&
            (left == 1 || startsLineEnd(reinterpret_cast<const char*>(p) + 1, left - 1));
        if (rules.kept[*p] && !isTrailing) {
            if (fits < 1) break;
            *to = static_cast<char>(*p);
            ++done.written;
        } else if (*p == rules.replaced) {
            if (fits < 1) break;
            *to = static_cast<char>(rules.replacement);
            ++done.written;
        } else if (rules.crlfAware && startsLineEnd(reinterpret_cast<const char*>(p), left)) {
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

Transfer unescape(const char* text, std::size_t n, const UnescapeRules& rules, char* bytes,
                  std::size_t room) {
    Transfer done{0, 0};
    while (done.read < n && done.written < room) {
        const char* const p = text + done.read;
        const std::size_t left = n - done.read;
        char* const to = bytes + done.written;
        const auto c = static_cast<unsigned char>(*p);
        if ((c & rules.signMask) == '=') {
            const Transfer one = unescapeOne(p, left, rules, to);
            if (one.read == 0) break;
            done.read += one.read;
            done.written += one.written;
        } else if (rules.crlfAware && startsLineEnd(p, left)) {
            if (room - done.written < 2) break;
            std::memcpy(to, p, 2);
            done.read += 2;
            done.written += 2;
        } else if (rules.crlfAware && isWhiteSpace(*p) &&
                   (*p == '\n' || left == 1 || isWhiteSpace(p[1]))) {
            break;
        } else {
            const bool isReplaced = c == rules.replaced;
            *to = isReplaced ? static_cast<char>(rules.replacement) : *p;
            if (isReplaced || rules.kept[c]) ++done.written;
            ++done.read;
        }
    }
    return done;
}

}  // namespace contentcoding::scalar
