#ifndef SUPPORT_CHARSET_H
#define SUPPORT_CHARSET_H

#include <memory>
#include <span>

#include "contentcoding/export.hpp"
#include "support/DataBuffer.h"
#include "support/Log.h"
#include "support/StringBuffer.h"

// Converts text between charsets, and finds charsets by name and number.
//
// A code page is the number of a charset among the Windows code pages: 65001 for UTF-8, 1200 for
// UTF-16 and 12000 for UTF-32, both little-endian. 0 means no code page.
//
// A charset name is one of those in use in MIME headers. Accepted beyond the exact spelling:
//   - letters of the other case
//   - missing, extra or different punctuation ("utf8", "ISO_8859-1", "cp-936", "cp037")
//   - spaces and tabs around it
//   - a language after it (RFC 2231, section 5): "iso-8859-1*en" is "iso-8859-1". The language
//     consists of letters, digits and "-", and may be empty.
// "cp", "x-cp", "win" and "windows" before the number of a code page name it too: "cp1256",
// "windows-28592". A name is refused if, without the language, it is empty or longer than 59
// characters, or if it has characters other than letters, digits and "-_.:+()".
//
// A name denotes a charset only if the charset can be converted: the conversion library has names
// for charsets whose tables are not installed.
//
// All functions may be called by several threads at once, but each object by one thread at a time.

namespace contentcoding {

struct OpenConverters;

// A charset that has both a number and a name.
struct KnownCharset {
    int codePage;
    const char* name;  // the preferred MIME name; NUL-terminated, never freed
};

// All of them, by ascending code page. After these come UTF-16 and UTF-32 in the order that a
// byte-order mark gives; their code page is that of the little-endian form.
CONTENTCODING_EXPORT std::span<const KnownCharset> knownCharsets();

}  // namespace contentcoding

// Converts text from one charset to another. Converters are opened when they are first needed and
// kept for the next call on the same object; nothing else is carried over.
class CONTENTCODING_EXPORT EncodingConvert {
public:
    EncodingConvert();
    ~EncodingConvert();
    EncodingConvert(const EncodingConvert&) = delete;
    EncodingConvert& operator=(const EncodingConvert&) = delete;

    // Converts the `n` bytes of `data` from one code page to another and appends the result to
    // `out`. The result stands by itself: a charset with shift states ends in its initial state.
    // A byte-order mark is a character like any other; none is added or removed. An escape sequence
    // or shift that follows another with nothing between them is not a fault.
    //   data     must not lie in `out`; null counts as no bytes, and without bytes the result is
    //            true, whatever the charsets
    //   out      appended to, never cleared; everything that can be converted is appended, even
    //            after faults. Bytes that are not text in their charset become U+FFFD, one for each
    //            maximal ill-formed part (a sequence cut short by the end is one part). A character
    //            that the target lacks, U+FFFD included, becomes the target's substitution
    //            character: 0x1A in most single-byte charsets, or the one in its table.
    //   returns  false after any such fault, for an unknown code page (nothing appended), and
    //            when memory is short (what was appended before stays)
    //   log      one line for an unknown code page; one line for all faults, with the names of the
    //            charsets and the offset of the first fault in `data`, in bytes. In UTF-7 it may be
    //            the offset of the "+" before the fault, and in X11 compound text it is only
    //            approximate. None when memory is short.
    [[nodiscard]] bool EncConvert(int fromCodePage, int toCodePage, const unsigned char* data,
                                  unsigned int n, DataBuffer& out, LogBase& log);

    // Like EncConvert, from a charset given by name: a known charset or any other that the
    // conversion library can convert.
    //   charset  not changed. "utf-16" and "utf-32", without a byte order, are big-endian unless a
    //            byte-order mark at the start gives the order; that mark is removed.
    //   returns  also false when the name does not denote a charset, which is logged
    //   source   RFC 2781, section 4.3
    [[nodiscard]] bool ChConvert2(StringBuffer& charset, int toCodePage, const unsigned char* data,
                                  unsigned int n, DataBuffer& out, LogBase& log);

private:
    std::unique_ptr<contentcoding::OpenConverters> m_open;
};

// A charset selected by name.
class CONTENTCODING_EXPORT _zqCharset {
public:
    // Selects the charset `name`. False, with none selected, for null and for a name that does not
    // denote a charset.
    [[nodiscard]] bool setByName(const char* name);

    // The number of the selected charset; 0 if none is selected or it has no number. "utf-16" and
    // "utf-32" have those of the little-endian forms, 1200 and 12000.
    int getCodePage() const { return m_codePage; }

private:
    int m_codePage = 0;
};

class CONTENTCODING_EXPORT CharsetNaming {
public:
    // Whether `name` denotes a charset that EncodingConvert::ChConvert2 can convert from. The name
    // is not changed. When memory is short, a name that the conversion library knows is valid.
    [[nodiscard]] static bool CharsetValid(StringBuffer& name);
};

class CONTENTCODING_EXPORT _zqUrlEncode {
public:
    // Replaces each "%" and the two hexadecimal digits after it, of either case, by the byte that
    // they denote. Any other "%", and "+", stay. False, and nothing changed, when memory is short.
    [[nodiscard]] static bool urlDecodeSb(StringBuffer& text);
};

#endif
