#ifndef CODEC_HEADERWORDS_H
#define CODEC_HEADERWORDS_H

#include <algorithm>
#include <string_view>

#include "codec/Alphabet.h"
#include "codec/Window.h"

// Private: the words of RFC 2047, sections 2 to 4, and where a header value has them.

namespace contentcoding::header_words {

// Writes the text of a Q word. Without `keepsComma`, "," and ":" are escaped too.
[[nodiscard]] bool encodeQ(Bytes bytes, bool keepsComma, Window& out);

// Reads the text of a Q word. A space counts as "_", "=" without two hexadecimal digits as itself;
// control characters, "?" and bytes from 0x7F to 0x9F are dropped. False when the window refused.
[[nodiscard]] bool decodeQ(std::string_view text, Window& out);

struct Word {
    std::string_view charset;
    bool isB;
    std::string_view text;  // not empty
};

// Reads the text of a word, whatever it is. It gives no more bytes than it has characters.
[[nodiscard]] bool decode(const Word& word, Window& out);

inline bool isBlankText(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return isBlank(static_cast<unsigned char>(c)); });
}

// Shows the visitor the parts of a header value in order: plain(text) for a gap or tail that is
// not just spaces and tabs, word(word) for every encoded word with text. The walk ends at a "=?"
// that starts no complete word. Each step goes on where the one before it ended, so it is linear.
template <class Visitor>
void walk(std::string_view value, Visitor&& visitor) {
    constexpr auto kNone = std::string_view::npos;
    for (;;) {
        const std::size_t start = value.find("=?");
        const std::string_view plain = value.substr(0, start);
        if (!isBlankText(plain)) visitor.plain(plain);
        if (start == kNone) return;
        value.remove_prefix(start + 2);

        const std::size_t charsetEnd = value.find('?');
        if (charsetEnd == kNone) return;
        const std::string_view charset = value.substr(0, charsetEnd);
        value.remove_prefix(charsetEnd + 1);

        if (value.size() < 3 || value[1] != '?') return;
        const bool isB = value[0] == 'B' || value[0] == 'b';
        value.remove_prefix(2);

        const std::size_t end = value.find("?=");
        if (end == kNone) return;
        if (end > 0) visitor.word(Word{charset, isB, value.substr(0, end)});
        value.remove_prefix(end + 2);
    }
}

// How many bytes of UTF-8 text the first `most` units take, where a character counts as `units`
// tells: 1 for each, or 2 for those that are surrogate pairs in UTF-16. A character is never cut.
// npos when that part of the text is ill-formed.
enum class Units { kCharacters, kUtf16 };
std::size_t pieceOfUtf8(std::string_view text, std::size_t most, Units units);

}  // namespace contentcoding::header_words

#endif
