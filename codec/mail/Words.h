#ifndef CODEC_MAIL_WORDS_H
#define CODEC_MAIL_WORDS_H

#include <optional>

#include "codec/mail/Text.h"

// Private: encoded words as senders write them: RFC 2047, and less.

namespace contentcoding::mail {

// Spaces, tabs and line ends only.
[[nodiscard]] bool isWhiteSpaceOnly(std::string_view text);

// Without the white space at both ends.
[[nodiscard]] std::string_view trimmed(std::string_view text);

// An encoded word in a value.
struct EncodedWord {
    std::string label;     // the charset
    char encoding = '\0';  // 'B', 'Q', or NUL for another one
    std::size_t text = 0;  // where its text starts
    std::size_t end = 0;   // where the text ends; the word goes on for 2 characters
};

// The word that starts at the "=?" at `start`. If there is none, `resume` is where the next one may
// start.
[[nodiscard]] std::optional<EncodedWord> wordAt(std::string_view value, std::size_t start,
                                                std::size_t& resume);

// Appends the text of a value, or of a part of it that starts at `offset`: its encoded words are
// decoded, all else is raw.
void appendDecoded(std::string_view value, std::uint64_t offset, TextReader& reader,
                   std::string& out);

}  // namespace contentcoding::mail

#endif
