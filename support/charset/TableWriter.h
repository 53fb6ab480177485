#ifndef SUPPORT_CHARSET_TABLEWRITER_H
#define SUPPORT_CHARSET_TABLEWRITER_H

#include <unicode/ucnv.h>

#include <array>

#include "support/charset/Hz.h"
#include "support/charset/Piece.h"

// Private: the target of a conversion that the library has a table for.

namespace contentcoding {

// Writes through a converter of the library.
class TableWriter {
public:
    explicit TableWriter(UConverter& converter) : m_converter(&converter) {
        UErrorCode error = U_ZERO_ERROR;
        ucnv_reset(m_converter);
        ucnv_setFromUCallBack(m_converter, onUnmapped, this, nullptr, nullptr, &error);
        if (isHz(m_converter)) startHz(m_converter);
    }

    // Appends the piece; false when memory is short.
    [[nodiscard]] bool drain(const Piece& piece, Faults& faults, Appender out);

private:
    static void U_CALLCONV onUnmapped(const void* writer, UConverterFromUnicodeArgs* args,
                                      const UChar* units, int32_t length, UChar32 character,
                                      UConverterCallbackReason reason, UErrorCode* error);
    std::size_t offsetBefore(const UChar* end, int32_t length) const;

    void addUnit(char32_t unit, std::size_t offset);
    [[nodiscard]] bool write(UBool flush, unsigned int extra, Appender out);

    // A character takes at most two units; one more is for the end of HZ.
    static constexpr std::size_t kUnits = 2 * Piece::kCapacity + 1;

    UConverter* m_converter;
    std::array<UChar, kUnits> m_units;
    std::array<std::size_t, kUnits> m_offsets;
    unsigned int m_size = 0;
    std::size_t m_lastOffset = 0;  // of the last unit of the piece before
    Faults* m_faults = nullptr;
};

}  // namespace contentcoding

#endif
