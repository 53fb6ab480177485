#ifndef CONTENTCODING_DETAIL_ESCAPED_HPP
#define CONTENTCODING_DETAIL_ESCAPED_HPP

#include <cstddef>

// What coders of escaped text keep between two pieces.

namespace contentcoding::detail {

struct EscapedState {
    static constexpr std::size_t kMostText = 32;

    std::size_t column = 0;       // characters in the line that is being written
    unsigned char heldCount = 0;  // bytes that depend on what follows
    unsigned char textSize = 0;   // characters that are not cut into lines yet
    unsigned char held[2] = {};
    char text[kMostText] = {};
};

}  // namespace contentcoding::detail

#endif
