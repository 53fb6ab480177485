#include "support/Charset.h"

#include <unicode/ucnv.h>

#include <array>
#include <charconv>
#include <initializer_list>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include "support/CharsetTable.h"
#include "support/charset/Coder.h"
#include "support/charset/TableReader.h"
#include "support/charset/TableWriter.h"

namespace contentcoding {

namespace {

enum class [[nodiscard]] Outcome{kConverted, kWithFaults, kUnknownCharset, kNoMemory};

// A converter of the library, kept open until another is needed.
class ConverterSlot {
public:
    ConverterSlot() = default;
    ~ConverterSlot() { ucnv_close(m_converter); }
    ConverterSlot(const ConverterSlot&) = delete;
    ConverterSlot& operator=(const ConverterSlot&) = delete;

    // Opens the converter of that name unless it is open already. `name` is never freed.
    Outcome open(const char* name) {
        if (m_converter && m_name == name) return Outcome::kConverted;
        ucnv_close(m_converter);
        UErrorCode error = U_ZERO_ERROR;
        m_converter = ucnv_open(name, &error);
        m_name = name;
        if (m_converter) return Outcome::kConverted;
        return error == U_MEMORY_ALLOCATION_ERROR ? Outcome::kNoMemory : Outcome::kUnknownCharset;
    }

    UConverter& converter() const { return *m_converter; }

private:
    UConverter* m_converter = nullptr;
    std::string_view m_name;
};

}  // namespace

// One for each side, because a converter may keep its states of reading and writing in one place.
struct OpenConverters {
    ConverterSlot source;
    ConverterSlot target;
};

namespace {

using OpenPointer = std::unique_ptr<OpenConverters>;

// A number in decimal digits, without an allocation.
class Decimal {
public:
    explicit Decimal(long long n)
        : m_end(std::to_chars(m_text.data(), m_text.data() + m_text.size(), n).ptr) {}
    std::string_view view() const {
        return {m_text.data(), static_cast<std::size_t>(m_end - m_text.data())};
    }

private:
    std::array<char, 20> m_text;
    const char* m_end;
};

// Logs the words as one line; nothing when memory is short.
void logLine(std::initializer_list<std::string_view> words, LogBase& log) {
    StringBuffer line;
    for (const auto word : words) {
        if (!line.appendN(word.data(), static_cast<unsigned int>(word.size()))) return;
    }
    log.LogError(line.getString());
}

Outcome unknownCodePage(int codePage, LogBase& log) {
    logLine({"Unknown code page: ", Decimal(codePage).view(), "."}, log);
    return Outcome::kUnknownCharset;
}

// Converts one text, piece by piece.
class Conversion {
public:
    Conversion(const Charset& from, const Charset& to, const unsigned char* data, unsigned int n)
        : m_from(from),
          m_to(to),
          m_in{data, n},
          m_source(coderOf(formByMark(from.form, m_in))),
          m_target(coderOf(to.form)) {}

    Outcome run(OpenPointer& open, DataBuffer& out, LogBase& log);

private:
    Outcome openTables(OpenPointer& open);
    [[nodiscard]] bool convertPieces(DataBuffer& out);
    [[nodiscard]] bool fill(Piece& piece);

