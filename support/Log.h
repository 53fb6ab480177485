#ifndef SUPPORT_LOG_H
#define SUPPORT_LOG_H

#include "contentcoding/export.hpp"
#include "support/StringBuffer.h"

// A caller's log. Operations report to it what went wrong; they never read an entry back. Texts
// are NUL-terminated and belong to the operation: a log that keeps one copies it.
class CONTENTCODING_EXPORT LogBase {
public:
    LogBase() = default;
    LogBase(const LogBase&) = default;
    LogBase& operator=(const LogBase&) = default;
    virtual ~LogBase();

    // Records one error line.
    virtual void LogError(const char* text) = 0;

    // Records one named value.
    virtual void LogDataSb(const char* name, const StringBuffer& value) = 0;

    // Open and close a context. Contexts nest: leaveContext closes the one opened last. It must
    // not throw. LogContextExitor calls both.
    virtual void enterContext(const char* name) = 0;
    virtual void leaveContext() = 0;

    // Whether the log's owner asks for detailed entries.
    bool m_verboseLogging = false;

    // Option keywords, found anywhere in the text and in either case.
    StringBuffer m_options;
};

// Drops everything.
class CONTENTCODING_EXPORT LogNull final : public LogBase {
public:
    LogNull() = default;
    LogNull(const LogNull&) = default;
    LogNull& operator=(const LogNull&) = default;
    ~LogNull() override;

    void LogError(const char* text) override;
    void LogDataSb(const char* name, const StringBuffer& value) override;
    void enterContext(const char* name) override;
    void leaveContext() override;
};

// Keeps its entries as text, one line each, indented by two spaces for every open context:
//
//     decodeStarEncoded:
//       charset: koi8-r
//       Errors in decoding from the specified charset.
//
// A context without entries is not shown. So that a hostile value cannot pose as another entry,
// each byte of a control character (U+0000 to U+001F, U+007F to U+009F), of U+2028 and U+2029, of a
// bidirectional control and of ill-formed UTF-8 is written as "\x0A". If memory is short for an
// entry with the lines of its contexts, it is dropped whole; if memory is short for a context, it
// is not shown, nor are contexts inside it.
class CONTENTCODING_EXPORT LogText final : public LogBase {
public:
    LogText() = default;
    LogText(const LogText&) = default;
    LogText& operator=(const LogText&) = default;
    ~LogText() override;

    void LogError(const char* text) override;
    void LogDataSb(const char* name, const StringBuffer& value) override;
    void enterContext(const char* name) override;
    void leaveContext() override;

    // The entries so far, each ended by a line feed; valid until the log next changes.
    const StringBuffer& text() const { return m_text; }
    void clear() { m_text.weakClear(); }

private:
    void addEntry(std::string_view name, std::string_view separator, std::string_view value);
    [[nodiscard]] bool appendLine(std::string_view name, std::string_view separator,
                                  std::string_view value, StringBuffer& to) const;

    StringBuffer m_text;
    StringBuffer m_unused;  // the lines of open contexts that have no entry yet
    unsigned int m_depth = 0;
    unsigned int m_lost = 0;  // how many of the open contexts, the innermost ones, have no line
};

// Keeps a context open in `log` for as long as it lives, however its scope is left.
class CONTENTCODING_EXPORT LogContextExitor {
public:
    LogContextExitor(LogBase& log, const char* contextName) : m_log(log) {
        log.enterContext(contextName);
    }
    ~LogContextExitor() { m_log.leaveContext(); }
    LogContextExitor(const LogContextExitor&) = delete;
    LogContextExitor& operator=(const LogContextExitor&) = delete;

private:
    LogBase& m_log;
};

#endif
