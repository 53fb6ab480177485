#ifndef CONTENTCODING_QUOTED_PRINTABLE_HPP
#define CONTENTCODING_QUOTED_PRINTABLE_HPP

#include "contentcoding/bytes.hpp"
#include "contentcoding/detail/escaped.hpp"
#include "contentcoding/export.hpp"
#include "contentcoding/result.hpp"

/// @file
/// Quoted-printable: RFC 2045, section 6.7.

namespace contentcoding {

class Window;

namespace quoted_printable {

/// What counts as a line end of the input.
enum class Newlines : unsigned char {
    kText,    ///< CRLF and LF: for text as people have it
    kCrLf,    ///< CRLF only; a lone LF is data, as for ContentCoding
    kBinary,  ///< nothing: all CR and LF are data
};

/// How text is written. In all forms a space or tab at the end of a line is escaped.
struct Format {
    Newlines newlines = Newlines::kText;
    /// The longest line, in characters, with the "=" of a soft line break and without its line end;
    /// 0: no soft line breaks. Less than 10 counts as 10.
    std::size_t columns = 76;
    /// What line ends are written as, soft ones too; of more than 2 characters the first 2. The
    /// text must outlive the coder.
    std::string_view lineEnd = "\r\n";
    /// Escapes "." and the "F" of "From " at the start of a line, which mail software takes for its
    /// own.
    bool protectLineStarts = true;
};

inline constexpr Format kPlain{};
inline constexpr Format kBinary{.newlines = Newlines::kBinary};

/// What a decoder accepts beyond what kPlain writes: a member for each leniency. Bytes that should
/// have been escaped are themselves in any case: NUL, controls, and those from 0x80 up.
struct Accept {
    /// What a line end becomes in the result. The text must outlive the coder.
    std::string_view lineEnd = "\r\n";
    /// "=" without two hexadecimal digits after it is a character; at the end of the text it is
    /// dropped. Else Fault::kBadEscape.
    bool badEscapes = false;
    /// Digits "a" to "f". Else Fault::kLowerCase.
    bool lowerCase = false;
    /// Lines of more than 76 characters. Else Fault::kLongLine, at the 77th.
    bool longLines = false;
    /// Spaces and tabs at the end of a line, or between the "=" of a soft line break and its line
    /// end: dropped, of more than 256 the last 256. Else Fault::kTrailingSpace, at the first.
    bool trailingSpace = false;
    /// LF is a line end like CRLF; a CR among the white space at the end of a line is dropped; any
    /// other CR is a character. Else Fault::kLineEnd.
    bool lineEnds = false;
};

inline constexpr Accept kStrict{};  ///< what kPlain writes
inline constexpr Accept kFromMime{.badEscapes = true,
                                  .lowerCase = true,
                                  .longLines = true,
                                  .trailingSpace = true,
                                  .lineEnds = true};
/// Any text at all. Unlike ContentCoding::decodeQuotedPrintable it keeps bytes from 0x80 up and NUL
/// as they are, and drops the spaces and tabs of a line that has nothing else.
inline constexpr Accept kAnything = kFromMime;

/// The most characters that encode() writes for `n` bytes; the largest std::size_t where it may be
/// more than that.
CONTENTCODING_EXPORT std::size_t maxEncodedSize(std::size_t n,
                                                const Format& format = kPlain) noexcept;

/// The most bytes that `n` characters decode to, with line ends as long as given.
CONTENTCODING_EXPORT std::size_t maxDecodedSize(std::size_t n,
                                                const Accept& accept = kStrict) noexcept;

/// Encodes bytes that come in pieces, cut anywhere: writes what encode() would write for all.
///
/// Blocks of up to 64 KiB reach the sink. The object has about 100 bytes, allocates nothing and may
/// be copied; after finish() it is as new.
///
///     contentcoding::quoted_printable::Encoder encoder;
///     const bool sent = encoder.feed("Caf\xC3\xA9", send) && encoder.finish(send);
class Encoder {
public:
    explicit Encoder(const Format& format = kPlain) : m_format(format) {}

