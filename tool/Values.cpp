#include "tool/Values.h"

#include <cstdint>
#include <vector>

#include "tool/Convert.h"
#include "tool/Progress.h"

namespace {

constexpr std::size_t kBlockBytes = 1 << 16;
constexpr std::string_view kLineEnds = "\r\n";

class ValueConverter {
public:
    ValueConverter(const Source& in, Destination& out, const char* otherwise,
                   const ConvertValue& convert, ResultKind kind)
        : m_in(in), m_out(out), m_otherwise(otherwise), m_convert(convert), m_kind(kind) {}

    // Converts the `number`th line, or the whole input where that is 0.
    void convert(std::string_view value, std::uint64_t number) {
        const std::string_view whole = value;
        const std::string place =
            m_in.name() + (number > 0 ? ':' + std::to_string(number) : std::string());
        if (value.ends_with('\n')) value.remove_suffix(1);
        if (value.ends_with('\r')) value.remove_suffix(1);
        m_result.weakClear();
        LogText log;
        if (!m_convert(value, m_result, log)) throw dataError(place, log, m_otherwise);
        if (log.text().getSize() > 0) report(dataError(place, log, m_otherwise).what());
        if (m_kind == ResultKind::kDecodedText)
            m_out.write(decodedText(number > 0));
        else if (number > 0 && m_result.view().find_first_of(kLineEnds) != std::string_view::npos)
            throw Failure(kDataError, place + ": the result holds a line end, convert it alone");
        else
            m_out.write(m_result.view());
        m_out.write(whole.substr(value.size()));
    }

private:
    std::string decodedText(bool onLine) const {
        std::string text(m_result.view());
        for (std::size_t i = 0; onLine && (i = text.find_first_of(kLineEnds, i)) != text.npos;)
            text[i] = ' ';
        return m_out.isTerminal() ? visible(text, "\t") : text;
    }

    const Source& m_in;
    Destination& m_out;
    const char* m_otherwise;
    const ConvertValue& m_convert;
    const ResultKind m_kind;
    StringBuffer m_result;
};

// Calls `use(line, number)` for each line, with its line end.
template <class Use>
void forEachLine(Source& in, Use use) {
    std::vector<char> block(kBlockBytes);
    std::string line;
    std::uint64_t number = 0;
    for (std::size_t n; (n = in.read(block.data(), block.size())) > 0;) {
        std::string_view rest(block.data(), n);
        for (std::size_t end; (end = rest.find('\n')) != std::string_view::npos;) {
            line += rest.substr(0, end + 1);
            rest.remove_prefix(end + 1);
            use(line, ++number);
            line.clear();
        }
        line += rest;
        if (line.size() > kLongestInput) throw tooLong(in.name(), kLongestInput);
    }
    if (!line.empty()) use(line, ++number);
}

}  // namespace

void convertValues(const FileArguments& files, bool eachLine, const char* otherwise,
                   const ConvertValue& convert, ResultKind kind) {
    Source in(files.input, !files.noProgress);
    StringBuffer value;
    if (!eachLine) value = in.readAll(kLongestInput);
    Destination out(files.output);
    ValueConverter converter(in, out, otherwise, convert, kind);
    try {
        if (eachLine)
            forEachLine(in, [&](std::string_view line, std::uint64_t number) {
                converter.convert(line, number);
            });
        else
            converter.convert(value.view(), 0);
    } catch (const Failure&) {
        out.flush();
        throw;
    }
    out.commit();
}

void convertLines(const std::string& path, bool showProgress, Destination& out,
                  const ConvertLine& convert) {
    Source in(path, showProgress);
    forEachLine(in, [&](std::string_view line, std::uint64_t number) {
        std::string_view value = line;
        if (value.ends_with('\n')) value.remove_suffix(1);
        if (value.ends_with('\r')) value.remove_suffix(1);
        const std::string place = in.name() + ':' + std::to_string(number);
        const std::string result = convert(value, place);
        if (result.find_first_of(kLineEnds) != result.npos)
            throw Failure(kDataError, place + ": the result holds a line end, convert it alone");
        out.write(result);
        out.write(line.substr(value.size()));
    });
}
