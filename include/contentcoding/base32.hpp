#ifndef CONTENTCODING_BASE32_HPP
#define CONTENTCODING_BASE32_HPP

#include "contentcoding/bytes.hpp"
#include "contentcoding/detail/groups.hpp"
#include "contentcoding/export.hpp"
#include "contentcoding/result.hpp"

/// @file
/// Base32: RFC 4648, sections 6 and 7.

namespace contentcoding {

class Window;

namespace base32 {

/// Which characters the values have.
enum class Alphabet : unsigned char {
    kStandard,  ///< "A" to "Z" and "2" to "7", RFC 4648, section 6
    kHex,       ///< "0" to "9" and "A" to "V", RFC 4648, section 7
};

/// Whether the last group is filled up with "=".
enum class Padding : unsigned char { kRequired, kOptional, kForbidden };

/// How text is written.
struct Format {
    Alphabet alphabet = Alphabet::kStandard;
    bool padded = true;
    /// The longest line, in characters; 0: no lines. Whole groups of 8 stand in a line, one at
    /// least.
    std::size_t columns = 0;
    /// What ends each line, the last one too, when there are lines; of a longer one the first 64
    /// characters. The text must outlive the coder.
    std::string_view lineEnd = "\r\n";
};

inline constexpr Format kPlain{};  ///< padded, no lines
inline constexpr Format kHex{.alphabet = Alphabet::kHex};

/// What a decoder accepts beyond what kPlain writes: a member for each leniency.
struct Accept {
    Alphabet alphabet = Alphabet::kStandard;
    /// kOptional: the padding may be missing as a whole. Else Fault::kPadding.
    Padding padding = Padding::kRequired;
    /// Space, tab, CR and LF, anywhere. Else Fault::kForeignCharacter.
    bool whiteSpace = false;
    /// A character outside the alphabet counts as what its low seven bits are or else as the last
    /// digit, and "=" may stand anywhere: as zero bits, and the first of the places 7, 5, 4 and 2
    /// (from 0) of a group of 8 characters that has none decides that the group has 5, 4, 3 or 2
    /// bytes; else it has one. Missing padding is supplied. Else Fault::kForeignCharacter and
    /// Fault::kPadding.
    bool foreign = false;
    /// Bits of the last group that belong to no byte may be set. Else Fault::kLeftoverBits.
    bool leftoverBits = false;
    /// The last group may have 1, 3 or 6 digits: bits that its last byte lacks count as zero. Else
    /// Fault::kCutGroup, at the last digit.
    bool cutGroup = false;
    /// Another text may follow one that ended with padding. Else Fault::kAfterEnd.
    bool concatenated = false;
    /// Letters "a" to "z". Else Fault::kLowerCase.
    bool anyCase = false;
};

inline constexpr Accept kStrict{};                               ///< exactly what kPlain writes
inline constexpr Accept kStrictHex{.alphabet = Alphabet::kHex};  ///< exactly what kHex writes
/// What people and mail make of it: white space, letters of any case, padding left out.
inline constexpr Accept kFromMime{
    .padding = Padding::kOptional, .whiteSpace = true, .anyCase = true};
/// Any text at all, as ContentCoding::decodeBase32.
inline constexpr Accept kAnything{.padding = Padding::kOptional,
                                  .whiteSpace = true,
                                  .foreign = true,
                                  .leftoverBits = true,
                                  .cutGroup = true,
                                  .concatenated = true,
                                  .anyCase = true};

/// The number of characters that encode() writes for `n` bytes; the largest std::size_t where it is
/// more than that.
CONTENTCODING_EXPORT std::size_t encodedSize(std::size_t n, const Format& format = kPlain) noexcept;

/// The most bytes that `n` characters decode to.
constexpr std::size_t maxDecodedSize(std::size_t n) noexcept {
    return n / 8 * 5 + (n % 8 * 5 + 3) / 8;
}

/// Encodes bytes that come in pieces, cut anywhere: writes what encode() would write for all.
///
/// Each call hands blocks of up to 64 KiB to the sink and keeps 4 bytes of input at most. The
/// object has about 40 bytes, allocates nothing and may be copied; after finish() it is as new.
///
///     contentcoding::base32::Encoder encoder;
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

    detail::Lines m_lines;
    Alphabet m_alphabet;
    bool m_padded;
    detail::HeldBytes<5> m_held;
};

/// Decodes text that comes in pieces, cut anywhere: the bytes, or the fault, that decode() gives
/// for all. Offsets of faults count from the start of the first piece.
///
/// Blocks of up to 64 KiB reach the sink. The object has about 40 bytes, allocates nothing and may
/// be copied; after finish() it is as new.
///
///     contentcoding::base32::Decoder decoder(contentcoding::base32::kFromMime);
///     auto fed = decoder.feed("mzxw\r\n6y", sink);
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

private:
    CONTENTCODING_EXPORT Result<void> feedSink(Bytes piece, detail::SinkRef sink);
    CONTENTCODING_EXPORT Result<void> finishSink(detail::SinkRef sink);

    // False, and the fault in `error`.
    bool takeOne(unsigned char c, Window& out, Error& error);
    bool takeDigit(unsigned char value, Window& out, Error& error);
    bool takePad(Window& out, Error& error);
    bool endGroup(Window& out, Error& error);
    bool isCut() const;

    Accept m_accept;
    std::uint64_t m_offset = 0;     // of the next character
    std::uint64_t m_lastDigit = 0;  // the offset of the last one
    std::uint64_t m_bits = 0;       // of the characters of a group that is not whole yet
    unsigned char m_count = 0;      // how many they are
    unsigned char m_pads = 0;       // which of these are "=": bit i for the place i
    bool m_isPadded = false;        // the last group ended with padding
};

// The compiled part of the templates below.
CONTENTCODING_EXPORT void encodeTo(detail::Growth out, Bytes bytes, const Format& format);
CONTENTCODING_EXPORT Result<void> decodeTo(detail::Growth out, Bytes text, const Accept& accept);

/// The Base32 text of the bytes. Linear; one allocation.
///
///     contentcoding::base32::encode("foobar");                              // "MZXW6YTBOI======"
///     contentcoding::base32::encode("foo", contentcoding::base32::kHex);  // "CPNMU==="
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
/// Fault::kNoRoom, with nothing written, when there is less room than encodedSize().
CONTENTCODING_EXPORT Result<std::size_t> encodeInto(Room room, Bytes bytes,
                                                    const Format& format = kPlain);

/// The bytes of a Base32 text, or the first fault in it. Linear; one allocation.
///
///     contentcoding::base32::decode("MZXW6===").value_or("");                          // "foo"
///     contentcoding::base32::decode("mzxw 6", contentcoding::base32::kFromMime);  // "foo"
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

}  // namespace base32
}  // namespace contentcoding

#endif