    /// False when the sink ended the work; the object is of no more use then.
    [[nodiscard]] bool feed(Bytes piece, Sink auto&& sink) {
        return feedSink(piece, detail::SinkRef(sink));
    }
    [[nodiscard]] bool finish(Sink auto&& sink) { return finishSink(detail::SinkRef(sink)); }

    // For the library itself: the same, to a window, without its finish().
    [[nodiscard]] bool write(Bytes piece, Window& out);
    [[nodiscard]] bool end(Window& out);
    // The same as write() and end(), for bytes that do not come in pieces.
    [[nodiscard]] bool writeAll(Bytes bytes, Window& out);

private:
    CONTENTCODING_EXPORT bool feedSink(Bytes piece, detail::SinkRef sink);
    CONTENTCODING_EXPORT bool finishSink(detail::SinkRef sink);

    Format m_format;
    detail::EscapedState m_state;
};

/// Decodes text that comes in pieces, cut anywhere: the bytes, or the fault, that decode() gives
/// for all. Offsets of faults count from the start of the first piece.
///
/// Blocks of up to 64 KiB reach the sink. The object has about 350 bytes, allocates nothing and may
/// be copied; after finish() it is as new.
///
///     contentcoding::quoted_printable::Decoder decoder({.lineEnds = true});
///     auto fed = decoder.feed("Caf=C", sink);
class Decoder {
public:
    CONTENTCODING_EXPORT explicit Decoder(const Accept& accept = kStrict);

    /// The first fault, or Fault::kStopped; the object is of no more use after either.
    Result<void> feed(Bytes piece, Sink auto&& sink) {
        return feedSink(piece, detail::SinkRef(sink));
    }
    Result<void> finish(Sink auto&& sink) { return finishSink(detail::SinkRef(sink)); }

    // For the library itself: the same, to a window, without its finish().
    Result<void> write(Bytes piece, Window& out);
    Result<void> end(Window& out);

private:
    CONTENTCODING_EXPORT Result<void> feedSink(Bytes piece, detail::SinkRef sink);
    CONTENTCODING_EXPORT Result<void> finishSink(detail::SinkRef sink);

    Result<void> decodeSpan(std::string_view& text, bool isEnd, Window& out);
    Result<void> decodeLineEnd(std::string_view space, bool hasLf, bool isSoft, Window& out);
    Result<void> decodeContent(std::string_view text, Window& out);
    std::optional<Error> faultOfEscape(std::string_view text, std::size_t i) const;
    Result<void> check(std::string_view text) const;

    // The longest run of white space of which it is not known whether it ends a line.
    static constexpr std::size_t kLongestSpace = 256;

    Accept m_accept;
    std::uint64_t m_offset = 0;  // of the first character that is not decoded yet
    std::size_t m_column = 0;    // characters of the line before that one
    std::size_t m_pendingSize = 0;
    char m_pending[kLongestSpace + 2];  // white space, maybe after a "="; or a "=" and a digit
};

// The compiled part of the templates below.
CONTENTCODING_EXPORT void encodeTo(detail::Growth out, Bytes bytes, const Format& format);
CONTENTCODING_EXPORT Result<void> decodeTo(detail::Growth out, Bytes text, const Accept& accept);

/// The quoted-printable text of the bytes. Linear.
///
///     contentcoding::quoted_printable::encode("Caf\xC3\xA9\n");  // "Caf=C3=A9\r\n"
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

/// The bytes of a quoted-printable text, or the first fault in it. Linear.
///
///     contentcoding::quoted_printable::decode("Caf=C3=A9").value_or("");  // "Café"
///     contentcoding::quoted_printable::decode("a=\n b", {.lineEnds = true});  // "a b"
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

}  // namespace quoted_printable
}  // namespace contentcoding

#endif
