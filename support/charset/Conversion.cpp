#include "support/charset/Conversion.h"

#include <atomic>
#include <new>

#include "support/charset/Utf8.h"

namespace contentcoding {

ConversionOutcome ConverterSlot::open(const char* name) {
    using enum ConversionOutcome;
    if (m_converter && m_name == name) return kConverted;
    ucnv_close(m_converter);
    UErrorCode error = U_ZERO_ERROR;
    m_converter = ucnv_open(name, &error);
    m_name = name;
    if (m_converter) return kConverted;
    return error == U_MEMORY_ALLOCATION_ERROR ? kNoMemory : kNoTable;
}

namespace {

// One pair, until it is taken or the program ends.
struct Spare {
    std::atomic<OpenConverters*> converters{nullptr};
    ~Spare() { delete converters.exchange(nullptr); }
};
Spare spare;

}  // namespace

std::unique_ptr<OpenConverters> takeSpareConverters() {
    return std::unique_ptr<OpenConverters>(spare.converters.exchange(nullptr));
}

void keepSpareConverters(std::unique_ptr<OpenConverters> converters) {
    delete spare.converters.exchange(converters.release());
}

Conversion::Conversion(const Charset& from, const Charset& to, Input in, Handling handling)
    : m_from(from),
      m_to(to),
      m_in(in),
      m_source(coderOf(formByMark(from.form, m_in))),
      m_target(coderOf(to.form)),
      m_table(singleByteTableOf(from)),
      m_faults{handling} {}

ConversionOutcome Conversion::openTables(std::unique_ptr<OpenConverters>& open) {
    using enum ConversionOutcome;
    const bool isReadable = m_source.fill || m_table;
    if (isReadable && m_target.drain) return kConverted;
    if (!open) open.reset(new (std::nothrow) OpenConverters);
    if (!open) return kNoMemory;
    ConversionOutcome opened = kConverted;
    if (!isReadable) {
        opened = open->source.open(m_from.converter);
        if (opened == kConverted) m_reader.emplace(open->source.converter());
    }
    if (!m_target.drain && opened == kConverted) {
        opened = open->target.open(m_to.converter);
        if (opened == kConverted) m_writer.emplace(open->target.converter());
    }
    return opened;
}

bool Conversion::fill(Piece& piece) {
    if (m_reader) return m_reader->fill(m_in, piece, m_faults);
    if (m_source.fill)
        m_source.fill(m_in, piece, m_faults);
    else
        fillFromTable(*m_table, m_in, piece, m_faults);
    return true;
}

bool Conversion::convertPieces(Appender out) {
    for (bool last = false; !last && !m_faults.stops();) {
        Piece piece;
        if (!fill(piece)) return false;
        if (!(m_writer ? m_writer->drain(piece, m_faults, out)
                       : m_target.drain(piece, m_faults, out)))
            return false;
        last = piece.last;
    }
    return true;
}

// From UTF-8 to UTF-8 well-formed text is copied as it is.
bool Conversion::copyUtf8(Appender out) {
    while (m_in.left() > 0 && !m_faults.stops()) {
        const std::string_view left(reinterpret_cast<const char*>(m_in.bytes) + m_in.position,
                                    m_in.left());
        const std::size_t n = wellFormedPrefix(left);
        if (!out.append(left.data(), n)) return false;
        m_in.position += n;
        if (n == left.size()) break;
        m_faults.add(Faults::Side::kSource, m_in.position);
        m_in.position += firstOfUtf8(left.substr(n)).length;
        constexpr std::string_view replacement = "\uFFFD";
        if (!m_faults.drops() && !out.append(replacement.data(), replacement.size())) return false;
    }
    return true;
}

bool Conversion::convertAll(Appender out) {
    if (m_to.form == CharsetForm::kUtf8) {
        if (m_from.form == CharsetForm::kUtf8) return copyUtf8(out);
        if (m_table) return writeAsUtf8(*m_table, m_in, m_faults, out);
    }
    return convertPieces(out);
}

ConversionOutcome Conversion::run(std::unique_ptr<OpenConverters>& open, Appender out) {
    using enum ConversionOutcome;
    const ConversionOutcome opened = openTables(open);
    if (opened != kConverted) return opened;
    if (!convertAll(out)) return kNoMemory;
    return m_faults.any() ? kWithFaults : kConverted;
}

}  // namespace contentcoding
