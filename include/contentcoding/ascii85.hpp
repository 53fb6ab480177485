#ifndef CONTENTCODING_ASCII85_HPP
#define CONTENTCODING_ASCII85_HPP

#include "contentcoding/bytes.hpp"
#include "contentcoding/detail/groups.hpp"
#include "contentcoding/export.hpp"
#include "contentcoding/result.hpp"

/// @file
/// Ascii85: ISO 32000-1, 7.4.3. The digits "!" to "u", and "z" for four zero bytes.

namespace contentcoding {

class Window;

namespace ascii85 {

/// How text is written.
struct Format {
    /// "<~" in front and "~>" behind.
    bool framed = false;
    /// The longest line, in characters; 0: no lines. 1 counts as 2. Groups are cut at the end of a
    /// line; the ends of the frame are not.
    std::size_t columns = 0;
    /// What ends each line, the last one too, when there are lines; of a longer one the first 64
    /// characters. The text must outlive the coder.
    std::string_view lineEnd = "\r\n";
};

inline constexpr Format kPlain{};                 ///< no frame, no lines
inline constexpr Format kFramed{.framed = true};  ///< "<~" and "~>", no lines

/// Whether "<~" stands in front of the text, and "~>" behind.
enum class Frame : unsigned char {
    kForbidden,  ///< neither; Fault::kFrame for a "~"
    kOptional,   ///< both, one, or none
    kRequired,   ///< both; Fault::kFrame where one should stand
};

/// What a decoder accepts beyond what kPlain writes: a member for each leniency. A group above
/// 2^32 - 1 is Fault::kGroupTooLarge, at its first character, whatever is accepted.
struct Accept {
    /// Space, tab, CR and LF, anywhere but within "<~" and "~>". Else Fault::kForeignCharacter.
    bool whiteSpace = false;
    Frame framed = Frame::kForbidden;
    /// A last, short group may have other digits for its bytes than encode() writes. Else
    /// Fault::kLeftoverBits, at its last digit.
    bool leftoverBits = false;
    /// "!!!!!" for four zero bytes. Else Fault::kForeignCharacter: "z" should stand there.
    bool longZeros = false;
    /// "z" inside a group, or in front of one after white space, counts as a digit of value 89; a
    /// single digit at the end is dropped; what follows "~>" is ignored. Else
    /// Fault::kForeignCharacter for "z" inside a group (after white space it is four zero bytes),
    /// Fault::kCutGroup and Fault::kAfterEnd. Other characters are Fault::kForeignCharacter in any
    /// case.
    bool foreign = false;
};

inline constexpr Accept kStrict{};  ///< exactly what kPlain writes
/// What people and mail make of it: white space, a frame or not, other encoders.
inline constexpr Accept kFromMime{
    .whiteSpace = true, .framed = Frame::kOptional, .leftoverBits = true, .longZeros = true};
/// What ContentCoding::decodeAscii85 accepts.
inline constexpr Accept kAnything{.whiteSpace = true,
                                  .framed = Frame::kOptional,
                                  .leftoverBits = true,
                                  .longZeros = true,
                                  .foreign = true};

/// The most characters that encode() writes for `n` bytes; the largest std::size_t where it may be
/// more than that.
CONTENTCODING_EXPORT std::size_t maxEncodedSize(std::size_t n,
                                                const Format& format = kPlain) noexcept;

/// The most bytes that `n` characters decode to, all of them "z"; the largest std::size_t where it
/// may be more than that.
constexpr std::size_t maxDecodedSize(std::size_t n) noexcept {
    return n > static_cast<std::size_t>(-1) / 4 ? static_cast<std::size_t>(-1) : n * 4;
}

/// Encodes bytes that come in pieces, cut anywhere: writes what encode() would write for all.
///
/// Each call hands blocks of up to 64 KiB to the sink and keeps 3 bytes of input at most. The
/// object has about 40 bytes, allocates nothing and may be copied; after finish() it is as new.
///
///     contentcoding::ascii85::Encoder encoder(contentcoding::ascii85::kFramed);
///     const bool sent = encoder.feed("piece", send) && encoder.finish(send);
class Encoder {
public:
    CONTENTCODING_EXPORT explicit Encoder(const Format& format = kPlain);

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

    bool begin(Window& out);
    bool writeGroups(const unsigned char* bytes, std::size_t groups, Window& out);
    bool putInLines(std::string_view text, Window& out);

