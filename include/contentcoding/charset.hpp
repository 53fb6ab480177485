#ifndef CONTENTCODING_CHARSET_HPP
#define CONTENTCODING_CHARSET_HPP

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "contentcoding/bytes.hpp"
#include "contentcoding/export.hpp"
#include "contentcoding/result.hpp"

/// @file
/// Text in the charsets of mail, to UTF-8 and back.
///
/// A charset name is one of those in use in MIME headers, in any case, with punctuation missing or
/// different ("utf8", "ISO_8859-1", "cp-936"), and with a language after it or not ("utf-8*en",
/// RFC 2231, section 5). A name of the IANA registry means the charset that is registered under it,
/// but where senders use a name of a charset for the larger one of Windows: "shift_jis", "gb2312"
/// (GBK) and "big5". header::decode() goes further.
///
/// Linear time. These functions allocate, and throw std::bad_alloc when memory is short.

namespace contentcoding::charset {

/// What becomes of bytes that are not text in their charset, and of characters that a charset
/// lacks.
enum class Malformed : unsigned char {
    kStop,     ///< the first one ends the work, with a fault
    kReplace,  ///< U+FFFD, or in another charset than Unicode its own substitute, such as 0x1A
    kDrop,     ///< nothing
};

/// A text, and how much of it was replaced or dropped.
struct Converted {
    std::string text;
    std::size_t replaced = 0;  ///< malformed parts and characters without a place
};

/// Converts `bytes` from the charset `name` to UTF-8. A maximal ill-formed part counts as one fault
/// (The Unicode Standard, section 3.9). Overlong forms and single surrogates are ill-formed.
///
/// A byte-order mark is a character like any other. In "utf-16" and "utf-32" without a byte order
/// it gives that order and is removed; without a mark they are big-endian (RFC 2781, section 4.3).
///
/// Faults: Fault::kUnknownCharset; Fault::kMalformed with Malformed::kStop, at the first byte of
/// the malformed part (in charsets with shift states some bytes before it, at most).
///
///     const auto text = contentcoding::charset::toUtf8("Gr\xFC\xDF" "e", "iso-8859-1");
///     std::cout << text->text;  // Grüße
CONTENTCODING_EXPORT Result<Converted> toUtf8(Bytes bytes, std::string_view name,
                                              Malformed malformed = Malformed::kStop);

/// Converts UTF-8 to the charset `name`. The result stands by itself: a charset with shift states
/// ends in its initial state. No byte-order mark is written; "utf-16" and "utf-32" are big-endian.
///
/// Faults: Fault::kUnknownCharset; with Malformed::kStop Fault::kMalformed where `utf8` is not
/// UTF-8, and Fault::kUnmappable at a character that the charset lacks.
///
///     const auto bytes = contentcoding::charset::fromUtf8("Łódź", "iso-8859-2");
///     std::cout << bytes->text.size();  // 4
CONTENTCODING_EXPORT Result<Converted> fromUtf8(Bytes utf8, std::string_view name,
                                                Malformed malformed = Malformed::kStop);

/// Whether the two functions above know the charset.
///
///     if (!contentcoding::charset::isKnown("x-nonsense")) std::cout << "unknown";
CONTENTCODING_EXPORT bool isKnown(std::string_view name);

/// The preferred MIME name of the charset that `name` means, or the conversion library's name for a
/// charset that has none; empty if it is not known. The name lives for ever.
///
///     std::cout << contentcoding::charset::canonicalName("utf8");  // UTF-8
CONTENTCODING_EXPORT std::string_view canonicalName(std::string_view name);

/// The preferred names of the charsets that are always known, without duplicates. More are known
/// if the conversion library has them.
///
///     for (const auto name : contentcoding::charset::names()) std::cout << name << '\n';
CONTENTCODING_EXPORT std::span<const std::string_view> names();

}  // namespace contentcoding::charset

#endif
