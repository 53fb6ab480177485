#ifndef CONTENTCODING_HEADER_HPP
#define CONTENTCODING_HEADER_HPP

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "contentcoding/bytes.hpp"
#include "contentcoding/export.hpp"
#include "contentcoding/result.hpp"

/// @file
/// The values of mail headers as they come, and as they should be sent: RFC 5322, section 2.2.3
/// (folding), and RFC 2047 (encoded words).
///
/// Everything here is linear in the length of its input. The functions allocate, and throw
/// std::bad_alloc when memory is short; nothing else is thrown.

namespace contentcoding::header {

/// What bounds the work on hostile mail. Real mail does not come near the defaults. What is over a
/// limit is a defect, Fault::kTooLong, where it starts.
struct Limits {
    std::size_t valueLength = 1 << 20;  ///< in bytes; what follows is not read
    std::size_t words = 10000;          ///< encoded words in a value; more of them stay as they are
    std::size_t parameters = 1000;      ///< in a value; more of them are left out
    std::size_t sections = 1000;        ///< of all parameters of a value; more are left out
    std::size_t addresses = 10000;      ///< in a list; more of them are left out
    std::size_t defects = 1000;         ///< more of them are not told
};

/// What becomes of control characters and of characters that change the direction of text, which a
/// terminal, a log or a second header would obey: all of U+0000 to U+001F but the tab, U+007F to
/// U+009F, U+2028 to U+202E and U+2066 to U+2069. Each one is a defect, Fault::kControl.
enum class Controls : unsigned char {
    kDrop,  ///< they are left out
    kShow,  ///< "␀" for NUL, "␍" for CR and so on; U+FFFD for those that have no picture
    kKeep,  ///< they stay
};

/// How a value is read; parameter::parse() and mailbox::parse() take the same.
struct Decoding {
    /// What raw 8-bit text is that is not UTF-8, and text in a charset that is not known.
    std::string_view fallbackCharset = "windows-1252";
    /// Whether encoded words between quotation marks are decoded too, which RFC 2047 forbids and
    /// many senders write.
    bool quotedWords = true;
    Controls controls = Controls::kDrop;
    Limits limits = {};
};

/// A text and what was wrong with its source.
struct Decoded {
    std::string text;            ///< valid UTF-8
    std::vector<Error> defects;  ///< in the order of their offsets; none: the value was sound
};

/// The text of a header value, which may be folded, and have or lack its last line end. White space
/// at both ends is dropped, and line ends before a space or tab, and white space between encoded
/// words. The bytes of neighbouring words in one charset are joined before they are converted, so
/// characters, shift states and Base64 groups may be split over words. What is not an encoded word
/// stays as it is.
///
/// Forgiven, as senders write it: line breaks, spaces and tabs inside words, words without space
/// between them or beside text, any case, languages (RFC 2231, section 5), missing padding, raw
/// 8-bit characters. A charset means what senders mean by it, as the WHATWG Encoding Standard has
/// it: "iso-8859-1" is windows-1252, "euc-kr" is code page 949, "us-ascii" with 8-bit characters is
/// the fallback.
///
/// Defects: Fault::kMalformed (raw text or a word whose bytes are not text in the charset; they
/// become text of the fallback charset, or U+FFFD), kUnknownCharset, kUnknownEncoding,
/// kForeignCharacter, kPadding, kCutGroup and kBadEscape (inside words), kLineEnd (a line end
/// without a space or tab after it; it becomes a space), kControl, kTooLong.
///
///     const auto subject = contentcoding::header::decode("=?utf-8?Q?Gr=C3=BC=C3=9Fe?=");
///     std::cout << subject.text;  // Grüße
CONTENTCODING_EXPORT Decoded decode(Bytes value, const Decoding& options = {});

/// Where a value stands, which decides what may stand in it (RFC 2047, section 5).
enum class Context : unsigned char {
    kText,     ///< a value without structure, as that of Subject
    kPhrase,   ///< a display name before an address
    kComment,  ///< text inside parentheses
};

/// How words are encoded. kShorter: as Q if that is not longer than B, but in B in ISO-2022-JP and
/// its relatives (RFC 1468); and as Q where a word would have padding that others follow, as some
/// readers drop these.
enum class Scheme : unsigned char { kShorter, kB, kQ };

/// How a value is written.
struct Encoding {
    Context context = Context::kText;
    Scheme scheme = Scheme::kShorter;
    /// How much of the first line is taken already, as by "Subject: ".
    std::size_t column = 0;
    /// The longest line, without its end. At least 40 counts; 0: lines are not broken.
    std::size_t lineLength = 76;
    std::string_view lineEnd = "\r\n";
    /// What encoded words are in. Text that this charset lacks is encoded in UTF-8, and so is "\"
    /// or
    /// "~" in Shift_JIS, which not all readers have there. "gb2312" is no more than that: not GBK.
    std::string_view charset = "utf-8";
};

/// A header value for a text. Words of printable ASCII stay as they are. Others become encoded
/// words of at most 75 characters, with the spaces between them inside: so do words with control
/// characters, words that look like encoded words or would not fit in a line, spaces at both ends,
/// and in phrases and comments the words that may not stand there as they are. Lines break before
/// spaces. No character is cut, nor what is read as one character (Unicode Standard Annex 29).
///
/// decode() gives the text back, but for control characters, unless it is told to keep them. Where
/// `utf8` is not UTF-8, U+FFFD is written. The value never has a line end but before a space.
///
///     contentcoding::header::encode("Grüße");  // "=?utf-8?B?R3LDvMOfZQ==?="
CONTENTCODING_EXPORT std::string encode(Bytes utf8, const Encoding& options = {});

/// The whole field, folded at 76 characters, without a line end: the name, a colon, a space and
/// encode() of the text. Characters that a name cannot have are left out of it.
///
///     std::cout << contentcoding::header::field("Subject", "Réunion d'équipe") << "\r\n";
CONTENTCODING_EXPORT std::string field(std::string_view name, Bytes utf8);

}  // namespace contentcoding::header

#endif
