#ifndef TOOL_CONVERT_H
#define TOOL_CONVERT_H

#include <string_view>

#include "codec/ContentCoding.h"
#include "tool/Failure.h"
#include "tool/Files.h"
#include "tool/Formats.h"
#include "tool/Visible.h"

// The longest input that an operation takes in one piece.
constexpr unsigned int kLongestInput = 0xFFFFFFFF;

inline std::string_view viewOf(const StringBuffer& text) { return text.view(); }

inline std::string_view viewOf(const DataBuffer& bytes) {
    return {reinterpret_cast<const char*>(bytes.getData2()), bytes.getSize()};
}

// What the log says about the input of that name, or else `otherwise`.
[[nodiscard]] inline Failure dataError(const std::string& input, const LogText& log,
                                       const char* otherwise) {
    std::string_view text = log.text().view();
    if (text.empty()) text = otherwise;
    if (text.ends_with('\n')) text.remove_suffix(1);
    return {kDataError, input + ": " + visible(text, "\n")};
}

// Reads the whole input, has it converted into a Result by `convert(text, result, log)`, and only
// then begins to write.
template <class Result, class Convert>
void convertWhole(const FileArguments& files, unsigned int limit, const char* otherwise,
                  Convert convert) {
    Source in(files.input, !files.noProgress);
    const StringBuffer text = in.readAll(limit);
    Result result;
    LogText log;
    if (!convert(text, result, log)) throw dataError(in.name(), log, otherwise);
    Destination out(files.output);
    out.write(viewOf(result));
    out.commit();
}

#endif
