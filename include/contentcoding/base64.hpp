#ifndef CONTENTCODING_BASE64_HPP
#define CONTENTCODING_BASE64_HPP

#include "contentcoding/bytes.hpp"
#include "contentcoding/detail/groups.hpp"
#include "contentcoding/export.hpp"
#include "contentcoding/result.hpp"

/// @file
/// Base64: RFC 4648, sections 4 and 5; in lines for mail: RFC 2045, section 6.8.

namespace contentcoding {

class Window;
struct Base64Values;

namespace base64 {

/// Which characters the values 62 and 63 have.
enum class Alphabet : unsigned char {
    kStandard,  ///< "+" and "/", RFC 4648, section 4
    kUrlSafe,   ///< "-" and "_", RFC 4648, section 5
    kEither,    ///< for decoders only: all four; an encoder takes it for kStandard
};

/// Whether the last group is filled up with "=".
enum class Padding : unsigned char { kRequired, kOptional, kForbidden };

/// How text is written.
struct Format {
    Alphabet alphabet = Alphabet::kStandard;
    bool padded = true;
    /// The longest line, in characters; 0: no lines. Whole groups of 4 stand in a line, one at
    /// least.
    std::size_t columns = 0;
    /// What ends each line, the last one too, when there are lines. The text must outlive the
    /// coder.
    std::string_view lineEnd = "\r\n";
};

inline constexpr Format kPlain{};                              ///< padded, no lines
inline constexpr Format kMime{.columns = 76};                  ///< lines of 76, CRLF
inline constexpr Format kPem{.columns = 64, .lineEnd = "\n"};  ///< lines of 64, LF
inline constexpr Format kUrlSafe{.alphabet = Alphabet::kUrlSafe, .padded = false};

/// What a decoder accepts beyond what kPlain writes: a member for each leniency.
struct Accept {
    Alphabet alphabet = Alphabet::kStandard;
    /// kOptional: the padding may be missing as a whole. Else Fault::kPadding.
    Padding padding = Padding::kRequired;
    /// Space, tab, CR, LF and form feed, anywhere. Else Fault::kForeignCharacter.
    bool whiteSpace = false;
    /// All characters outside the alphabet are skipped, surplus "=" among them; without
    /// `concatenated`, the text ends at its first "=" or NUL. Else Fault::kForeignCharacter.
    bool foreign = false;
    /// Bits of the last group that belong to no byte may be set. Else Fault::kLeftoverBits.
    bool leftoverBits = false;
    /// A single character may be left after the last group; it is dropped. Else Fault::kCutGroup.
    bool cutGroup = false;
    /// Another text may follow one that ended with padding. Else Fault::kAfterEnd.
    bool concatenated = false;
};

inline constexpr Accept kStrict{};  ///< exactly what kPlain writes
inline constexpr Accept kStrictUrlSafe{.alphabet = Alphabet::kUrlSafe,
                                       .padding = Padding::kForbidden};
/// The forgiving decoder of the WHATWG Infra Standard.
inline constexpr Accept kForgiving{
    .padding = Padding::kOptional, .whiteSpace = true, .leftoverBits = true};
/// What mail needs: RFC 2045 has decoders skip what is foreign. A cut group is refused.
inline constexpr Accept kFromMime{.padding = Padding::kOptional,
                                  .whiteSpace = true,
                                  .foreign = true,
                                  .leftoverBits = true,
                                  .concatenated = true};
/// Any text at all, as ContentCoding::decodeBase64.
inline constexpr Accept kAnything{.padding = Padding::kOptional,
                                  .whiteSpace = true,
                                  .foreign = true,
                                  .leftoverBits = true,
                                  .cutGroup = true};

/// The number of characters that encode() writes for `n` bytes; the largest std::size_t where it is
/// more than that.
CONTENTCODING_EXPORT std::size_t encodedSize(std::size_t n, const Format& format = kPlain) noexcept;

/// The most bytes that `n` characters decode to.
constexpr std::size_t maxDecodedSize(std::size_t n) noexcept { return n / 4 * 3 + n % 4 * 3 / 4; }

/// Encodes bytes that come in pieces, cut anywhere: writes what encode() would write for all.
///
/// Each call hands blocks of up to 64 KiB to the sink and keeps 2 bytes of input at most. The
/// object has about 100 bytes, allocates nothing and may be copied; after finish() it is as new.
///
///     contentcoding::base64::Encoder encoder(contentcoding::base64::kMime);
///     const bool sent = encoder.feed("piece", send) && encoder.finish(send);
class Encoder {
public:
    CONTENTCODING_EXPORT explicit Encoder(const Format& format = kPlain);

    /// False when the sink ended the work; the object is of no more use then.
    [[nodiscard]] bool feed(Bytes piece, Sink auto&& sink) {
        return feedSink(piece, detail::SinkRef(sink));
    }
    [[nodiscard]] bool finish(Sink auto&& sink) { return finishSink(detail::SinkRef(sink)); }

