#ifndef CODEC_MAIL_HEADERWRITER_H
#define CODEC_MAIL_HEADERWRITER_H

#include <optional>
#include <string>
#include <string_view>

#include "contentcoding/header.hpp"

// Private: header values in lines, of words that stay as they are and of encoded words.

namespace contentcoding::mail {

// Well-formed UTF-8: the text itself, or what `replaced` then holds, with U+FFFD.
[[nodiscard]] std::string_view wellFormedText(Bytes utf8, std::string& replaced);

// Appends the value that header::encode() gives for well-formed UTF-8, and keeps count of the
// column.
class HeaderWriter {
public:
    HeaderWriter(const header::Encoding& options, std::string& out);

    // Writes a text that needs no other before or after it.
    void text(std::string_view utf8);

    // Writes something that has to stay whole, after a space unless the value starts with it, or on
    // a line of its own if it does not fit.
    void whole(std::string_view item, bool isFirst);

    // Where the next character stands in its line.
    std::size_t column() const { return m_column; }

private:
    struct Token;
    enum class Unit : unsigned char { kCluster, kCharacter };

    bool nextToken(std::string_view& left, bool isFirst, Token& token) const;
    bool needsEncoding(std::string_view word) const;
    std::size_t space(std::size_t blanks) const;
    void newLine();
    void plain(std::size_t blanks, std::string_view word, bool isFirst);
    void encoded(std::size_t blanks, std::string_view text, bool isFirst);
    std::string_view charsetFor(std::string_view text) const;
    bool usesQ(std::string_view bytes, std::string_view charset) const;
    std::size_t sizeOf(std::string_view bytes, bool isQ) const;
    std::size_t cut(std::string_view text, std::string_view charset, bool isQ, std::size_t room,
                    Unit unit) const;
    void word(std::string_view bytes, std::string_view charset, bool isQ);

    const header::Encoding m_options;
    const std::size_t m_lineLength;
    std::string& m_out;
    std::size_t m_column;
};

}  // namespace contentcoding::mail

#endif
