#ifndef CONTENTCODING_DKIM_HPP
#define CONTENTCODING_DKIM_HPP

#include "contentcoding/bytes.hpp"
#include "contentcoding/detail/escaped.hpp"
#include "contentcoding/export.hpp"
#include "contentcoding/result.hpp"

/// @file
/// The quoted-printable form of DKIM header fields: RFC 6376, section 2.11. White space means
/// nothing in it; all but printable ASCII is escaped, and space, "=" and ";" are.

namespace contentcoding {

class Window;

namespace dkim {

/// How text is written.
struct Format {
    /// The longest line, in characters; 0: no lines. Less than 10 counts as 10. Lines are folded as
    /// header fields are: CRLF and a space, which counts as a character of the next line.
    std::size_t columns = 0;
};

inline constexpr Format kPlain{};

/// What a decoder accepts beyond the RFC: a member for each leniency. Spaces, tabs, CR and LF are
/// skipped in any case.
struct Accept {
    /// "=" without two hexadecimal digits right after it is a character. Else Fault::kBadEscape.
    bool badEscapes = false;
    /// Digits "a" to "f". Else Fault::kLowerCase.
    bool lowerCase = false;
    /// ";" and bytes that are neither printable ASCII nor white space are themselves. Else
    /// Fault::kForeignCharacter.
    bool foreign = false;
};

inline constexpr Accept kStrict{};                     ///< the RFC's grammar
inline constexpr Accept kFromMime{.lowerCase = true};  ///< what mail needs
/// Any text at all, as ContentCoding::decodeDkimQuotedPrintable but for digits with the high bit
/// set, which are not digits here.
inline constexpr Accept kAnything{.badEscapes = true, .lowerCase = true, .foreign = true};

/// The most characters that encode() writes for `n` bytes; the largest std::size_t where it may be
/// more than that.
CONTENTCODING_EXPORT std::size_t maxEncodedSize(std::size_t n,
                                                const Format& format = kPlain) noexcept;

/// The most bytes that `n` characters decode to.
constexpr std::size_t maxDecodedSize(std::size_t n) noexcept { return n; }

/// Encodes bytes that come in pieces, cut anywhere: writes what encode() would write for all.
///
/// Blocks of up to 64 KiB reach the sink. The object has about 60 bytes, allocates nothing and may
/// be copied; after finish() it is as new.
///
///     contentcoding::dkim::Encoder encoder;
///     const bool sent = encoder.feed("a;b", send) && encoder.finish(send);
class Encoder {
public:
    explicit Encoder(const Format& format = kPlain) : m_columns(format.columns) {}

    /// False when the sink ended the work; the object is of no more use then.
    [[nodiscard]] bool feed(Bytes piece, Sink auto&& sink) {
        return feedSink(piece, detail::SinkRef(sink));
    }
    [[nodiscard]] bool finish(Sink auto&& sink) { return finishSink(detail::SinkRef(sink)); }

    // For the library itself: lines of the class, which end in "=" and may pass `columns`.
    struct Legacy {
        unsigned int columns;
    };
    explicit Encoder(Legacy lines) : m_columns(lines.columns), m_isLegacy(true) {}
    // The same as feed() and finish(), to a window, without its finish().
    [[nodiscard]] bool write(Bytes piece, Window& out);
    [[nodiscard]] bool end(Window& out);
    // The same as write() and end(), for bytes that do not come in pieces.
    [[nodiscard]] bool writeAll(Bytes bytes, Window& out);

private:
    CONTENTCODING_EXPORT bool feedSink(Bytes piece, detail::SinkRef sink);
    CONTENTCODING_EXPORT bool finishSink(detail::SinkRef sink);

    std::size_t m_columns;
    bool m_isLegacy = false;
    detail::EscapedState m_state;
};

/// Decodes text that comes in pieces, cut anywhere: the bytes, or the fault, that decode() gives
/// for all. Offsets of faults count from the start of the first piece.
///
/// Blocks of up to 64 KiB reach the sink. The object has about 24 bytes, allocates nothing and may
/// be copied; after finish() it is as new.
///
///     contentcoding::dkim::Decoder decoder;
///     auto fed = decoder.feed("a=3Bb", sink);
class Decoder {
public:
    explicit Decoder(const Accept& accept = kStrict) : m_accept(accept) {}

    /// The first fault, or Fault::kStopped; the object is of no more use after either.
    Result<void> feed(Bytes piece, Sink auto&& sink) {
        return feedSink(piece, detail::SinkRef(sink));
    }
    Result<void> finish(Sink auto&& sink) { return finishSink(detail::SinkRef(sink)); }

    // For the library itself: digits may have the high bit set.
    struct Legacy {};
    explicit Decoder(Legacy) : m_accept(kAnything), m_isLegacy(true) {}
    // The same as feed() and finish(), to a window, without its finish().
    Result<void> write(Bytes piece, Window& out);
    Result<void> end(Window& out);

private:
    CONTENTCODING_EXPORT Result<void> feedSink(Bytes piece, detail::SinkRef sink);
    CONTENTCODING_EXPORT Result<void> finishSink(detail::SinkRef sink);

    Result<void> decodeSpan(std::string_view& text, bool isEnd, Window& out);
    Result<void> check(std::string_view text) const;

    Accept m_accept;
    bool m_isLegacy = false;
    unsigned char m_pendingSize = 0;
    char m_pending[2] = {};      // of an escape that is cut
    std::uint64_t m_offset = 0;  // of the first character that is not decoded yet
};

// The compiled part of the templates below.
CONTENTCODING_EXPORT void encodeTo(detail::Growth out, Bytes bytes, const Format& format);
CONTENTCODING_EXPORT Result<void> decodeTo(detail::Growth out, Bytes text, const Accept& accept);

/// The DKIM quoted-printable text of the bytes. Linear.
///
///     contentcoding::dkim::encode("a; b");  // "a=3B=20b"
inline std::string encode(Bytes bytes, const Format& format = kPlain) {
    std::string text;
    encodeTo(detail::growthOf(text), bytes, format);
    return text;
}

/// The same, to the end of a container. The bytes may not lie in it.
void append(Container auto& out, Bytes bytes, const Format& format = kPlain) {
    encodeTo(detail::growthOf(out), bytes, format);
}

/// The same, to the start of `room`; returns how many characters that are. Fault::kNoRoom when they
/// do not fit; the contents of the room are unspecified then.
CONTENTCODING_EXPORT Result<std::size_t> encodeInto(Room room, Bytes bytes,
                                                    const Format& format = kPlain);

/// The bytes of a DKIM quoted-printable text, or the first fault in it. Linear.
///
///     contentcoding::dkim::decode("a=3B\r\n b").value_or("");  // "a;b"
template <Container C = std::string>
Result<C> decode(Bytes text, const Accept& accept = kStrict) {
    C bytes;
    const Result<void> done = decodeTo(detail::growthOf(bytes), text, accept);
    if (!done) return done.error();
    return bytes;
}

/// The same, to the end of a container, which is as it was after a fault.
Result<void> decodeAppend(Container auto& out, Bytes text, const Accept& accept = kStrict) {
    return decodeTo(detail::growthOf(out), text, accept);
}

/// The same, to the start of `room`; returns how many bytes that are. Fault::kNoRoom when they do
/// not fit. After a fault the contents of the room are unspecified.
CONTENTCODING_EXPORT Result<std::size_t> decodeInto(Room room, Bytes text,
                                                    const Accept& accept = kStrict);

}  // namespace dkim
}  // namespace contentcoding

#endif
