#include "support/charset/TableReader.h"

#include <unicode/ucnv_cb.h>

#include <algorithm>
#include <span>
#include <string_view>
#include <utility>

#include "support/charset/Hz.h"

namespace contentcoding {

// Each ill-formed part becomes one U+FFFD. The fault is noted here, because a U+FFFD that the input
// itself contains is not one.
void TableReader::onIllFormed(const void* reader, UConverterToUnicodeArgs* args, const char*,
                              int32_t, UConverterCallbackReason reason, UErrorCode* error) {
    if (reason > UCNV_IRREGULAR) return;  // a reset or the end of the converter
    *error = U_ZERO_ERROR;
    if (reason == UCNV_IRREGULAR) return;  // an escape that follows another: it has taken effect
    auto& self = *static_cast<TableReader*>(const_cast<void*>(reader));
    if (!self.m_firstFault) self.m_firstFault = args->target;
    ++self.m_faultCount;
    if (self.m_drops) return;
    constexpr UChar kUnit = kReplacement;
    ucnv_cbToUWriteUChars(args, &kUnit, 1, 0, error);
}

bool TableReader::fill(Input& in, Piece& piece, Faults& faults) {
    const auto step = static_cast<unsigned int>(std::min<std::size_t>(in.left(), kStep));
    const auto* const begin = reinterpret_cast<const char*>(in.bytes + in.position);
    const char* source = begin;
    UChar* target = m_units.data();
    const bool end = step == in.left();
    const UBool flush = end && !isHz(m_converter) ? 1 : 0;
    UErrorCode error = U_ZERO_ERROR;
    m_firstFault = nullptr;
    m_faultCount = 0;
    m_drops = faults.drops();
    const auto offsets = std::span(m_offsets).first(step * kUnitsPerByte + kMoreUnits);
    std::fill(offsets.begin(), offsets.end(), kNoOffset);
    ucnv_toUnicode(m_converter, &target, target + kUnits, &source, begin + step, m_offsets.data(),
                   flush, &error);
    if (U_FAILURE(error) && error != U_BUFFER_OVERFLOW_ERROR) return false;

    // A character has a negative offset if its first bytes came with an earlier step. Some
    // converters give none at all, or wrong ones, which the input bounds.
    const auto offsetOf = [&](const UChar* unit) {
        const auto i = static_cast<std::size_t>(unit - m_units.data());
        const int32_t offset = unit == target ? 0 : i < offsets.size() ? offsets[i] : kNoOffset;
        if (offset < 0) return in.position - std::min(m_pending, in.position);
        return std::min(in.position + static_cast<std::size_t>(offset), in.size - 1);
    };
    if (m_firstFault) {
        faults.add(Faults::Side::kSource, offsetOf(m_firstFault));
        faults.count += m_faultCount - 1;
    }
    for (const UChar* unit = m_units.data(); unit != target; ++unit)
        addUnit(*unit, offsetOf(unit), piece, faults);

    in.position += static_cast<std::size_t>(source - begin);
    piece.last = end && error != U_BUFFER_OVERFLOW_ERROR;
    if (piece.last && isHz(m_converter) && endsHzShort())
        piece.add(kIllFormed, in.size - 1, faults);
    if (piece.last && m_high != 0) piece.add(kIllFormed, m_highOffset, faults);
    error = U_ZERO_ERROR;
    m_pending = static_cast<std::size_t>(ucnv_toUCountPending(m_converter, &error));
    return true;
}

// Whether a text in HZ ends within a character or an escape, that is, after its first byte. The
// library silently drops that byte. The probe shows it: after a complete text, "~" and a line end
// mean nothing and "." is itself or half a character; after an incomplete one they give more than
// one unit, or a fault.
bool TableReader::endsHzShort() {
    constexpr std::string_view probe = "~\n.";
    const char* source = probe.data();
    UChar* target = m_units.data();
    UErrorCode error = U_ZERO_ERROR;
    m_firstFault = nullptr;
    ucnv_toUnicode(m_converter, &target, target + kUnits, &source, source + probe.size(), nullptr,
                   1, &error);
    return m_firstFault || target - m_units.data() > 1;
}

// Some charsets can encode single surrogates, which are not characters.
void TableReader::addUnit(UChar unit, std::size_t offset, Piece& piece, Faults& faults) {
    const char32_t high = std::exchange(m_high, 0);
    if (high != 0 && isLowSurrogate(unit)) {
        piece.add(joinSurrogates(high, unit), m_highOffset, faults);
        return;
    }
    if (high != 0) piece.add(kIllFormed, m_highOffset, faults);
    if (isHighSurrogate(unit)) {
        m_high = unit;
        m_highOffset = offset;
    } else {
        piece.add(isLowSurrogate(unit) ? kIllFormed : unit, offset, faults);
    }
}

}  // namespace contentcoding
