#include "tool/Values.h"

#include <cstdint>
#include <cstdio>
#include <vector>

#include "tool/Convert.h"

namespace {

constexpr std::size_t kBlockBytes = 1 << 16;

class ValueConverter {
public:
    ValueConverter(const Source& in, Destination& out, const char* otherwise,
                   const ConvertValue& convert)
        : m_in(in), m_out(out), m_otherwise(otherwise), m_convert(convert) {}

    // `place` is what messages say of the value, besides the name of the input.
    void convert(std::string_view value, const std::string& place) {
        const std::string_view whole = value;
        if (value.ends_with('\n')) value.remove_suffix(1);
        if (value.ends_with('\r')) value.remove_suffix(1);
        m_result.weakClear();
        LogText log;
        if (!m_convert(value, m_result, log))
            throw dataError(m_in.name() + place, log, m_otherwise);
        if (log.text().getSize() > 0)
            std::fprintf(stderr, "contentcode: %s\n",
                         dataError(m_in.name() + place, log, m_otherwise).what());
        m_out.write(m_result.view());
        m_out.write(whole.substr(value.size()));
    }

private:
    const Source& m_in;
    Destination& m_out;
    const char* m_otherwise;
    const ConvertValue& m_convert;
    StringBuffer m_result;
};

void convertLines(Source& in, ValueConverter& converter) {
    std::vector<char> block(kBlockBytes);
    std::string line;
    std::uint64_t number = 0;
    const auto convertLine = [&] {
        converter.convert(line, ":" + std::to_string(++number));
        line.clear();
    };
    for (std::size_t n; (n = in.read(block.data(), block.size())) > 0;) {
        std::string_view rest(block.data(), n);
        for (std::size_t end; (end = rest.find('\n')) != std::string_view::npos;) {
            line += rest.substr(0, end + 1);
            rest.remove_prefix(end + 1);
            convertLine();
        }
        line += rest;
        if (line.size() > kLongestInput) throw tooLong(in.name(), kLongestInput);
    }
    if (!line.empty()) convertLine();
}

}  // namespace

void convertValues(const FileArguments& files, bool eachLine, const char* otherwise,
                   const ConvertValue& convert) {
    Source in(files.input, !files.noProgress);
    if (eachLine) {
        Destination out(files.output);
        ValueConverter converter(in, out, otherwise, convert);
        convertLines(in, converter);
        out.commit();
        return;
    }
    const StringBuffer value = in.readAll(kLongestInput);
    Destination out(files.output);
    ValueConverter(in, out, otherwise, convert).convert(value.view(), "");
    out.commit();
}
