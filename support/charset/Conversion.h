#ifndef SUPPORT_CHARSET_CONVERSION_H
#define SUPPORT_CHARSET_CONVERSION_H

#include <unicode/ucnv.h>

#include <memory>
#include <optional>
#include <string_view>

#include "support/CharsetTable.h"
#include "support/charset/Coder.h"
#include "support/charset/SingleByte.h"
#include "support/charset/TableReader.h"
#include "support/charset/TableWriter.h"

// Private: converts one text from one charset to another.

namespace contentcoding {

enum class [[nodiscard]] ConversionOutcome{kConverted, kWithFaults, kNoTable, kNoMemory};

// A converter of the library, kept open until another is needed.
class ConverterSlot {
public:
    ConverterSlot() = default;
    ~ConverterSlot() { ucnv_close(m_converter); }
    ConverterSlot(const ConverterSlot&) = delete;
    ConverterSlot& operator=(const ConverterSlot&) = delete;

    // Opens the converter of that name unless it is open already. `name` is never freed.
    ConversionOutcome open(const char* name);
    UConverter& converter() const { return *m_converter; }

private:
    UConverter* m_converter = nullptr;
    std::string_view m_name;
};

// One for each side, because a converter may keep its states of reading and writing in one place.
struct OpenConverters {
    ConverterSlot source;
    ConverterSlot target;
};

// The converters of a value are kept for the next one, of whatever thread: to open them takes
// longer than to convert a word. Null when there are none.
[[nodiscard]] std::unique_ptr<OpenConverters> takeSpareConverters();
void keepSpareConverters(std::unique_ptr<OpenConverters> converters);

// Converts one text, piece by piece.
class Conversion {
public:
    // `in` must outlive the conversion; `handling` says what becomes of what cannot be converted.
    Conversion(const Charset& from, const Charset& to, Input in, Handling handling);

    // Writes the result to `out`. `open` is filled when a converter is needed.
    ConversionOutcome run(std::unique_ptr<OpenConverters>& open, Appender out);

    // After kWithFaults.
    const Faults& faults() const { return m_faults; }

private:
    ConversionOutcome openTables(std::unique_ptr<OpenConverters>& open);
    [[nodiscard]] bool convertPieces(Appender out);
    [[nodiscard]] bool convertAll(Appender out);
    [[nodiscard]] bool copyUtf8(Appender out);
    [[nodiscard]] bool fill(Piece& piece);

    const Charset m_from;
    const Charset m_to;
    Input m_in;
    const Coder m_source;
    const Coder m_target;
    const SingleByteTable* const m_table;  // if the source has one
    std::optional<TableReader> m_reader;   // if the source has no coder and no table
    std::optional<TableWriter> m_writer;   // if the target has none
    Faults m_faults;
};

}  // namespace contentcoding

#endif