    const Charset m_from;
    const Charset m_to;
    Input m_in;
    const Coder m_source;
    const Coder m_target;
    std::optional<TableReader> m_reader;  // if the source has no coder
    std::optional<TableWriter> m_writer;  // if the target has none
    Faults m_faults;
};

Outcome Conversion::openTables(OpenPointer& open) {
    if (m_source.fill && m_target.drain) return Outcome::kConverted;
    if (!open) open.reset(new (std::nothrow) OpenConverters);
    if (!open) return Outcome::kNoMemory;
    Outcome opened = Outcome::kConverted;
    if (!m_source.fill) {
        opened = open->source.open(m_from.converter);
        if (opened == Outcome::kConverted) m_reader.emplace(open->source.converter());
    }
    if (!m_target.drain && opened == Outcome::kConverted) {
        opened = open->target.open(m_to.converter);
        if (opened == Outcome::kConverted) m_writer.emplace(open->target.converter());
    }
    return opened;
}

bool Conversion::fill(Piece& piece) {
    if (m_reader) return m_reader->fill(m_in, piece, m_faults);
    m_source.fill(m_in, piece, m_faults);
    return true;
}

bool Conversion::convertPieces(DataBuffer& out) {
    for (bool last = false; !last;) {
        Piece piece;
        if (!fill(piece)) return false;
        if (!(m_writer ? m_writer->drain(piece, m_faults, out)
                       : m_target.drain(piece, m_faults, out)))
            return false;
        last = piece.last;
    }
    return true;
}

Outcome Conversion::run(OpenPointer& open, DataBuffer& out, LogBase& log) {
    const Outcome opened = openTables(open);
    if (opened == Outcome::kUnknownCharset)
        logLine({"No table to convert from ", m_from.name, " to ", m_to.name, "."}, log);
    if (opened != Outcome::kConverted) return opened;
    if (!convertPieces(out)) return Outcome::kNoMemory;
    if (!m_faults.any()) return Outcome::kConverted;
    logLine({"Errors in converting from ", m_from.name, " to ", m_to.name,
             ", the first at byte offset ", Decimal(m_faults.first).view(), "."},
            log);
    return Outcome::kWithFaults;
}

Outcome convert(int fromCodePage, int toCodePage, const unsigned char* data, unsigned int n,
                OpenPointer& open, DataBuffer& out, LogBase& log) {
    if (!data || n == 0) return Outcome::kConverted;
    const auto from = findCharset(fromCodePage);
    if (!from) return unknownCodePage(fromCodePage, log);
    const auto to = findCharset(toCodePage);
    if (!to) return unknownCodePage(toCodePage, log);
    return Conversion(*from, *to, data, n).run(open, out, log);
}

}  // namespace

}  // namespace contentcoding

using namespace contentcoding;

EncodingConvert::EncodingConvert() = default;
EncodingConvert::~EncodingConvert() = default;

bool EncodingConvert::EncConvert(int fromCodePage, int toCodePage, const unsigned char* data,
                                 unsigned int n, DataBuffer& out, LogBase& log) {
    return convert(fromCodePage, toCodePage, data, n, m_open, out, log) == Outcome::kConverted;
}

bool EncodingConvert::ChConvert2(StringBuffer& charset, int toCodePage, const unsigned char* data,
                                 unsigned int n, DataBuffer& out, LogBase& log) {
    if (!data || n == 0) return true;
    const auto from = findCharset(charset.view());
    if (!from) {
        constexpr std::size_t longestLogged = 60;
        logLine({"Unknown charset: ", charset.view().substr(0, longestLogged), "."}, log);
        return false;
    }
    const auto to = findCharset(toCodePage);
    if (!to) return unknownCodePage(toCodePage, log) == Outcome::kConverted;
    return Conversion(*from, *to, data, n).run(m_open, out, log) == Outcome::kConverted;
}

bool StringBuffer::convertEncoding(int fromCodePage, int toCodePage, LogBase& log) {
    OpenPointer open;
    DataBuffer converted;
    const auto* const data = reinterpret_cast<const unsigned char*>(getString());
    const Outcome outcome =
        convert(fromCodePage, toCodePage, data, getSize(), open, converted, log);
    if (outcome == Outcome::kUnknownCharset || outcome == Outcome::kNoMemory) return false;
    StringBuffer replacement;
    if (!replacement.append(converted)) return false;
    *this = std::move(replacement);
    return outcome == Outcome::kConverted;
}

bool _zqCharset::setByName(const char* name) {
    const auto charset = name ? findCharset(std::string_view(name)) : std::nullopt;
    m_codePage = charset ? charset->codePage : 0;
    return charset.has_value();
}

bool CharsetNaming::CharsetValid(StringBuffer& name) {
    return findCharset(name.view()).has_value();
}
