#ifndef CODEC_ESCAPEDLINES_H
#define CODEC_ESCAPEDLINES_H

#include <algorithm>
#include <cstring>
#include <string_view>

#include "codec/Window.h"
#include "codec/kernels/Kernels.h"
#include "contentcoding/detail/escaped.hpp"
#include "support/Ascii.h"

// Private: text in which "=" and two digits stand for a byte, and its lines.

namespace contentcoding {

// How many of the first `n` characters are whole units: an escape is not cut.
inline std::size_t wholeUnits(std::string_view text, std::size_t n) {
    if (n >= 1 && text[n - 1] == '=') return n - 1;
    if (n >= 2 && text[n - 2] == '=') return n - 2;
    return n;
}

// What is to become of text that is shown.
struct Cut {
    enum class End { kNone, kSoft, kHard, kEscape };

    std::size_t chars;  // these are written as they are, and after them:
    End end;            // nothing, a soft break, the CRLF that follows as a line end, or the next
                        // character as an escape
};

// Escapes bytes and cuts the text into lines in the window, a part at a time. As long as nothing is
// to be inserted, the text stays where it is written. After a part that had to be broken, the next
// one is written farther on, and moves to its place line by line.
//
// A Rules object has
//   escape(bytes, n, isEnd, text, room)   as Kernels::escape; leaves *held bytes at the end alone
//   cut(text, line, column, isEnd)        what is next; at least kLookAhead characters are shown
//                                         after it, but for the end of the text. The first CR is
//                                         after `line` characters.
//   softBreak(), hardBreak()              what is inserted, or written for CRLF: 3 and 2 characters
//                                         at most, and another that can be read
//   columnAfterSoftBreak()
//   kHasHardBreaks                        whether there may be a CR
template <class Rules>
class EscapedLines {
public:
    static constexpr std::size_t kLookAhead = detail::EscapedState::kMostText / 2;

    EscapedLines(detail::EscapedState& state, const Rules& rules)
        : m_state(state), m_rules(rules) {}

    [[nodiscard]] bool write(Bytes piece, Window& out) {
        const unsigned char* p = piece.data();
        std::size_t n = piece.size();
        if (m_state.heldCount > 0 && n > 0) {
            // What was held and some more: what is held of that lies in the piece.
            unsigned char joined[16];
            const std::size_t before = m_state.heldCount;
            const std::size_t more = std::min(n, sizeof joined - before);
            std::memcpy(joined, m_state.held, before);
            std::memcpy(joined + before, p, more);
            if (!writeSome(joined, before + more, false, out)) return false;
            p += more;
            n -= more;
            if (n == 0) return true;
            p -= m_state.heldCount;
            n += m_state.heldCount;
        }
        return n == 0 || writeSome(p, n, false, out);
    }

    [[nodiscard]] bool end(Window& out) {
        unsigned char last[sizeof m_state.held];
        std::memcpy(last, m_state.held, sizeof last);
        const bool written = writeSome(last, m_state.heldCount, true, out);
        m_state = {};
        return written;
    }

    // The same as write() and end(), for bytes that do not come in pieces, of a coder that is not
    // used again.
    [[nodiscard]] bool writeAll(Bytes bytes, Window& out) {
        // A short text that has to be broken would have to be moved first.
        m_inserts = true;
        return writeSome(bytes.data(), bytes.size(), true, out);
    }

private:
    // Less than a block of the class, so that a part fills no more than one.
    static constexpr std::size_t kPartChars = 1500;
    static constexpr std::size_t kMostInserted = 3;

    bool writeSome(const unsigned char* p, std::size_t n, bool isEnd, Window& out) {
        m_state.heldCount = 0;
        do {
            const std::span<char> room = out.room(Window::kMostAsked);
            if (room.empty()) return false;
            // What is inserted is less than what was there: a line break of 3 characters at most
            // for each 7, or 2 characters for the 3 of ".", CR, LF.
            const std::size_t part =
                std::min((room.size() - kOverwrite - kEscapeRoom) / 2, kPartChars);
            char* const from = room.data() + (m_inserts ? part : 0);
            std::size_t size = m_state.textSize;
            if (size > 0) std::memcpy(from, m_state.text, sizeof m_state.text);
            unsigned char held = 0;
            const auto done = m_rules.escape(p, n, isEnd, from + size, part - size, held);
            p += done.read;
            n -= done.read;
            size += done.written;
            if (held > 0 && n == held) {
                std::memcpy(m_state.held, p, held);
                m_state.heldCount = held;
                n = 0;
            }
            const char* const end = cutLines(room, from, size, isEnd && n == 0);
            out.wrote(static_cast<std::size_t>(end - room.data()));
        } while (n > 0);
        return true;
    }

