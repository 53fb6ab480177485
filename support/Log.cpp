#include "support/Log.h"

#include <algorithm>

#include "support/Ascii.h"
#include "support/CharsetForms.h"

namespace {

constexpr unsigned int kIndent = 2;

std::string_view textOf(const char* text) { return text ? std::string_view(text) : ""; }

bool appendView(std::string_view text, StringBuffer& line) {
    return line.appendN(text.data(), static_cast<unsigned int>(text.size()));
}

struct CharacterRange {
    char32_t first, last;
};

// Characters that end a line or change how the ones around them are shown: controls (C0, DEL and
// C1), line separators, and the controls of the Unicode Bidirectional Algorithm (UAX #9, 2).
constexpr CharacterRange kNotShown[] = {
    {0x00, 0x1F},     {0x7F, 0x9F},
    {0x061C, 0x061C}, {0x200E, 0x200F},
    {0x2028, 0x2029}, {0x202A, 0x202E},
    {0x2066, 0x2069}, {contentcoding::kIllFormed, contentcoding::kIllFormed},
};

bool isShown(char32_t c) {
    return std::none_of(
        std::begin(kNotShown), std::end(kNotShown),
        [c](const CharacterRange& range) { return c >= range.first && c <= range.last; });
}

bool appendEscaped(std::string_view bytes, StringBuffer& line) {
    return std::all_of(bytes.begin(), bytes.end(), [&line](char c) {
        const auto b = static_cast<unsigned char>(c);
        const char escape[] = {'\\', 'x', HexDigits[b >> 4], HexDigits[b & 0x0F]};
        return line.appendN(escape, sizeof escape);
    });
}

bool appendPrintable(std::string_view text, StringBuffer& line) {
    while (!text.empty()) {
        // No character is longer than its first bytes show, whatever the length of the text.
        const contentcoding::Decoded next =
            contentcoding::decodeUtf8(reinterpret_cast<const unsigned char*>(text.data()),
                                      static_cast<unsigned int>(std::min<std::size_t>(
                                          text.size(), contentcoding::kMaxEncoded)));
        const std::string_view bytes = text.substr(0, next.length);
        if (!(isShown(next.character) ? appendView(bytes, line) : appendEscaped(bytes, line)))
            return false;
        text.remove_prefix(next.length);
    }
    return true;
}

}  // namespace

LogBase::~LogBase() = default;

LogNull::~LogNull() = default;
void LogNull::LogError(const char*) {}
void LogNull::LogDataSb(const char*, const StringBuffer&) {}
void LogNull::enterContext(const char*) {}
void LogNull::leaveContext() {}

LogText::~LogText() = default;

void LogText::LogError(const char* text) { addEntry(textOf(text), "", ""); }

void LogText::LogDataSb(const char* name, const StringBuffer& value) {
    addEntry(textOf(name), ": ", value.view());
}

void LogText::enterContext(const char* name) {
    if (m_lost > 0 || !appendLine(textOf(name), ":", "", m_unused)) ++m_lost;
    ++m_depth;
}

void LogText::leaveContext() {
    if (m_depth == 0) return;
    --m_depth;
    if (m_lost > 0) {
        --m_lost;
        return;
    }
    // The context's own line is the last one, unless an entry has used it.
    const std::string_view unused = m_unused.view();
    if (unused.empty()) return;
    const auto lineStart = unused.substr(0, unused.size() - 1).rfind('\n') + 1;
    m_unused.shorten(static_cast<unsigned int>(unused.size() - lineStart));
}

// With the lines of its contexts, or not at all.
void LogText::addEntry(std::string_view name, std::string_view separator, std::string_view value) {
    const unsigned int contexts = m_unused.getSize();
    if (!appendLine(name, separator, value, m_unused)) return;
    if (m_text.append(m_unused))
        m_unused.weakClear();
    else
        m_unused.shorten(m_unused.getSize() - contexts);
}

bool LogText::appendLine(std::string_view name, std::string_view separator, std::string_view value,
                         StringBuffer& to) const {
    StringBuffer line;
    return line.appendCharN(' ', m_depth * kIndent) && appendPrintable(name, line) &&
           appendView(separator, line) && appendPrintable(value, line) && line.appendChar('\n') &&
           to.append(line);
}
