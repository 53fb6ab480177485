#ifndef CONTENTCODING_TRANSFER_HPP
#define CONTENTCODING_TRANSFER_HPP

#include <optional>
#include <string>
#include <string_view>

#include "contentcoding/base64.hpp"
#include "contentcoding/bytes.hpp"
#include "contentcoding/export.hpp"
#include "contentcoding/quoted_printable.hpp"
#include "contentcoding/result.hpp"

/// @file
/// The bodies of mail by their Content-Transfer-Encoding: RFC 2045, section 6.

namespace contentcoding {

class Window;

namespace detail {

// For the library itself: bodies that stay as they are, but for line ends. Coders like others.
struct LineEnds {
    // Each LF without a CR before it gets one.
    [[nodiscard]] bool write(Bytes piece, Window& out);
    [[nodiscard]] bool end(Window& out);

    bool afterCr = false;
};
struct AsItIs {
    Result<void> write(Bytes piece, Window& out);
    Result<void> end(Window&) { return {}; }
};

}  // namespace detail

namespace transfer {

enum class Encoding : unsigned char { k7Bit, k8Bit, kQuotedPrintable, kBase64 };

/// Which bytes may be on the way.
enum class Path : unsigned char {
    k7Bit,  ///< any mail server
    k8Bit,  ///< servers that say 8BITMIME (RFC 6152)
};

/// The encoding for a body, found in one pass, with no memory: as it is, if lines end in LF or CRLF
/// and have at most 998 bytes, there is no NUL and no other CR, and the path takes its bytes; else
/// Base64 for what has a NUL or another CR, and for other bodies the shorter of quoted-printable
/// and Base64, the former if they are alike.
///
///     const auto encoding = contentcoding::transfer::suggest("Caf\xC3\xA9\n");
///     std::cout << contentcoding::transfer::name(encoding);  // quoted-printable
CONTENTCODING_EXPORT Encoding suggest(Bytes body, Path path = Path::k7Bit);

/// The name of an encoding in the field Content-Transfer-Encoding, such as "quoted-printable".
///
///     std::cout << contentcoding::transfer::name(contentcoding::transfer::Encoding::k7Bit);
CONTENTCODING_EXPORT std::string_view name(Encoding encoding);

/// The encoding that a field value means, or none. Comments, parameters, quotation marks, white
/// space and case do not count, nor does punctuation ("8-bit"). "binary" is k8Bit here: the body is
/// as it is. No value at all is k7Bit (RFC 2045, section 6.1). Uuencode is not known: it has no
/// standard form in MIME.
///
///     contentcoding::transfer::encodingOf("BASE64 (of course)");  // Encoding::kBase64
CONTENTCODING_EXPORT std::optional<Encoding> encodingOf(std::string_view value);

/// A body in an encoding. In 7bit, 8bit and quoted-printable it is text: LF and CRLF are line ends,
/// and become CRLF. In Base64 all of its bytes stay as they are; lines have 76 characters and end
/// with CRLF. A body that suggest() has for another encoding may not survive 7bit and 8bit.
///
///     const auto kQuoted = contentcoding::transfer::Encoding::kQuotedPrintable;
///     contentcoding::transfer::encode("Caf\xC3\xA9\n", kQuoted);  // "Caf=C3=A9\r\n"
CONTENTCODING_EXPORT std::string encode(Bytes body, Encoding encoding);

/// The body behind a text as it came, by the value of its Content-Transfer-Encoding. Forgives what
/// base64::kFromMime and quoted_printable::kFromMime do. Lines of quoted-printable end with CRLF.
///
/// Faults: Fault::kUnknownEncoding for a name that encodingOf() does not know; in Base64
/// Fault::kCutGroup and kPadding.
///
///     contentcoding::transfer::decode("Y2Fm\r\nw6k=\r\n", "Base64").value_or("");  // "café"
CONTENTCODING_EXPORT Result<std::string> decode(Bytes text, std::string_view name);

/// Encodes a body that comes in pieces, cut anywhere: writes what encode() would write for all.
/// Blocks of up to 64 KiB reach the sink. The object has about 150 bytes, allocates nothing and may
/// be copied; after finish() it is as new.
///
///     contentcoding::transfer::Encoder encoder(contentcoding::transfer::Encoding::kBase64);
///     const bool sent = encoder.feed("piece", send) && encoder.finish(send);
class Encoder {
public:
    CONTENTCODING_EXPORT explicit Encoder(Encoding encoding);

    /// False when the sink ended the work; the object is of no more use then.
    [[nodiscard]] bool feed(Bytes piece, Sink auto&& sink) {
        return feedSink(piece, detail::SinkRef(sink));
    }
    [[nodiscard]] bool finish(Sink auto&& sink) { return finishSink(detail::SinkRef(sink)); }

private:
    CONTENTCODING_EXPORT bool feedSink(Bytes piece, detail::SinkRef sink);
    CONTENTCODING_EXPORT bool finishSink(detail::SinkRef sink);

    template <class Work>
    bool withCoder(detail::SinkRef sink, Work work);

    // The one for the encoding is in use.
    Encoding m_encoding;
    detail::LineEnds m_lines;
    quoted_printable::Encoder m_quoted;
    base64::Encoder m_base64{base64::kMime};
};

/// Decodes a text that comes in pieces, cut anywhere: the bytes, or the fault, that decode() gives
/// for all. Blocks of up to 64 KiB reach the sink. The object has about 400 bytes and may be
/// copied; after finish() it is as new. feed() and finish() allocate nothing.
///
///     contentcoding::transfer::Decoder decoder("quoted-printable");
///     auto fed = decoder.feed("Caf=C", sink);
class Decoder {
public:
    CONTENTCODING_EXPORT explicit Decoder(std::string_view name);

    /// The first fault, or Fault::kStopped; the object is of no more use after either.
    Result<void> feed(Bytes piece, Sink auto&& sink) {
        return feedSink(piece, detail::SinkRef(sink));
    }
    Result<void> finish(Sink auto&& sink) { return finishSink(detail::SinkRef(sink)); }

private:
    CONTENTCODING_EXPORT Result<void> feedSink(Bytes piece, detail::SinkRef sink);
    CONTENTCODING_EXPORT Result<void> finishSink(detail::SinkRef sink);

    template <class Work>
    Result<void> withCoder(detail::SinkRef sink, Work work);

    // The one for the encoding is in use.
    std::optional<Encoding> m_encoding;
    quoted_printable::Decoder m_quoted{quoted_printable::kFromMime};
    base64::Decoder m_base64{base64::kFromMime};
};

}  // namespace transfer
}  // namespace contentcoding

#endif
