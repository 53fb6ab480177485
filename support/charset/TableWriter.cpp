#include "support/charset/TableWriter.h"

#include <unicode/ucnv_cb.h>

#include <algorithm>
#include <functional>

namespace contentcoding {

void TableWriter::onUnmapped(const void* writer, UConverterFromUnicodeArgs* args, const UChar*,
                             int32_t length, UChar32, UConverterCallbackReason reason,
                             UErrorCode* error) {
    if (reason > UCNV_IRREGULAR) return;
    const auto& self = *static_cast<const TableWriter*>(writer);
    self.m_faults->add(Faults::Side::kTarget, self.offsetBefore(args->source, length));
    *error = U_ZERO_ERROR;
    if (!self.m_faults->drops()) ucnv_cbFromUWriteSub(args, 0, error);
}

// Where a table maps sequences of characters, the library keeps units of the piece before in a
// buffer of its own. A fault there counts as one of that piece's last unit.
std::size_t TableWriter::offsetBefore(const UChar* end, int32_t length) const {
    const UChar* const begin = m_units.data();
    const std::less_equal<> notAfter;
    if (!notAfter(begin + length, end) || !notAfter(end, begin + m_size)) return m_lastOffset;
    return m_offsets[static_cast<std::size_t>(end - begin - length)];
}

bool TableWriter::drain(const Piece& piece, Faults& faults, Appender out) {
    if (m_size > 0) m_lastOffset = m_offsets[m_size - 1];
    m_size = 0;
    m_faults = &faults;
    for (unsigned int i = 0; i < piece.size; ++i) {
        const char32_t c = piece.characters[i];
        addUnit(c < 0x10000 ? c : highSurrogateOf(c), piece.offsets[i]);
        if (c >= 0x10000) addUnit(lowSurrogateOf(c), piece.offsets[i]);
    }
    // The library does not return to ASCII at the end of a text in HZ. One more letter makes it do
    // so; the letter itself, the last byte of all, is not appended.
    const unsigned int extra = piece.last && isHz(m_converter) ? 1 : 0;
    if (extra > 0) addUnit('A', m_lastOffset);
    return write(piece.last ? 1 : 0, extra, out);
}

void TableWriter::addUnit(char32_t unit, std::size_t offset) {
    m_units[m_size] = static_cast<UChar>(unit);
    m_offsets[m_size++] = offset;
}

// Converts and appends the units, without the last `extra` bytes of the result.
bool TableWriter::write(UBool flush, unsigned int extra, Appender out) {
    const UChar* source = m_units.data();
    const UChar* const limit = source + m_size;
    UErrorCode error = U_BUFFER_OVERFLOW_ERROR;
    while (error == U_BUFFER_OVERFLOW_ERROR) {
        std::array<char, 2 * Piece::kCapacity> block;
        char* target = block.data();
        error = U_ZERO_ERROR;
        ucnv_fromUnicode(m_converter, &target, target + block.size(), &source, limit, nullptr,
                         flush, &error);
        auto n = static_cast<unsigned int>(target - block.data());
        if (error != U_BUFFER_OVERFLOW_ERROR) n -= std::min(n, extra);
        if (!out.append(block.data(), n)) return false;
    }
    return U_SUCCESS(error);
}

}  // namespace contentcoding
