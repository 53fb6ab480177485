#ifndef SUPPORT_CHARSET_H
#define SUPPORT_CHARSET_H

#include <memory>
#include <span>

#include "contentcoding/export.hpp"
#include "support/DataBuffer.h"
#include "support/Log.h"
#include "support/StringBuffer.h"

// Converting text between charsets, and the charsets' names and numbers.
//
// A code page is a charset's number among the Windows code pages: 65001 for UTF-8, 1200 for
// UTF-16 and 12000 for UTF-32, both little-endian. 0 is not a code page.
//
// A charset name is a name as MIME headers have it. Forgiven in a name:
//   - letters of the other case
//   - punctuation that is missing, added or other ("utf8", "ISO_8859-1", "cp-936", "cp037")
//   - spaces and tabs around it
//   - a language after it, as RFC 2231, section 5, has it: "iso-8859-1*en" is "iso-8859-1"
// "cp" and "windows" before the number of a code page name it too: "cp1256", "windows-28592". A
// name is refused when it is empty, longer than 59 characters, or has others than letters, digits
// and "-_.:+()".
//
// Everything here may be used from several threads at once, an object from one at a time.

namespace contentcoding {

struct OpenConverters;

// A charset that has both a number and a name.
struct KnownCharset {
    int codePage;
    const char* name;  // the preferred one for MIME; NUL-terminated, lives for ever
};

// All of them, by ascending code page. UTF-16 and UTF-32 by byte-order mark follow, under the
// number of their little-endian form, the charset that has that number.
CONTENTCODING_EXPORT std::span<const KnownCharset> knownCharsets();

}  // namespace contentcoding

// Converts text from one charset to another. What a conversion needs is opened when it is first
// needed and kept for the next call on the same object; nothing else is carried over.
class CONTENTCODING_EXPORT EncodingConvert {
public:
    EncodingConvert();
    ~EncodingConvert();
    EncodingConvert(const EncodingConvert&) = delete;
    EncodingConvert& operator=(const EncodingConvert&) = delete;

    // Converts the `n` bytes of `data` from one code page to another and appends the result to
    // `out`. The result stands by itself: a charset with shift states is left in its initial one.
    // A byte-order mark is a character like any other; none is added or removed.
    //   data     must not lie in `out`; null counts as no bytes, and with no bytes the result is
    //            true, whatever the charsets
    //   out      appended to, never cleared; also with faults everything convertible is there.
    //            Bytes that are not text in their charset become U+FFFD, one for each maximal
    //            ill-formed part (a sequence cut short by the end is one part). A character, this
    //            one included, that the target lacks becomes the target's substitution
    //            character: 0x1A in most charsets of one byte, or what its table has for it.
    //   returns  false with a fault as above, with an unknown code page (nothing appended), and
    //            when memory is short (what was appended before stays)
    //   log      one line for an unknown code page; one line for all faults, with the names of the
    //            charsets and the offset of the first fault in `data`, in bytes; in UTF-7 it may
    //            be that of the "+" before the fault. None when memory is short.
    bool EncConvert(int fromCodePage, int toCodePage, const unsigned char* data, unsigned int n,
                    DataBuffer& out, LogBase& log);

    // As EncConvert, from a charset given by name. Besides the known charsets these are all that
    // the conversion library has.
    //   charset  not changed. "utf-16" and "utf-32", without an order, are big-endian unless a
    //            byte-order mark at the start gives the order; that mark is removed.
    //   returns  also false when the name denotes no charset, which is logged
    //   source   RFC 2781, section 4.3
    bool ChConvert2(StringBuffer& charset, int toCodePage, const unsigned char* data,
                    unsigned int n, DataBuffer& out, LogBase& log);

private:
    std::unique_ptr<contentcoding::OpenConverters> m_open;
};

// A charset chosen by name.
class CONTENTCODING_EXPORT _zqCharset {
public:
    // Chooses the charset `name`. False, and none chosen, for null and for a name that denotes no
    // charset.
    bool setByName(const char* name);

    // The chosen charset's number; 0 when none is chosen or it has none. "utf-16" and "utf-32" give
    // that of the little-endian form, 1200 and 12000.
    int getCodePage() const { return m_codePage; }

private:
    int m_codePage = 0;
};

class CONTENTCODING_EXPORT CharsetNaming {
public:
    // Whether `name` denotes a charset that EncodingConvert::ChConvert2 converts from. The name is
    // not changed.
    static bool CharsetValid(StringBuffer& name);
};

class CONTENTCODING_EXPORT _zqUrlEncode {
public:
    // Turns each "%" with two hexadecimal digits of either case after it into the byte that they
    // denote. Any other "%", and "+", stay. False, and nothing changed, when memory is short.
    static bool urlDecodeSb(StringBuffer& text);
};

#endif
