#ifndef SUPPORT_CHARSET_PIECE_H
#define SUPPORT_CHARSET_PIECE_H

#include <algorithm>
#include <array>
#include <limits>

#include "support/CharsetForms.h"

// Private: what passes between the two sides of a conversion.

namespace contentcoding {

inline constexpr char32_t kReplacement = 0xFFFD;

// What single-byte charsets, ours and the library's, write for a character that they lack.
inline constexpr unsigned char kSubstitute = 0x1A;

// The bytes to convert; those before `position` are done.
struct Input {
    const unsigned char* bytes;
    unsigned int size;
    unsigned int position = 0;

    unsigned int left() const { return size - position; }
};

// Where the first fault is. Both sides of a conversion add theirs, the source before the target.
struct Faults {
    static constexpr unsigned int kNone = std::numeric_limits<unsigned int>::max();

    // The offset of a byte is at most 2^32 - 2, so it is never kNone.
    void add(unsigned int offset) { first = std::min(first, offset); }
    bool any() const { return first != kNone; }

    unsigned int first = kNone;
};

// Characters on their way from one charset to the other.
struct Piece {
    static constexpr std::size_t kCapacity = 1024;

    void add(char32_t character, unsigned int offset, Faults& faults) {
        if (character == kIllFormed) faults.add(offset);
        characters[size] = character == kIllFormed ? kReplacement : character;
        offsets[size++] = offset;
    }

    std::array<char32_t, kCapacity> characters;
    std::array<unsigned int, kCapacity> offsets;  // of a character's first byte in the input
    unsigned int size = 0;
    bool last = false;
};

}  // namespace contentcoding

#endif
