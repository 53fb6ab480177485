#ifndef CONTENTCODING_BASE58_HPP
#define CONTENTCODING_BASE58_HPP

#include "contentcoding/bytes.hpp"
#include "contentcoding/export.hpp"
#include "contentcoding/result.hpp"

/// @file
/// Base58, for addresses and keys: the number that the bytes are, big-endian, in base 58, and a "1"
/// for each leading zero byte. The alphabet is that of draft-msporny-base58, without "0", "O", "I"
/// and "l".
///
/// Text is one number, so there are no streams, and time grows with the square of the length: 8 KB
/// take milliseconds, a megabyte takes most of a minute. From some 80 bytes on, all functions
/// allocate about as much memory to work in as they read.

namespace contentcoding::base58 {

/// How text is written.
struct Format {};

inline constexpr Format kPlain{};

/// What a decoder accepts beyond what kPlain writes: a member for each leniency.
struct Accept {
    /// Space, tab, CR and LF, anywhere. Else Fault::kForeignCharacter.
    bool whiteSpace = false;
    /// The longest text, in characters; 0: no limit. A longer one is Fault::kTooLong, at the first
    /// character past it. The default takes some 20 milliseconds at worst, and is hundreds of times
    /// what addresses and keys have; encode() writes more for some 48,000 bytes and up.
    std::size_t maxSize = 65536;
};

inline constexpr Accept kStrict{};                      ///< exactly what kPlain writes, bounded
inline constexpr Accept kFromMime{.whiteSpace = true};  ///< the same, with white space
/// What ContentCoding::decodeBase58 accepts: no white space, but any length.
inline constexpr Accept kAnything{.maxSize = 0};

/// The most characters that encode() writes for `n` bytes; the largest std::size_t where it may be
/// more than that.
CONTENTCODING_EXPORT std::size_t maxEncodedSize(std::size_t n,
                                                const Format& format = kPlain) noexcept;

/// The most bytes that `n` characters decode to, all of them "1".
constexpr std::size_t maxDecodedSize(std::size_t n) noexcept { return n; }

// The compiled part of the templates below.
CONTENTCODING_EXPORT void encodeTo(detail::Growth out, Bytes bytes, const Format& format);
CONTENTCODING_EXPORT Result<void> decodeTo(detail::Growth out, Bytes text, const Accept& accept);

/// The Base58 text of the bytes. Quadratic.
///
///     contentcoding::base58::encode("Hello World!");  // "2NEpo7TZRRrLZSi2U"
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
/// Fault::kNoRoom, with nothing written, when they do not fit, or there is no memory to work in.
CONTENTCODING_EXPORT Result<std::size_t> encodeInto(Room room, Bytes bytes,
                                                    const Format& format = kPlain);

/// The bytes of a Base58 text, or the first fault in it. Quadratic.
///
///     contentcoding::base58::decode("2NEpo7TZRRrLZSi2U").value_or("");  // "Hello World!"
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
/// not fit, or there is no memory to work in. Nothing is written after a fault.
CONTENTCODING_EXPORT Result<std::size_t> decodeInto(Room room, Bytes text,
                                                    const Accept& accept = kStrict);

}  // namespace contentcoding::base58

#endif
