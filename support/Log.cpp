#include "support/Log.h"

#include "support/Ascii.h"

namespace {

constexpr unsigned int kIndent = 2;

std::string_view textOf(const char* text) { return text ? std::string_view(text) : ""; }

bool appendView(std::string_view text, StringBuffer& line) {
    return line.appendN(text.data(), static_cast<unsigned int>(text.size()));
}

bool appendPrintable(std::string_view text, StringBuffer& line) {
    for (const char c : text) {
        const auto b = static_cast<unsigned char>(c);
        const bool control = b < 0x20 || b == 0x7F;
        const char escape[] = {'\\', 'x', HexDigits[b >> 4], HexDigits[b & 15]};
        if (!(control ? line.appendN(escape, sizeof escape) : line.appendChar(c))) return false;
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
    addLine(textOf(name), ":", "", m_unused);
    ++m_depth;
}

void LogText::leaveContext() {
    if (m_depth == 0) return;
    --m_depth;
    // The context's own line is the last one, if nothing was entered since.
    const std::string_view unused = m_unused.view();
    if (unused.empty()) return;
    const auto lineStart = unused.substr(0, unused.size() - 1).rfind('\n') + 1;
    m_unused.shorten(static_cast<unsigned int>(unused.size() - lineStart));
}

void LogText::addEntry(std::string_view name, std::string_view separator, std::string_view value) {
    if (m_text.append(m_unused)) m_unused.weakClear();
    addLine(name, separator, value, m_text);
}

void LogText::addLine(std::string_view name, std::string_view separator, std::string_view value,
                      StringBuffer& to) const {
    StringBuffer line;
    if (line.appendCharN(' ', m_depth * kIndent) && appendPrintable(name, line) &&
        appendView(separator, line) && appendPrintable(value, line) && line.appendChar('\n'))
        to.append(line);
}
