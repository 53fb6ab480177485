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
    std::size_t size;
    std::size_t position = 0;

    std::size_t left() const { return size - position; }
};

// Where a conversion writes; `append` is false when memory is short.
struct Appender {
    void* to;
    bool (*take)(void* to, const void* bytes, std::size_t n);

    [[nodiscard]] bool append(const void* bytes, std::size_t n) const { return take(to, bytes, n); }
};

// What becomes of bytes that are not text, and of characters that the target lacks.
enum class Handling : unsigned char {
    kReplace,
    kDrop,
    kStop,  // as kReplace, but the work ends with the piece that has the first one
};

// How many faults there are, and where the first one is. Both sides of a conversion add theirs, the
// source before the target.
struct Faults {
    // Stands for the place of an ill-formed part, which has been added by the source.
    static constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();

    enum class Side : unsigned char { kSource, kTarget };

    void add(Side side, std::size_t offset) {
        if (offset == kNone) return;
        if (offset < first) {
            first = offset;
            firstSide = side;
        }
        ++count;
    }
    bool any() const { return count > 0; }
    bool drops() const { return handling == Handling::kDrop; }
    bool stops() const { return handling == Handling::kStop && any(); }

    Handling handling = Handling::kReplace;
    std::size_t first = kNone;
    Side firstSide = Side::kSource;
    std::size_t count = 0;
};

// Characters on their way from one charset to the other.
struct Piece {
    static constexpr std::size_t kCapacity = 1024;

    void add(char32_t character, std::size_t offset, Faults& faults) {
        if (character == kIllFormed) {
            faults.add(Faults::Side::kSource, offset);
            if (faults.drops()) return;
            character = kReplacement;
            offset = Faults::kNone;
        }
        characters[size] = character;
        offsets[size++] = offset;
    }

    std::array<char32_t, kCapacity> characters;
    std::array<std::size_t, kCapacity> offsets;  // of a character's first byte in the input
    unsigned int size = 0;
    bool last = false;
};

}  // namespace contentcoding

#endif
