#ifndef TOOL_LINES_H
#define TOOL_LINES_H

#include <functional>
#include <string>
#include <string_view>

#include "tool/Files.h"

// A text without the line end at its end.
[[nodiscard]] std::string_view withoutLineEnd(std::string_view text);

// Converts every line of a file by `convert(value, place)`, which throws a Failure for one that is
// at fault; the place is "FILE:LINE". The line end after a value is not part of it and follows its
// result; no result then holds another.
using ConvertLine = std::function<std::string(std::string_view value, const std::string& place)>;
void convertLines(const std::string& path, bool showProgress, Destination& out,
                  const ConvertLine& convert);

#endif
