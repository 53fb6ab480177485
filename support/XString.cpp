#include "support/XString.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include "support/Ascii.h"
#include "support/CharsetForms.h"
#include "support/UpperCase.h"

using contentcoding::ByteStorage;

namespace {

std::string_view textOf(const char* text) { return text ? text : ""; }

bool append(ByteStorage& to, std::string_view text) {
    return to.append(text.data(), static_cast<unsigned int>(text.size()));
}

constexpr std::uint64_t kOnes = 0x0101010101010101;

// The upper-case form of eight ASCII characters.
std::uint64_t toUpperAscii8(std::uint64_t eight) {
    const std::uint64_t fromA = eight + (0x80 - 'a') * kOnes, afterZ = eight + (0x7F - 'z') * kOnes;
    return eight ^ (fromA & ~afterZ & 0x80 * kOnes) >> 2;
}

// Writes the upper-case form of the ASCII characters in front of `text` to `upper`, unless that is
// null, and returns how many they are, or a few less.
std::size_t toUpperAsciiRun(std::string_view text, char* upper) {
    std::size_t n = 0;
    for (std::uint64_t eight = 0; text.size() - n >= sizeof eight; n += sizeof eight) {
        std::memcpy(&eight, text.data() + n, sizeof eight);
        if ((eight & 0x80 * kOnes) != 0) return n;
        eight = toUpperAscii8(eight);
        if (upper) std::memcpy(upper + n, &eight, sizeof eight);
    }
    for (; n < text.size() && (text[n] & 0x80) == 0; ++n) {
        if (upper) upper[n] = contentcoding::toUpperAscii(text[n]);
    }
    return n;
}

}  // namespace

std::size_t contentcoding::toUpperUtf8(std::string_view text, char* upper) {
    std::size_t size = toUpperAsciiRun(text, upper);
    text.remove_prefix(size);
    const auto* p = reinterpret_cast<const unsigned char*>(text.data());
    for (auto rest = static_cast<unsigned int>(text.size()); rest > 0;) {
        const Decoded c = decodeUtf8(p, rest);
        unsigned char form[kMaxEncoded];
        unsigned int n = c.length;
        if (c.character == kIllFormed)
            std::copy_n(p, n, form);
        else
            n = encodeUtf8(static_cast<char32_t>(u_toupper(static_cast<UChar32>(c.character))),
                           form);
        if (upper) std::copy_n(form, n, upper + size);
        size += n;
        p += c.length;
        rest -= c.length;
    }
    return size;
}

// Makes `text` the new text, NUL-terminated.
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
    // ASCII, which most names are, is changed in place; other characters may need more room.
    if (toUpperAsciiRun(text, nullptr) == text.size()) {
        toUpperAsciiRun(text, m_storage.bytes());
        return true;
    }
    const std::size_t size = contentcoding::toUpperUtf8(text, nullptr);
    ByteStorage upper;
    if (size > ByteStorage::kMaxSize || !upper.appendUninitialized(static_cast<unsigned int>(size)))
        return false;
    contentcoding::toUpperUtf8(text, upper.bytes());
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
