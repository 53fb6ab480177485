#include "support/Charset.h"

#include <array>
#include <charconv>
#include <initializer_list>
#include <limits>
#include <string_view>
#include <utility>

#include "support/CharsetTable.h"
#include "support/charset/Conversion.h"

namespace contentcoding {

namespace {

using Outcome = ConversionOutcome;
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
    return Outcome::kNoTable;
}

bool appendTo(void* buffer, const void* bytes, std::size_t n) {
    constexpr std::size_t most = std::numeric_limits<unsigned int>::max();
    return n <= most &&
           static_cast<DataBuffer*>(buffer)->append(bytes, static_cast<unsigned int>(n));
}

Outcome convert(const Charset& from, const Charset& to, const unsigned char* data, unsigned int n,
                OpenPointer& open, DataBuffer& out, LogBase& log) {
    Conversion conversion(from, to, {data, n}, Handling::kReplace);
    const Outcome outcome = conversion.run(open, {&out, appendTo});
    if (outcome == Outcome::kNoTable)
        logLine({"No table to convert from ", from.name, " to ", to.name, "."}, log);
    if (outcome == Outcome::kWithFaults) {
        const auto first = static_cast<long long>(conversion.faults().first);
        logLine({"Errors in converting from ", from.name, " to ", to.name,
                 ", the first at byte offset ", Decimal(first).view(), "."},
                log);
    }
    return outcome;
}

Outcome convert(int fromCodePage, int toCodePage, const unsigned char* data, unsigned int n,
                OpenPointer& open, DataBuffer& out, LogBase& log) {
    if (!data || n == 0) return Outcome::kConverted;
    const auto from = findCharset(fromCodePage);
    if (!from) return unknownCodePage(fromCodePage, log);
    const auto to = findCharset(toCodePage);
    if (!to) return unknownCodePage(toCodePage, log);
    return convert(*from, *to, data, n, open, out, log);
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
    return convert(*from, *to, data, n, m_open, out, log) == Outcome::kConverted;
}

bool StringBuffer::convertEncoding(int fromCodePage, int toCodePage, LogBase& log) {
    OpenPointer open;
    DataBuffer converted;
    const auto* const data = reinterpret_cast<const unsigned char*>(getString());
    const Outcome outcome =
        convert(fromCodePage, toCodePage, data, getSize(), open, converted, log);
    if (outcome == Outcome::kNoTable || outcome == Outcome::kNoMemory) return false;
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
