#ifndef SUPPORT_JSON_TEXTCHECKS_H
#define SUPPORT_JSON_TEXTCHECKS_H

#include <cstddef>
#include <string_view>

#include "support/Json.h"

// Private: what is checked of a JSON text beside what the parser checks.

namespace contentcoding {

struct Place {
    std::size_t offset = 0;
    const char* expected = nullptr;  // null when nothing is wrong, or memory was short
};

// The start of the first run of digits that is too long for the parser; npos when there is none.
std::size_t findDigitRun(std::string_view text);

// Where the text stops being UTF-8, or has a control character from 0x18 up, which the parser may
// overlook in a string; its size when nothing is wrong.
std::size_t findIllFormed(std::string_view text);

// The fault at a place of the text, with its line and column.
JsonFault faultAt(std::string_view text, const Place& place);

}  // namespace contentcoding

#endif
