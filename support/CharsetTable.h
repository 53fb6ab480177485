#ifndef SUPPORT_CHARSETTABLE_H
#define SUPPORT_CHARSETTABLE_H

// Private: the known charsets, and how to find one.

#include <optional>
#include <span>
#include <string_view>

namespace contentcoding {

// How a charset is converted: by our own code (CharsetForms.h) or by a converter of the library.
enum class CharsetForm : unsigned char {
    kTable,
    kAscii,
    kLatin1,
    kLatin10,
    kUtf8,
    kUtf16Le,
    kUtf16Be,
    kUtf32Le,
    kUtf32Be,
    kUtf16Marked,  // in the order that the byte-order mark gives
    kUtf32Marked,
};

struct Charset {
    int codePage;
    CharsetForm form;
    const char* name;          // the preferred MIME name
    const char* converter;     // the conversion library's own name for it
    const char* aliases = "";  // separated by spaces, in lower case and without punctuation
};

// The charset of that number or name, if there is one. A charset that only the conversion library
// knows has code page 0 and the library's name. By name only charsets are found that can be
// converted: the first look-up of each opens its converter.
[[nodiscard]] std::optional<Charset> findCharset(int codePage);
[[nodiscard]] std::optional<Charset> findCharset(std::string_view name);

struct SingleByteTable;

// The characters of a charset that has one byte for each; else null. The first look-up of a charset
// that needs a converter opens it.
[[nodiscard]] const SingleByteTable* singleByteTableOf(const Charset& charset);

// The names of all that have a row in the table, by ascending code page.
[[nodiscard]] std::span<const std::string_view> charsetNames();

}  // namespace contentcoding

#endif