    // For the library itself: digits of the caller's own, and lines of so many groups, each with a
    // line break after it, but none for the last one unless it is full.
    Encoder(const char* digits, std::size_t lineGroups, std::string_view lineBreak);
    // The same as feed() and finish(), to a window, without its finish().
    [[nodiscard]] bool write(Bytes piece, Window& out);
    [[nodiscard]] bool end(Window& out);
    // How many characters `n` bytes give: whole groups and lines, and what end() writes for the
    // rest.
    struct Sizes {
        std::size_t groups, tail;
        constexpr std::size_t all() const { return groups + tail < tail ? groups : groups + tail; }
    };
    Sizes sizesOf(std::size_t n) const;
    // Writes all for bytes that do not come in pieces, to where there is room.
    void encodeAll(Bytes bytes, const Sizes& sizes, char* text) const;

private:
    CONTENTCODING_EXPORT bool feedSink(Bytes piece, detail::SinkRef sink);
    CONTENTCODING_EXPORT bool finishSink(detail::SinkRef sink);
    bool writeGroups(const unsigned char* bytes, std::size_t groups, Window& out);
    std::size_t writeTail(const unsigned char* bytes, std::size_t count, char* text) const;

    const char* m_digits;
    std::string_view m_lineEnd;
    std::size_t m_lineGroups;
    std::size_t m_column = 0;  // groups in the line that is being written
    bool m_padded = true;
    bool m_endsLastLine = true;
    detail::HeldBytes<3> m_held;
};

/// Decodes text that comes in pieces, cut anywhere: the bytes, or the fault, that decode() gives
/// for all. Offsets of faults count from the start of the first piece.
///
/// Blocks of up to 64 KiB reach the sink. The object has about 100 bytes, allocates nothing and may
/// be copied; after finish() it is as new.
///
///     contentcoding::base64::Decoder decoder(contentcoding::base64::kFromMime);
///     auto fed = decoder.feed("SGVs\r\nbG", sink);
class Decoder {
public:
    CONTENTCODING_EXPORT explicit Decoder(const Accept& accept = kStrict);

    /// The first fault, or Fault::kStopped; the object is of no more use after either.
    Result<void> feed(Bytes piece, Sink auto&& sink) {
        return feedSink(piece, detail::SinkRef(sink));
    }
    Result<void> finish(Sink auto&& sink) { return finishSink(detail::SinkRef(sink)); }

    // For the library itself: with values of the caller's own; to a window, without its finish().
    Decoder(const Accept& accept, const Base64Values& values)
        : m_accept(accept), m_values(&values) {}
    Result<void> write(Bytes piece, Window& out);
    Result<void> end(Window& out);
    // All of a text that is accepted whatever it is, as kAnything has it, to where there is room
    // for maxDecodedSize(); returns how many bytes there are.
    std::size_t decodeAnything(Bytes text, char* bytes);
    // The same of short text that has only digits, and what is skipped, and no padding.
    std::size_t decodeDigits(std::string_view text, char* bytes);
    // The bits of a group cut short that completed no byte, in the high ones.
    unsigned char cutBits() const { return m_cutBits; }

private:
    CONTENTCODING_EXPORT Result<void> feedSink(Bytes piece, detail::SinkRef sink);
    CONTENTCODING_EXPORT Result<void> finishSink(detail::SinkRef sink);

    bool writeBulk(std::string_view& text, Window& out);
    bool takeOne(unsigned char c, Window& out);
    bool takePad(Window& out);
    bool endGroup(Window& out);
    std::size_t decodeRun(std::string_view text, char* bytes);
    void cutGroup();
    std::size_t writeGroup(char* bytes);
    bool fail(Fault fault, std::uint64_t offset);
    std::size_t acceptable(std::string_view text) const;

    Accept m_accept;
    const Base64Values* m_values;
    Error m_error;
    std::uint64_t m_offset = 0;     // of the next character
    std::uint64_t m_lastDigit = 0;  // the offset of the last one
    std::uint32_t m_bits = 0;       // of the digits of a group that is not whole yet
    unsigned char m_digits = 0;     // how many they are
    unsigned char m_pads = 0;       // after them
    unsigned char m_cutBits = 0;
    bool m_isPadded = false;  // the padding is whole
    bool m_isOver = false;    // nothing that follows is looked at
};

// The compiled part of the templates below.
CONTENTCODING_EXPORT void encodeTo(detail::Growth out, Bytes bytes, const Format& format);
CONTENTCODING_EXPORT Result<void> decodeTo(detail::Growth out, Bytes text, const Accept& accept);

/// The Base64 text of the bytes. Linear; one allocation.
///
///     contentcoding::base64::encode("abc");                                     // "YWJj"
///     contentcoding::base64::encode("\xFB", contentcoding::base64::kUrlSafe);  // "-w"
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

/// The bytes of a Base64 text, or the first fault in it. Linear; one allocation.
///
///     contentcoding::base64::decode("YWJj").value_or("");                        // "abc"
///     contentcoding::base64::decode<std::vector<std::byte>>("YW Jj", {.whiteSpace = true});
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

}  // namespace base64
}  // namespace contentcoding

#endif
