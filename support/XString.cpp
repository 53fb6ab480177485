#include "support/XString.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <numeric>
#include <utility>

#include "support/Ascii.h"
#include "support/CharsetForms.h"

using contentcoding::ByteStorage;

namespace {

std::string_view textOf(const char* text) { return text ? text : ""; }

bool append(ByteStorage& to, std::string_view text) {
    return to.append(text.data(), static_cast<unsigned int>(text.size()));
}

// Appends the upper-case form of `text`, character by character.
bool appendUpper(ByteStorage& to, std::string_view text) {
    const auto* p = reinterpret_cast<const unsigned char*>(text.data());
    for (auto rest = static_cast<unsigned int>(text.size()); rest > 0;) {
        const contentcoding::Decoded c = contentcoding::decodeUtf8(p, rest);
        unsigned char upper[contentcoding::kMaxEncoded];
        const bool kept =
            c.character == contentcoding::kIllFormed
                ? to.append(p, c.length)
                : to.append(upper,
                            contentcoding::encodeUtf8(
                                static_cast<char32_t>(u_toupper(static_cast<UChar32>(c.character))),
                                upper));
        if (!kept) return false;
        p += c.length;
        rest -= c.length;
    }
    return true;
}

}  // namespace

// The new text, which becomes a NUL-terminated one.
void XString::adopt(ByteStorage& text) {
    if (text.bytes()) text.bytes()[text.size()] = '\0';
    m_storage = std::move(text);
}

bool XString::setFromUtf8N(const char* text, unsigned int n) {
    if (n > m_storage.size() && !m_storage.reserve(n - m_storage.size())) return false;
    m_storage.truncate(0);
    (void)m_storage.append(text, n);  // into the room reserved
    if (m_storage.bytes()) m_storage.bytes()[n] = '\0';
    return true;
}

bool XString::toUpperCase() {
    const std::string_view text = view();
    const auto highBits = [](char bits, char c) { return static_cast<char>(bits | c); };
    // ASCII, which most names are, is changed in place; other characters may need more room.
    if ((std::accumulate(text.begin(), text.end(), '\0', highBits) & 0x80) == 0) {
        char* const p = m_storage.bytes();
        std::transform(p, p + text.size(), p, contentcoding::toUpperAscii);
        return true;
    }
    ByteStorage upper;
    if (!appendUpper(upper, text)) return false;
    adopt(upper);
    return true;
}

bool XString::containsSubstringUtf8(const char* text) const {
    return text && view().find(text) != std::string_view::npos;
}

bool XString::replaceAllOccurancesUtf8(const char* text, const char* by, bool ignoreCase) {
    const std::string_view searched = textOf(text), replacement = textOf(by), whole = view();
    if (searched.empty()) return true;
    ByteStorage result;
    std::size_t done = 0;
    const auto next = [&] {
        return ignoreCase ? contentcoding::findIgnoringCase(whole, searched, done)
                          : whole.find(searched, done);
    };
    for (std::size_t at; (at = next()) != whole.npos; done = at + searched.size()) {
        if (!append(result, whole.substr(done, at - done)) || !append(result, replacement))
            return false;
    }
    if (done == 0) return true;
    if (!append(result, whole.substr(done))) return false;
    adopt(result);
    return true;
}
