#include "tool/Visible.h"

#include <array>
#include <cstdint>

#include "support/Ascii.h"

namespace {

struct Character {
    std::uint32_t code;  // the byte itself when it does not start a UTF-8 character
    std::size_t bytes;
};

Character firstOf(std::string_view text) {
    constexpr std::array<std::uint32_t, 5> kLowest = {0, 0, 0x80, 0x800, 0x10000};
    const auto lead = static_cast<unsigned char>(text[0]);
    const std::size_t n = lead < 0xC0 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (n == 1 || lead >= 0xF8 || text.size() < n) return {lead, 1};
    std::uint32_t code = lead & (0x7Fu >> n);
    for (const char c : text.substr(1, n - 1)) {
        const auto b = static_cast<unsigned char>(c);
        if ((b & 0xC0) != 0x80) return {lead, 1};
        code = code << 6 | (b & 0x3Fu);
    }
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    if (code < kLowest.at(n) || code > 0x10FFFF || surrogate) return {lead, 1};
    return {code, n};
}

constexpr bool isControl(std::uint32_t code) {
    return code < 0x20 || (code >= 0x7F && code <= 0x9F) ||  // C0, DEL, C1
           code == 0x2028 || code == 0x2029 ||               // line and paragraph separators
           code == 0x061C || code == 0x200E || code == 0x200F ||
           (code >= 0x202A && code <= 0x202E) ||  // these and below: Bidi_Control
           (code >= 0x2066 && code <= 0x2069);
}

std::string escaped(const Character& character) {
    const bool isByte = character.bytes == 1;
    std::string text = isByte ? "\\x" : "\\u";
    for (int shift = isByte ? 4 : 12; shift >= 0; shift -= 4)
        text += HexDigits[character.code >> shift & 0x0F];
    return text;
}

}  // namespace

std::string visible(std::string_view text, std::string_view kept) {
    std::string result;
    while (!text.empty()) {
        const Character character = firstOf(text);
        const std::string_view itself = text.substr(0, character.bytes);
        if (isControl(character.code) && kept.find(itself) == std::string_view::npos)
            result += escaped(character);
        else
            result += itself;
        text.remove_prefix(character.bytes);
    }
    return result;
}
