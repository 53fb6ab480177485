#ifndef SUPPORT_CHARSETTABLE_H
#define SUPPORT_CHARSETTABLE_H

// Private: the charsets that are known, and how one is found.

#include <optional>
#include <string_view>

namespace contentcoding {

// How a charset is converted: by code of our own (CharsetForms.h), or by a table of the library.
enum class CharsetForm : unsigned char {
    Table,
    Ascii,
    Latin1,
    Latin10,
    Utf8,
    Utf16Le,
    Utf16Be,
    Utf32Le,
    Utf32Be,
    Utf16Marked,  // in the order that the byte-order mark tells
    Utf32Marked,
};

struct Charset {
    int codePage;
    CharsetForm form;
    const char* name;          // the preferred one for MIME
    const char* converter;     // the conversion library's own name for it
    const char* aliases = "";  // separated by blanks, in lower case and without punctuation
};

// The charset of that number or name; none when there is none. A charset that only the conversion
// library knows has code page 0 and the library's name for it.
std::optional<Charset> findCharset(int codePage);
std::optional<Charset> findCharset(std::string_view name);

}  // namespace contentcoding

#endif
