#ifndef TOOL_VISIBLE_H
#define TOOL_VISIBLE_H

#include <string>
#include <string_view>

// The UTF-8 text with its controls escaped, so that text of others neither commands a terminal nor
// poses as another line: C0, DEL, C1, line and paragraph separators and bidirectional controls,
// except those in `kept`. "\x1B" stands for an ASCII control, or for a byte outside UTF-8 that some
// terminals take for a C1 control; "\u202E" for any other character.
[[nodiscard]] std::string visible(std::string_view text, std::string_view kept = {});

#endif
