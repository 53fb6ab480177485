#ifndef SUPPORT_UPPERCASE_H
#define SUPPORT_UPPERCASE_H

// Private: the upper-case form that XString::toUpperCase() describes, in memory of the caller.

#include <cstddef>
#include <string_view>

namespace contentcoding {

// Writes the upper-case form of the UTF-8 text `text` to `upper`, and returns its size in bytes.
// A null `upper` only measures. Bytes that are not UTF-8 are kept.
std::size_t toUpperUtf8(std::string_view text, char* upper);

}  // namespace contentcoding

#endif
