#include "tool/Lines.h"

#include <cstdint>
#include <vector>

#include "tool/Failure.h"

namespace {

constexpr std::size_t kBlockBytes = 1 << 16;
constexpr unsigned int kLongestLine = 0xFFFFFFFF;

}  // namespace

std::string_view withoutLineEnd(std::string_view text) {
    if (text.ends_with('\n')) text.remove_suffix(1);
    if (text.ends_with('\r')) text.remove_suffix(1);
    return text;
}

void convertLines(const std::string& path, bool showProgress, Destination& out,
                  const ConvertLine& convert) {
    Source in(path, showProgress);
    std::vector<char> block(kBlockBytes);
    std::string line;
    std::uint64_t number = 0;
    const auto convertLine = [&] {
        const std::string_view value = withoutLineEnd(line);
        const std::string place = in.name() + ':' + std::to_string(++number);
        const std::string result = convert(value, place);
        if (result.find_first_of("\r\n") != result.npos)
            throw Failure(kDataError, place + ": the result holds a line end, convert it alone");
        out.write(result);
        out.write(std::string_view(line).substr(value.size()));
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
        if (line.size() > kLongestLine) throw tooLong(in.name(), kLongestLine);
    }
    if (!line.empty()) convertLine();
}