    // The text of a part: where it is, where it is to be, and the end of the memory for both.
    struct Part {
        char* to;
        char* from;
        char* limit;
        std::size_t size = 0;
        const char* lineEnd = nullptr;  // the next CR, or the end; known when it is not passed yet

        std::size_t lineLength() {
            if (lineEnd < from) {
                const void* const cr = std::memchr(from, '\r', size);
                lineEnd = cr ? static_cast<const char*>(cr) : from + size;
            }
            return static_cast<std::size_t>(lineEnd - from);
        }

        // Moves the text to the end of the memory.
        void makeGap() {
            char* const far = limit - size;
            std::memmove(far, from, size);
            lineEnd = nullptr;
            from = far;
        }

        bool hasGap() const { return static_cast<std::size_t>(from - to) >= kOverwrite; }

        void copy(std::size_t n) {
            if (from == to) return;
            if (!hasGap()) {
                std::memmove(to, from, n);
                return;
            }
            for (std::size_t i = 0; i < n; i += kOverwrite)
                std::memcpy(to + i, from + i, kOverwrite);
        }

        // Three characters at most, of which a fourth can be read.
        void insert(std::size_t at, std::string_view few) {
            if (few.empty()) return;
            if (hasGap()) {
                std::memcpy(to + at, few.data(), kMostInserted + 1);
            } else {
                for (std::size_t i = 0; i < few.size(); ++i)
                    to[at + i] = few[i];
            }
        }
    };

    // Cuts the text, `size` characters from `from` on, into lines, and keeps what is too short for
    // that; returns the end of the lines.
    char* cutLines(std::span<char> room, char* from, std::size_t size, bool isEnd) {
        Part text{room.data(), from, room.data() + room.size() - kOverwrite, size};
        std::size_t column = m_state.column;
        m_inserts = false;
        while (text.size > 0 && (isEnd || text.size >= 2 * kLookAhead)) {
            std::size_t line = text.size;
            if constexpr (Rules::kHasHardBreaks) line = text.lineLength();
            const Cut cut = m_rules.cut({text.from, text.size}, line, column, isEnd);
            std::string_view after;
            char escape[kMostInserted + 1] = {};
            std::size_t read = cut.chars;
            column += cut.chars;
            switch (cut.end) {
                case Cut::End::kNone:
                    break;
                case Cut::End::kSoft:
                    after = m_rules.softBreak();
                    column = m_rules.columnAfterSoftBreak();
                    m_inserts = true;
                    break;
                case Cut::End::kHard:
                    after = m_rules.hardBreak();
                    read += 2;
                    column = 0;
                    break;
                case Cut::End::kEscape:
                    writeEscape(static_cast<unsigned char>(text.from[cut.chars]), escape);
                    after = {escape, kEscapeChars};
                    read += 1;
                    column += kEscapeChars;
                    break;
            }
            const std::size_t written = cut.chars + after.size();
            if (written > static_cast<std::size_t>(text.from - text.to) + read) text.makeGap();
            text.copy(cut.chars);
            text.insert(cut.chars, after);
            text.to += written;
            text.from += read;
            text.size -= read;
        }
        m_state.column = column;
        // All of it at once: there is memory to read from after the text.
        if (text.size > 0) std::memcpy(m_state.text, text.from, sizeof m_state.text);
        m_state.textSize = static_cast<unsigned char>(text.size);
        return text.to;
    }

    detail::EscapedState& m_state;
    const Rules& m_rules;
    bool m_inserts = false;  // whether the part before was of no use where it was written
};

}  // namespace contentcoding

#endif
