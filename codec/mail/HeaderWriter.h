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
    // A word in UTF-8 with a single character.
    static constexpr std::size_t kShortestWord = 24;

    HeaderWriter(const header::Encoding& options, std::string& out);

    // Writes a text, after a space if it is not the first thing. `after` is how many characters
    // follow it that have to fit in its last line.
    void text(std::string_view utf8, std::size_t after = 0);

    // The same, all of it in encoded words, with no line end before the first: there must be room
    // for kShortestWord characters.
    void words(std::string_view utf8, std::size_t after = 0);

    // The same for what has to stay as it is, on a line of its own if need be.
    void whole(std::string_view item);

    // Writes what follows the last text or item directly.
    void glue(std::string_view characters);

    // How long the last line is.
    std::size_t column() const { return m_column; }

private:
    struct Token;
    enum class Unit : unsigned char { kCluster, kCharacter };
    struct Cut {
        std::size_t size = 0;
        bool isPadded = false;  // in Base64
    };

    bool nextToken(std::string_view& left, bool isFirst, Token& token) const;
    bool needsEncoding(std::string_view word) const;
    std::size_t space(std::size_t blanks) const;
    void newLine(std::size_t& blanks);
    void plain(std::size_t blanks, std::string_view word);
    void encoded(std::size_t blanks, std::string_view text);
    std::string_view charsetFor(std::string_view text) const;
    bool usesQ(std::string_view bytes, std::string_view charset) const;
    std::size_t sizeOf(std::string_view bytes, bool isQ) const;
    Cut cut(std::string_view text, std::string_view charset, bool isQ, std::size_t room,
            Unit unit) const;
    void word(std::string_view bytes, std::string_view charset, bool isQ);

    const header::Encoding m_options;
    const std::size_t m_lineLength;
    std::string& m_out;
    std::size_t m_column;
    std::size_t m_after = 0;
    bool m_isEmpty = true;
    bool m_mayBreakFirst = true;
};

}  // namespace contentcoding::mail

#endif
