#ifndef SUPPORT_CHARSET_CODER_H
#define SUPPORT_CHARSET_CODER_H

#include "support/CharsetTable.h"
#include "support/charset/Piece.h"

// Private: the charsets that need no converter.

namespace contentcoding {

// How a charset that needs no converter is read and written.
struct Coder {
    void (*fill)(Input& in, Piece& piece, Faults& faults);
    bool (*drain)(const Piece& piece, Faults& faults, Appender out);
};

// Null functions for a charset that needs one.
Coder coderOf(CharsetForm form);

// The form that a byte-order mark at the start gives; the mark is skipped.
CharsetForm formByMark(CharsetForm form, Input& in);

}  // namespace contentcoding

#endif
