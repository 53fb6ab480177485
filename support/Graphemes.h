#ifndef SUPPORT_GRAPHEMES_H
#define SUPPORT_GRAPHEMES_H

#include <cstddef>
#include <string_view>

// Private: where a text may be cut.

namespace contentcoding {

// The length in bytes of what is read as one character at the start of well-formed UTF-8 that is
// not empty: an extended grapheme cluster (Unicode Standard Annex 29, section 3.1.1). Once it is
// over `most` bytes, it need not be whole; characters always are.
[[nodiscard]] std::size_t clusterLength(std::string_view utf8, std::size_t most);

}  // namespace contentcoding

#endif
