#ifndef CODEC_GROUPS_H
#define CODEC_GROUPS_H

#include <algorithm>

#include "codec/Streams.h"
#include "contentcoding/detail/groups.hpp"

// Private: bytes in groups, and the digits of groups in lines.

namespace contentcoding {

// Of a longer line end this much is written: a group and a line end must fit in a window.
constexpr std::size_t kLongestLineEnd = 64;

// Lines of at most `columns` characters that hold whole groups of `groupChars`, one at least; no
// lines for 0.
constexpr detail::Lines linesOf(std::size_t columns, std::string_view lineEnd,
                                std::size_t groupChars) {
    if (columns == 0) return {"", kLargestSize / groupChars * groupChars};
    return {lineEnd.substr(0, kLongestLineEnd),
            std::max<std::size_t>(columns / groupChars, 1) * groupChars};
}

// How long so many characters are in lines.
constexpr std::size_t sizeInLines(std::size_t chars, const detail::Lines& lines) {
    if (lines.end.empty()) return chars;
    const std::size_t count = chars / lines.columns + (chars % lines.columns > 0 ? 1 : 0);
    return saturatingAdd(chars, saturatingMultiply(count, lines.end.size()));
}

// Ends the last line, unless it was full or empty.
[[nodiscard]] inline bool endLine(detail::Lines& lines, Window& out) {
    if (lines.column == 0) return true;
    lines.column = 0;
    return out.put(lines.end);
}

// Writes groups by `encode(bytes, groups, text)`. A group and the line end that may follow it are
// one unit.
template <std::size_t GroupBytes, std::size_t GroupChars, class Encode>
[[nodiscard]] bool writeGroups(const unsigned char* bytes, std::size_t groups, detail::Lines& lines,
                               Window& out, Encode encode) {
    const std::size_t unit = GroupChars + lines.end.size();
    while (groups > 0) {
        const std::span<char> room = out.room(unit);
        if (room.empty()) return false;
        const std::size_t fit = (room.size() - unit) / GroupChars + 1;
        const std::size_t n = std::min({groups, fit, (lines.columns - lines.column) / GroupChars});
        encode(bytes, n, room.data());
        out.wrote(n * GroupChars);
        lines.column += n * GroupChars;
        if (lines.column == lines.columns && !endLine(lines, out)) return false;
        bytes += n * GroupBytes;
        groups -= n;
    }
    return true;
}

// Has the whole groups of a piece, with what was held of the one before, written by
// `write(bytes, groups)`, and holds the rest.
template <std::size_t GroupBytes, class Write>
[[nodiscard]] bool writeWholeGroups(Bytes piece, detail::HeldBytes<GroupBytes>& held, Write write) {
    const unsigned char* p = piece.data();
    std::size_t n = piece.size();
    if (held.count > 0) {
        for (; held.count < GroupBytes && n > 0; --n)
            held.bytes[held.count++] = *p++;
        if (held.count < GroupBytes) return true;
        if (!write(held.bytes, 1)) return false;
        held.count = 0;
    }
    const std::size_t groups = n / GroupBytes;
    if (!write(p, groups)) return false;
    for (std::size_t i = groups * GroupBytes; i < n; ++i)
        held.bytes[held.count++] = p[i];
    return true;
}

}  // namespace contentcoding

#endif
