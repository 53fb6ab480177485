#ifndef SUPPORT_XSTRING_H
#define SUPPORT_XSTRING_H

#include <string_view>
#include "contentcoding/export.hpp"

#include "support/Memory.h"

// A text of Unicode characters, kept as UTF-8.
//
// It ends at its first U+0000, as NUL-terminated text does. Bytes that are not UTF-8 are kept as
// they are. Null given as a text counts as empty, but nothing contains it. An operation that
// returns false ran out of memory and left the text as it was; containsSubstringUtf8() only
// answers a question.
class CONTENTCODING_EXPORT XString {
public:
    XString() = default;

    // Copies are empty when memory is short.
    XString(const XString& other) { static_cast<void>(setFromUtf8(other.getUtf8())); }
    XString& operator=(const XString& other) {
        if (this != &other) *this = XString(other);
        return *this;
    }
    XString(XString&&) noexcept = default;
    XString& operator=(XString&&) noexcept = default;
    ~XString() = default;

    // The text, NUL-terminated, valid until it next changes; never null.
    const char* getUtf8() const { return m_storage.bytes() ? m_storage.bytes() : ""; }

    // The same with its length, in bytes.
    std::string_view view() const { return {getUtf8(), m_storage.size()}; }

    bool isEmpty() const { return m_storage.size() == 0; }

    // Replaces the text. It must not be a part of the present one.
    [[nodiscard]] bool setFromUtf8(const char* text) { return setFromUtf8N(text, zqStrLen(text)); }

    // The same for the first `n` bytes of `text`, none of which is NUL.
    [[nodiscard]] bool setFromUtf8N(const char* text, unsigned int n);

    // Turns every character into its simple upper-case form, a single character, whatever the
    // locale: "ß" stays, "i" becomes "I".
    //   source   the Unicode Standard, section 4.2 (simple case mapping)
    [[nodiscard]] bool toUpperCase();

    // Whether `text` occurs. The empty text does.
    [[nodiscard]] bool containsSubstringUtf8(const char* text) const;

    // Replaces every occurrence of `text`, from the left, by `by`, which is not searched again.
    // With `ignoreCase` the letters "A" to "Z" count as equal to "a" to "z". The empty text is
    // replaced nowhere.
    [[nodiscard]] bool replaceAllOccurancesUtf8(const char* text, const char* by, bool ignoreCase);

private:
    void adopt(contentcoding::ByteStorage& text);

    contentcoding::ByteStorage m_storage;
};

#endif
