#ifndef TOOL_VALUES_H
#define TOOL_VALUES_H

#include <functional>
#include <string_view>

#include "support/Log.h"
#include "tool/Files.h"
#include "tool/Formats.h"

// Converts one value; false when it cannot be.
using ConvertValue =
    std::function<bool(std::string_view value, StringBuffer& result, LogBase& log)>;

// Whether results are text that others have encoded. On a terminal the controls in it are made
// visible; on a line, line ends in it become spaces.
enum class ResultKind { kPlain, kDecodedText };

// Converts the input as one value or, with `eachLine`, every line of it as a value of its own. The
// line end after a value is not part of it and follows its result; no result then holds another.
// What the log says of a value goes to standard error. A value that fails ends the run, with
// `otherwise` as the reason when the log has none; the results of the lines before it are written.
void convertValues(const FileArguments& files, bool eachLine, const char* otherwise,
                   const ConvertValue& convert, ResultKind kind = ResultKind::kPlain);

// Converts every line of a file by `convert(value, place)`, which throws a Failure for one that is
// at fault; the place is "FILE:LINE". The line end after a value is not part of it and follows its
// result; no result then holds another.
using ConvertLine = std::function<std::string(std::string_view value, const std::string& place)>;
void convertLines(const std::string& path, bool showProgress, Destination& out,
                  const ConvertLine& convert);

#endif
