#ifndef CONTENTCODING_BASE16_HPP
#define CONTENTCODING_BASE16_HPP

#include "contentcoding/bytes.hpp"
#include "contentcoding/detail/groups.hpp"
#include "contentcoding/export.hpp"
#include "contentcoding/result.hpp"

/// @file
/// Base16, hexadecimal digits: RFC 4648, section 8.

namespace contentcoding {

class Window;

namespace base16 {

/// How text is written.
struct Format {
    /// "A" to "F", else "a" to "f".
    bool upperCase = true;
    /// The longest line, in characters; 0: no lines. Both digits of a byte stand in one line, which
    /// has one byte at least.
    std::size_t columns = 0;
    /// What ends each line, the last one too, when there are lines; of a longer one the first 64
    /// characters. The text must outlive the coder.
    std::string_view lineEnd = "\r\n";
};

inline constexpr Format kUpper{};                    ///< as RFC 4648 has it, no lines
inline constexpr Format kLower{.upperCase = false};  ///< as most tools have it, no lines

/// What a decoder accepts: a member for each leniency, and the case of the letters. A digit without
/// another is Fault::kCutGroup, whatever is accepted.
struct Accept {
    /// Letters of either case. Else Fault::kLowerCase for those of the wrong one.
    bool anyCase = false;
    /// "A" to "F", else "a" to "f".
    bool upperCase = true;
    /// Space, tab, CR and LF, anywhere. Else Fault::kForeignCharacter.
    bool whiteSpace = false;
    /// All characters but digits are skipped. Else Fault::kForeignCharacter.
    bool foreign = false;
};

inline constexpr Accept kStrict{};                         ///< exactly what kUpper writes
inline constexpr Accept kStrictLower{.upperCase = false};  ///< exactly what kLower writes
/// What people and mail make of it: white space, and letters of any case.
inline constexpr Accept kFromMime{.anyCase = true, .whiteSpace = true};
/// Any text with an even number of digits.
inline constexpr Accept kAnything{.anyCase = true, .whiteSpace = true, .foreign = true};

/// The number of characters that encode() writes for `n` bytes; the largest std::size_t where it is
/// more than that.
CONTENTCODING_EXPORT std::size_t encodedSize(std::size_t n, const Format& format = kUpper) noexcept;

/// The most bytes that `n` characters decode to.
constexpr std::size_t maxDecodedSize(std::size_t n) noexcept { return n / 2; }

/// Encodes bytes that come in pieces, cut anywhere: writes what encode() would write for all.
///
/// Each call hands blocks of up to 64 KiB to the sink. The
/// object has about 40 bytes, allocates nothing and may be copied; after finish() it is as new.
///
///     contentcoding::base16::Encoder encoder(contentcoding::base16::kLower);
///     const bool sent = encoder.feed("piece", send) && encoder.finish(send);
class Encoder {
public:
    CONTENTCODING_EXPORT explicit Encoder(const Format& format = kUpper);

    /// False when the sink ended the work; the object is of no more use then.
    [[nodiscard]] bool feed(Bytes piece, Sink auto&& sink) {
        return feedSink(piece, detail::SinkRef(sink));
    }
    [[nodiscard]] bool finish(Sink auto&& sink) { return finishSink(detail::SinkRef(sink)); }

    // For the library itself: the same, to a window, without its finish().
    [[nodiscard]] bool write(Bytes piece, Window& out);
    [[nodiscard]] bool end(Window& out);

private:
    CONTENTCODING_EXPORT bool feedSink(Bytes piece, detail::SinkRef sink);
    CONTENTCODING_EXPORT bool finishSink(detail::SinkRef sink);

    detail::Lines m_lines;
    bool m_upperCase;
};

/// Decodes text that comes in pieces, cut anywhere: the bytes, or the fault, that decode() gives
/// for all. Offsets of faults count from the start of the first piece.
///
/// Blocks of up to 64 KiB reach the sink. The object has about 40 bytes, allocates nothing and may
/// be copied; after finish() it is as new.
///
///     contentcoding::base16::Decoder decoder(contentcoding::base16::kFromMime);
///     auto fed = decoder.feed("666f\r\n6", sink);
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

    // False, and the fault in `error`.
    bool takeOne(unsigned char c, Window& out, Error& error);

    Accept m_accept;
    const unsigned char* m_values;  // of the 256 characters
    std::uint64_t m_offset = 0;     // of the next character
    std::uint64_t m_lastDigit = 0;  // the offset of the last one
    unsigned char m_high = 0;
    bool m_hasHigh = false;
};

// The compiled part of the templates below.
CONTENTCODING_EXPORT void encodeTo(detail::Growth out, Bytes bytes, const Format& format);
CONTENTCODING_EXPORT Result<void> decodeTo(detail::Growth out, Bytes text, const Accept& accept);

/// The hexadecimal digits of the bytes. Linear; one allocation.
///
///     contentcoding::base16::encode("foo\xFF");                            // "666F6FFF"
///     contentcoding::base16::encode("\xFF", contentcoding::base16::kLower);  // "ff"
inline std::string encode(Bytes bytes, const Format& format = kUpper) {
    std::string text;
    encodeTo(detail::growthOf(text), bytes, format);
    return text;
}

/// The same, to the end of a container. The bytes may not lie in it.
void append(Container auto& out, Bytes bytes, const Format& format = kUpper) {
    encodeTo(detail::growthOf(out), bytes, format);
}

/// The same, to the start of `room`; returns how many characters that are. No NUL is added.
/// Fault::kNoRoom, with nothing written, when there is less room than encodedSize().
CONTENTCODING_EXPORT Result<std::size_t> encodeInto(Room room, Bytes bytes,
                                                    const Format& format = kUpper);

/// The bytes of a Base16 text, or the first fault in it. Linear; one allocation.
///
///     contentcoding::base16::decode("666F6F").value_or("");                            // "foo"
///     contentcoding::base16::decode("66 6f 6F", contentcoding::base16::kFromMime);  // "foo"
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

}  // namespace base16
}  // namespace contentcoding

#endif
