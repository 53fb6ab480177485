#ifndef CONTENTCODING_EDA_HPP
#define CONTENTCODING_EDA_HPP

#include "contentcoding/bytes.hpp"
#include "contentcoding/detail/groups.hpp"
#include "contentcoding/export.hpp"
#include "contentcoding/result.hpp"

/// @file
/// EDA text: base 43, the digits "0" to "9", "A" to "Z" and "(),-./=". Three characters are two
/// bytes, big-endian; two are a last odd one.

namespace contentcoding {

class Window;

namespace eda {

/// How text is written.
struct Format {};

inline constexpr Format kPlain{};

/// What a decoder accepts beyond what kPlain writes.
struct Accept {
    /// Any text: of characters outside the alphabet "*", "+", ":", ";", "<", ">", "?" and "@" count
    /// as "0" and all others as "("; numbers above 65535 (or 255, for two characters) are taken
    /// modulo 2^16 (2^8); a single character at the end is dropped. Else Fault::kForeignCharacter;
    /// Fault::kGroupTooLarge, at the group; and Fault::kCutGroup.
    bool foreign = false;
};

inline constexpr Accept kStrict{};            ///< exactly what kPlain writes
inline constexpr Accept kFromMime = kStrict;  ///< mail has no such text
/// Any text at all, as ContentCoding::decodeEda.
inline constexpr Accept kAnything{.foreign = true};

/// The number of characters that encode() writes for `n` bytes; the largest std::size_t where it is
/// more than that.
CONTENTCODING_EXPORT std::size_t encodedSize(std::size_t n, const Format& format = kPlain) noexcept;

/// The most bytes that `n` characters decode to.
constexpr std::size_t maxDecodedSize(std::size_t n) noexcept { return n / 3 * 2 + n % 3 / 2; }

/// Encodes bytes that come in pieces, cut anywhere: writes what encode() would write for all.
///
/// Each call hands blocks of up to 64 KiB to the sink and keeps a byte of input at most. The
/// object has about 3 bytes, allocates nothing and may be copied; after finish() it is as new.
///
///     contentcoding::eda::Encoder encoder;
///     const bool sent = encoder.feed("piece", send) && encoder.finish(send);
class Encoder {
public:
    explicit Encoder(const Format& = kPlain) {}

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

    detail::HeldBytes<2> m_held;
};

/// Decodes text that comes in pieces, cut anywhere: the bytes, or the fault, that decode() gives
/// for all. Offsets of faults count from the start of the first piece.
///
/// Blocks of up to 64 KiB reach the sink. The object has about 24 bytes, allocates nothing and may
/// be copied; after finish() it is as new.
///
///     contentcoding::eda::Decoder decoder;
///     auto fed = decoder.feed("ZJ35", sink);
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
    bool endGroup(Window& out, Error& error);

    Accept m_accept;
    unsigned char m_count = 0;   // of characters of a group that is not whole yet
    std::uint32_t m_value = 0;   // of these
    std::uint64_t m_offset = 0;  // of the next character
    std::uint64_t m_start = 0;   // of that group
};

// The compiled part of the templates below.
CONTENTCODING_EXPORT void encodeTo(detail::Growth out, Bytes bytes, const Format& format);
CONTENTCODING_EXPORT Result<void> decodeTo(detail::Growth out, Bytes text, const Accept& accept);

/// The EDA text of the bytes. Linear; one allocation.
///
///     contentcoding::eda::encode("\xFF\xFF");  // "ZJ3"
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

/// The bytes of an EDA text, or the first fault in it. Linear; one allocation.
///
///     contentcoding::eda::decode("ZJ3").value_or("");                   // "\xFF\xFF"
///     contentcoding::eda::decode("zJ3", contentcoding::eda::kAnything);  // z is not a digit
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

}  // namespace eda
}  // namespace contentcoding

#endif