    detail::Lines m_lines;
    bool m_framed;
    bool m_hasBegun = false;
    detail::HeldBytes<4> m_held;
};

/// Decodes text that comes in pieces, cut anywhere: the bytes, or the fault, that decode() gives
/// for all. Offsets of faults count from the start of the first piece.
///
/// Blocks of up to 64 KiB reach the sink. The object has about 40 bytes, allocates nothing and may
/// be copied; after finish() it is as new.
///
///     contentcoding::ascii85::Decoder decoder(contentcoding::ascii85::kFromMime);
///     auto fed = decoder.feed("<~9jq", sink);
class Decoder {
public:
    explicit Decoder(const Accept& accept = kStrict) : m_accept(accept) {}

    /// The first fault, or Fault::kStopped; the object is of no more use after either.
    Result<void> feed(Bytes piece, Sink auto&& sink) {
        return feedSink(piece, detail::SinkRef(sink));
    }
    Result<void> finish(Sink auto&& sink) { return finishSink(detail::SinkRef(sink)); }

    // For the library itself: the same, to a window, without its finish().
    Result<void> write(Bytes piece, Window& out);
    Result<void> end(Window& out);
    // After Fault::kGroupTooLarge: what was too much, the first four digits or all five, and
    // whether the group was a last, short one.
    struct Overflow {
        bool inFourDigits, isShort;
    };
    Overflow overflow() const { return m_overflow; }

private:
    CONTENTCODING_EXPORT Result<void> feedSink(Bytes piece, detail::SinkRef sink);
    CONTENTCODING_EXPORT Result<void> finishSink(detail::SinkRef sink);

    enum class State : unsigned char {
        kStart,    // nothing but white space so far
        kOpening,  // "<", counted as a digit
        kInside,
        kClosing,  // "~"
        kEnded,    // "~>"
    };

    // False, and the fault in `error`.
    bool decodeGroups(std::string_view& text, Window& out, Error& error);
    bool takeOne(unsigned char c, Window& out, Error& error);
    bool takeTilde(Error& error);
    bool takeDigit(unsigned char c, Window& out, Error& error);
    bool endGroup(Window& out, Error& error);
    bool putGroup(std::uint32_t value, unsigned int size, Window& out, Error& error);

    Accept m_accept;
    State m_state = State::kStart;
    bool m_isSpaced = false;      // white space followed the last whole group
    unsigned char m_count = 0;    // of digits of a group that is not whole yet
    unsigned char m_digits[5]{};  // these
    Overflow m_overflow{};
    std::uint64_t m_offset = 0;      // of the next character
    std::uint64_t m_groupStart = 0;  // of the first digit of that group
    std::uint64_t m_lastDigit = 0;   // of the last one
};

// The compiled part of the templates below.
CONTENTCODING_EXPORT void encodeTo(detail::Growth out, Bytes bytes, const Format& format);
CONTENTCODING_EXPORT Result<void> decodeTo(detail::Growth out, Bytes text, const Accept& accept);

/// The Ascii85 text of the bytes. Linear; one allocation.
///
///     contentcoding::ascii85::encode("Man ");                                     // "9jqo^"
///     contentcoding::ascii85::encode("Man ", contentcoding::ascii85::kFramed);  // "<~9jqo^~>"
inline std::string encode(Bytes bytes, const Format& format = kPlain) {
    std::string text;
    encodeTo(detail::growthOf(text), bytes, format);
    return text;
}

/// The same, to the end of a container. The bytes may not lie in it.
void append(Container auto& out, Bytes bytes, const Format& format = kPlain) {
    encodeTo(detail::growthOf(out), bytes, format);
}

/// The same, to the start of `room`; returns how many characters that are. No NUL is added.
/// Fault::kNoRoom when they do not fit; the contents of the room are unspecified then.
CONTENTCODING_EXPORT Result<std::size_t> encodeInto(Room room, Bytes bytes,
                                                    const Format& format = kPlain);

/// The bytes of an Ascii85 text, or the first fault in it. Linear.
///
///     contentcoding::ascii85::decode("9jqo^").value_or("");  // "Man "
///     contentcoding::ascii85::decode("<~9j\nqo^~>", contentcoding::ascii85::kFromMime);  // "Man "
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

}  // namespace ascii85
}  // namespace contentcoding

#endif
