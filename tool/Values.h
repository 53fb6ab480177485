#ifndef TOOL_VALUES_H
#define TOOL_VALUES_H

#include <functional>
#include <string_view>

#include "support/Log.h"
#include "tool/Formats.h"

// Converts one value; false when it cannot be.
using ConvertValue =
    std::function<bool(std::string_view value, StringBuffer& result, LogBase& log)>;

// Converts the input as one value or, with `eachLine`, every line of it as a value of its own. The
// line end after a value is no part of it and follows its result. What the log says of a value
// goes to standard error; a value that fails ends the run, with `otherwise` for a reason when
// the log has none.
void convertValues(const FileArguments& files, bool eachLine, const char* otherwise,
                   const ConvertValue& convert);

#endif
