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

constexpr std::size_t kEscapeChars = 3;

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

// Escapes bytes and cuts the text into lines, where it ends up: the text of a part is written into
// the window, and as long as nothing is to be inserted, stays there. Then what is left of it moves
// to the far end of the window, and comes back line by line.
//
// A Rules object has
//   escape(bytes, n, isEnd, text, room)   as Kernels::escape; leaves *held bytes at the end alone
//   cut(text, column, isEnd)              what is next; at least kLookAhead characters are shown
//                                         after it, but for the end of the text
//   softBreak(), hardBreak()              what is inserted, or written for CRLF: 3 and 2 characters
//                                         at most
//   columnAfterSoftBreak()
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
            if (!writeAll(joined, before + more, false, out)) return false;
            p += more;
            n -= more;
            if (n == 0) return true;
            p -= m_state.heldCount;
            n += m_state.heldCount;
        }
        return writeAll(p, n, false, out);
    }

    [[nodiscard]] bool end(Window& out) {
        unsigned char last[sizeof m_state.held];
        const std::size_t n = m_state.heldCount;
        std::memcpy(last, m_state.held, sizeof last);
        const bool written = writeAll(last, n, true, out);
        m_state = {};
        return written;
    }

private:
    // Less than a block of the class, so that a part fills no more than one.
    static constexpr std::size_t kPartChars = 1500;

    bool writeAll(const unsigned char* p, std::size_t n, bool isEnd, Window& out) {
        m_state.heldCount = 0;
        do {
            const std::span<char> room = out.room(Window::kMostAsked);
            if (room.empty()) return false;
            char* const text = room.data();
            std::size_t size = m_state.textSize;
            std::memcpy(text, m_state.text, sizeof m_state.text);
            const std::size_t part = partSize(room.size());
            unsigned char held = 0;
            const auto done = m_rules.escape(p, n, isEnd, text + size, part - size, held);
            p += done.read;
            n -= done.read;
            size += done.written;
            if (held > 0 && n == held) {
                std::memcpy(m_state.held, p, held);
                m_state.heldCount = held;
                n = 0;
            }
            out.wrote(cutLines(text, size, isEnd && n == 0, room.data() + room.size()));
        } while (n > 0);
        return true;
    }

    // How much text is written before it is cut. What is inserted is less than what was there: a
    // line break of 3 characters at most for each 7, or 2 characters for the 3 of ".", CR, LF.
    static std::size_t partSize(std::size_t room) {
        return std::min((room - kOverwrite - kEscapeRoom) / 2, kPartChars);
    }

    // Cuts the text at `text`, and keeps what is too short for that. Returns how much is written.
    std::size_t cutLines(char* const text, std::size_t size, bool isEnd, char* const roomEnd) {
        char* to = text;
        const char* from = text;
        while (size > 0 && (isEnd || size >= 2 * kLookAhead)) {
            const Cut cut = m_rules.cut({from, size}, m_state.column, isEnd);
            const auto [read, inserted] = effectOf(cut);
            const std::size_t written = cut.chars + inserted.size();
            if (written > static_cast<std::size_t>(from - to) + read) {
                char* const far = roomEnd - size;
                std::memmove(far, from, size);
                from = far;
            }
            if (to != from) std::memmove(to, from, cut.chars);
            char escape[kEscapeChars];
            std::string_view after = inserted;
            if (cut.end == Cut::End::kEscape) {
                writeEscape(static_cast<unsigned char>(from[cut.chars]), escape);
                after = {escape, kEscapeChars};
            }
            after.copy(to + cut.chars, after.size());
            to += written;
            from += read;
            size -= read;
            m_state.column = cut.end == Cut::End::kSoft   ? m_rules.columnAfterSoftBreak()
                             : cut.end == Cut::End::kHard ? 0
                                                          : m_state.column + written;
        }
        std::memcpy(m_state.text, from, size);
        m_state.textSize = static_cast<unsigned char>(size);
        return static_cast<std::size_t>(to - text);
    }

    struct Effect {
        std::size_t read;
        std::string_view inserted;
    };

    Effect effectOf(const Cut& cut) const {
        switch (cut.end) {
            case Cut::End::kSoft:
                return {cut.chars, m_rules.softBreak()};
            case Cut::End::kHard:
                return {cut.chars + 2, m_rules.hardBreak()};
            case Cut::End::kEscape:
                return {cut.chars + 1, "=XX"};
            default:
                return {cut.chars, ""};
        }
    }

    detail::EscapedState& m_state;
    const Rules& m_rules;
};

}  // namespace contentcoding

#endif
