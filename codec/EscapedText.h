#ifndef CODEC_ESCAPEDTEXT_H
#define CODEC_ESCAPEDTEXT_H

#include <algorithm>
#include <cstring>
#include <string_view>

#include "codec/kernels/Kernels.h"

// Private: what a coder that escapes bytes writes, before it is cut into lines.

namespace contentcoding {

// The text of some bytes, a part at a time.
class EscapedText {
public:
    // How much next() shows at least, but for the end of the text.
    static constexpr std::size_t kLookAhead = 16;

    EscapedText(const void* data, unsigned int len, const EscapeRules& escapes)
        : m_escapes(escapes), m_bytes(static_cast<const unsigned char*>(data)), m_left(len) {}

    // Whole units: characters, escapes and line breaks. Empty at the end of the text only. Behind
    // them, kOverwrite more characters can be read.
    std::string_view next() {
        if (m_next.size() < 2 * kLookAhead && m_left > 0) refill();
        return m_next;
    }
    // Whether what next() shows is all that is left.
    bool showsEnd() const { return m_left == 0; }
    void skip(std::size_t n) { m_next.remove_prefix(n); }

    // Where the next line break is in what next() shows; its size where there is none.
    std::size_t lineEnd() {
        if (m_lineEnd < m_next.data()) {
            const std::size_t at = std::min(m_next.find('\r'), m_next.size());
            m_lineEnd = m_next.data() + at;
        }
        return static_cast<std::size_t>(m_lineEnd - m_next.data());
    }

private:
    void refill() {
        const std::size_t held = m_next.size();
        if (held > 0) std::memmove(m_part, m_next.data(), held);
        const auto done =
            kernels().escape(m_bytes, m_left, m_escapes, m_part + held, kPartChars - held);
        m_bytes += done.read;
        m_left -= done.read;
        m_next = {m_part, held + done.written};
        m_lineEnd = nullptr;
    }

    // Less than a block, so that a part fills no more than one.
    static constexpr std::size_t kPartChars = 1500;

    const EscapeRules& m_escapes;
    const unsigned char* m_bytes;
    std::size_t m_left;
    char m_part[kPartChars + kOverwrite];
    std::string_view m_next;
    const char* m_lineEnd = nullptr;  // where lineEnd() was last; known when that is not passed yet
};

}  // namespace contentcoding

#endif
