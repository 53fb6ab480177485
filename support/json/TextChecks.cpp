#include "support/json/TextChecks.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "support/CharsetForms.h"

namespace contentcoding {
namespace {

// The parser's numbers overflow on a fraction as long as this.
constexpr std::size_t kMaxDigitRun = 100'000'000;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Whether one of eight ASCII characters is a control character from 0x18 up.
bool hasHighControl(std::uint64_t eight) {
    constexpr std::uint64_t kOnes = 0x0101010101010101;
    const std::uint64_t zeroFor = (eight & 0xF8 * kOnes) ^ 0x18 * kOnes;
    return ((zeroFor - kOnes) & ~zeroFor & 0x80 * kOnes) != 0;
}

}  // namespace

// Of places that are kMaxDigitRun apart, such a run covers one, so only these are looked at.
std::size_t findDigitRun(std::string_view text) {
    for (std::size_t at = kMaxDigitRun - 1; at < text.size();) {
        std::size_t start = at + 1;
        while (start > 0 && isDigit(text[start - 1]))
            --start;
        std::size_t end = at;
        while (end < text.size() && isDigit(text[end]) && end - start < kMaxDigitRun)
            ++end;
        if (end - start == kMaxDigitRun) return start;
        at = std::max(end, at) + kMaxDigitRun;
    }
    return std::string_view::npos;
}

std::size_t findIllFormed(std::string_view text) {
    const auto* const p = reinterpret_cast<const unsigned char*>(text.data());
    std::size_t i = 0;
    while (i < text.size()) {
        std::uint64_t eight = 0;
        if (text.size() - i >= sizeof eight) {
            std::memcpy(&eight, p + i, sizeof eight);
            if ((eight & 0x8080808080808080) == 0 && !hasHighControl(eight)) {
                i += sizeof eight;
                continue;
            }
        }
        const Decoded c = decodeUtf8(p + i, static_cast<unsigned int>(text.size() - i));
        if (c.character == kIllFormed || (c.character >= 0x18 && c.character < 0x20)) break;
        i += c.length;
    }
    return i;
}

JsonFault faultAt(std::string_view text, const Place& place) {
    JsonFault fault{1, 1, place.offset, place.expected};
    for (std::size_t i = 0; i < place.offset; ++i) {
        const bool lineEnd = text[i] == '\n' || (text[i] == '\r' && text.substr(i + 1, 1) != "\n");
        if (lineEnd) {
            ++fault.line;
            fault.column = 1;
        } else if ((text[i] & 0xC0) != 0x80) {  // a character's first byte
            ++fault.column;
        }
    }
    return fault;
}

}  // namespace contentcoding
