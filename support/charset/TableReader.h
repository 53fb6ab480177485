#ifndef SUPPORT_CHARSET_TABLEREADER_H
#define SUPPORT_CHARSET_TABLEREADER_H

#include <unicode/ucnv.h>

#include <array>

#include "support/charset/Piece.h"

// Private: the source of a conversion that the library has a table for.

namespace contentcoding {

// Reads through a converter of the library.
class TableReader {
public:
    explicit TableReader(UConverter& converter) : m_converter(&converter) {
        UErrorCode error = U_ZERO_ERROR;
        ucnv_reset(m_converter);
        ucnv_setToUCallBack(m_converter, onIllFormed, this, nullptr, nullptr, &error);
    }

    // Reads the next characters; false when memory is short.
    [[nodiscard]] bool fill(Input& in, Piece& piece, Faults& faults);

private:
    // A piece holds the characters of one step and a surrogate left over from the step before.
    static constexpr std::size_t kUnits = Piece::kCapacity - 1;

    // A table may make several units of one byte, and some more of bytes of the step before.
    static constexpr unsigned int kUnitsPerByte = 4;
    static constexpr unsigned int kMoreUnits = 3;
    static constexpr unsigned int kStep = (kUnits - kMoreUnits) / kUnitsPerByte;

    static constexpr int32_t kNoOffset = -1;

    static void U_CALLCONV onIllFormed(const void* reader, UConverterToUnicodeArgs* args,
                                       const char* bytes, int32_t length,
                                       UConverterCallbackReason reason, UErrorCode* error);
    void addUnit(UChar unit, std::size_t offset, Piece& piece, Faults& faults);
    bool endsHzShort();

    UConverter* m_converter;
    std::array<UChar, kUnits> m_units;
    std::array<int32_t, kUnits> m_offsets;
    bool m_drops = false;
    std::size_t m_faultCount = 0;         // of the step
    const UChar* m_firstFault = nullptr;  // where in m_units the step's first fault is
    char32_t m_high = 0;                  // a high surrogate that waits for its low one, or 0
    std::size_t m_highOffset = 0;
    std::size_t m_pending = 0;  // bytes before the step that have not become characters yet
};

}  // namespace contentcoding

#endif
