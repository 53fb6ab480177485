#ifndef CODEC_STRAIGHT_H
#define CODEC_STRAIGHT_H

#include <cstddef>

#include "contentcoding/bytes.hpp"

// Private: groups to and from an array that has room for all, without coder and window. Most calls
// have so little to do that these would cost more than the work.

namespace contentcoding {

// Writes whole groups by `encode(bytes, groups, text)`, which returns how many it can, and the
// bytes after the last one by `encodeRest(bytes, count, text)`, which returns how many characters
// it wrote. Returns how many there are; 0 when not all groups could be written.
template <std::size_t GroupBytes, std::size_t GroupChars, class Encode, class EncodeRest>
[[nodiscard]] std::size_t encodeStraight(Bytes bytes, char* text, Encode encode,
                                         EncodeRest encodeRest) {
    const std::size_t groups = bytes.size() / GroupBytes, rest = bytes.size() - groups * GroupBytes;
    if (groups > 0 && encode(bytes.data(), groups, text) < groups) return 0;
    const std::size_t size = groups * GroupChars;
    return rest == 0 ? size : size + encodeRest(bytes.end() - rest, rest, text + size);
}

// Longer text is left to the coders: what a kernel cannot decode would be decoded twice.
constexpr std::size_t kLongestStraight = 2048;

// Decodes text that `decode(text, groups, bytes)`, which returns how many groups it could, decodes
// as a whole. Returns how many bytes there are; 0 when there is anything else in the text.
template <std::size_t GroupChars, std::size_t GroupBytes>
[[nodiscard]] std::size_t decodeStraight(Bytes text, char* bytes,
                                         std::size_t (*decode)(const char*, std::size_t,
                                                               unsigned char*)) {
    const std::size_t groups = text.size() / GroupChars;
    if (text.size() > kLongestStraight || groups * GroupChars < text.size()) return 0;
    auto* const to = reinterpret_cast<unsigned char*>(bytes);
    return decode(text.text().data(), groups, to) == groups ? groups * GroupBytes : 0;
}

// Has `write(place)` write up to `most` characters to the end of a container, and keeps as many as
// it returns. False, with the container as it was, when that is none.
template <class Write>
[[nodiscard]] bool appendStraight(detail::Growth out, std::size_t most, Write write) {
    char* const place = out.resize(out.container, out.size + most) + out.size;
    const std::size_t n = write(place);
    if (n < most) out.resize(out.container, out.size + n);
    return n > 0;
}

// The same of each format, as kPlain writes it and kAnything reads it. An array whose contents come
// to nothing has been written to all the same.
namespace ascii85 {
[[nodiscard]] std::size_t encodeStraight(Bytes bytes, char* text);
[[nodiscard]] std::size_t decodeStraight(Bytes text, char* bytes);
}  // namespace ascii85
namespace base32 {
[[nodiscard]] std::size_t encodeStraight(Bytes bytes, char* text);
[[nodiscard]] std::size_t decodeStraight(Bytes text, char* bytes);
}  // namespace base32
namespace eda {
[[nodiscard]] std::size_t encodeStraight(Bytes bytes, char* text);
[[nodiscard]] std::size_t decodeStraight(Bytes text, char* bytes);
}  // namespace eda

}  // namespace contentcoding

#endif
