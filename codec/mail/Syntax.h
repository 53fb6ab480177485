#ifndef CODEC_MAIL_SYNTAX_H
#define CODEC_MAIL_SYNTAX_H

#include <string>
#include <string_view>

#include "codec/mail/Words.h"

// Private: what structured header fields are made of: RFC 5322, section 3.2.

namespace contentcoding::mail {

// A byte of an atom: RFC 5322, section 3.2.3, and UTF-8 (RFC 6532).
[[nodiscard]] bool isAtomByte(unsigned char b);

// White space, or one of ()<>[]:;@,"
[[nodiscard]] bool isSpecial(char c);

// The length of what stands before the first control character, as header::Controls has them, in
// well-formed UTF-8.
[[nodiscard]] std::size_t controlFreePrefix(std::string_view utf8);

// Where the quoted string or comment that starts at `start` ends, after its last character; npos
// if it does not.
[[nodiscard]] std::size_t quotedEnd(std::string_view value, std::size_t start);
[[nodiscard]] std::size_t commentEnd(std::string_view value, std::size_t start);

// The same for the strings and comments of one value, in linear time: once one has not ended, no
// other that starts after it is looked at.
class Delimiters {
public:
    [[nodiscard]] std::size_t end(std::string_view value, std::size_t start) {
        const bool isQuoted = value[start] == '"';
        std::size_t& unclosed = isQuoted ? m_quote : m_comment;
        if (start >= unclosed) return value.npos;
        const std::size_t found = isQuoted ? quotedEnd(value, start) : commentEnd(value, start);
        if (found == value.npos) unclosed = start;
        return found;
    }

private:
    std::size_t m_quote = std::string_view::npos;
    std::size_t m_comment = std::string_view::npos;
};

// The text with each run of white space outside of encoded words as one space; empty if that is
// what the text is already.
[[nodiscard]] std::string withSingleSpaces(std::string_view text);

// The characters that quoted pairs stand for; a line end is folding.
[[nodiscard]] std::string withoutBackslashes(std::string_view text);

// The same where Windows paths may stand: only quotation marks and backslashes are quoted.
[[nodiscard]] std::string withoutQuotedPairs(std::string_view text);

// Appends the text of a quoted string, which has its quotation marks.
void appendDecodedQuoted(std::string_view quoted, std::uint64_t offset, TextReader& reader,
                         std::string& out);

}  // namespace contentcoding::mail

#endif
