#ifndef CONTENTCODING_DETAIL_GROUPS_HPP
#define CONTENTCODING_DETAIL_GROUPS_HPP

#include <cstddef>
#include <string_view>

// What encoders of groups keep between two pieces.

namespace contentcoding::detail {

// Where an encoder stands in its lines.
struct Lines {
    std::string_view end;    // of each line
    std::size_t columns;     // characters of a full line; about the largest size: no lines
    std::size_t column = 0;  // characters in the line that is being written
};

// Bytes of a group that is not whole yet.
template <std::size_t GroupBytes>
struct HeldBytes {
    unsigned char count = 0;
    unsigned char bytes[GroupBytes] = {};
};

}  // namespace contentcoding::detail

#endif
