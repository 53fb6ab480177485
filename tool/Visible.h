#ifndef TOOL_VISIBLE_H
#define TOOL_VISIBLE_H

#include <string>
#include <string_view>

// The UTF-8 text with its controls escaped, so that untrusted text can neither control a terminal
// nor pose as another line: C0, DEL, C1, line and paragraph separators and bidirectional controls,
// except those in `kept`. ASCII controls become "\x1B", others "\u202E". So do bytes from 0x80 to
// 0x9F outside UTF-8, which some terminals take for C1 controls: "\x9B".
[[nodiscard]] std::string visible(std::string_view text, std::string_view kept = {});

#endif
