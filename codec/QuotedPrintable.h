#ifndef CODEC_QUOTEDPRINTABLE_H
#define CODEC_QUOTEDPRINTABLE_H

#include <string_view>

#include "codec/Window.h"
#include "contentcoding/quoted_printable.hpp"

// Private: the decoder of the class, which knows what mail software of the past wrote.

namespace contentcoding::quoted_printable {

// Decodes a whole text. It looks at the low seven bits of every character, but for the ends of the
// text and of the lines; what it writes are the bytes as they are. "=FFFFFF" and two digits are a
// byte; with `unicodeEscapes`, "=00", four digits and ";" are a character reference. False when the
// window refused.
[[nodiscard]] bool decodeLegacy(std::string_view text, bool unicodeEscapes, Window& out);

}  // namespace contentcoding::quoted_printable

#endif
