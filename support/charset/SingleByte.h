#ifndef SUPPORT_CHARSET_SINGLEBYTE_H
#define SUPPORT_CHARSET_SINGLEBYTE_H

#include <unicode/ucnv.h>

#include <array>

#include "support/CharsetTable.h"
#include "support/charset/Piece.h"

// Private: the charsets in which each byte is a character by itself. A table of these is made once,
// and no converter is opened for reading after that.

namespace contentcoding {

struct SingleByteTable {
    // Stands for a byte that is not a character. Surrogates are not characters.
    static constexpr char16_t kNone = 0xD800;

    std::array<char16_t, 256> characters;
    bool hasAscii;  // each byte below 0x80 is the ASCII character
};

// That of a charset that needs no converter; null if it has no table.
[[nodiscard]] const SingleByteTable* singleByteTableOf(CharsetForm form);

// The table of a charset that the library has, made from its open converter; null if it has
// characters of several bytes or several characters for a byte, or if there is no room for more
// tables. They live for ever.
[[nodiscard]] const SingleByteTable* makeSingleByteTable(UConverter& converter);

// Reads the next characters.
void fillFromTable(const SingleByteTable& table, Input& in, Piece& piece, Faults& faults);

// Appends all of the input as UTF-8; false when memory is short. Stops where the faults say so.
[[nodiscard]] bool writeAsUtf8(const SingleByteTable& table, Input& in, Faults& faults,
                               Appender out);

}  // namespace contentcoding

#endif
