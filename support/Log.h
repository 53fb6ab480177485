#ifndef SUPPORT_LOG_H
#define SUPPORT_LOG_H

#include "support/StringBuffer.h"

// A caller's log. Operations report through it what went wrong; they never read it back. Texts
// are NUL-terminated and belong to the operation: a log that keeps one copies it.
class [[gnu::visibility("default")]] LogBase {
public:
    LogBase() = default;
    LogBase(const LogBase&) = default;
    LogBase& operator=(const LogBase&) = default;
    virtual ~LogBase();

    // Records one error line.
    virtual void LogError(const char* text) = 0;

    // Records one named value.
    virtual void LogDataSb(const char* name, const StringBuffer& value) = 0;

    // Opens and closes a context. Contexts nest; leaveContext closes the one opened last and
    // must not throw. LogContextExitor calls both.
    virtual void enterContext(const char* name) = 0;
    virtual void leaveContext() = 0;

    // Whether the log's owner asks for detailed entries.
    bool m_verboseLogging = false;

    // Option keywords. Keywords are found anywhere in the text, whatever their case.
    StringBuffer m_options;
};

// Drops everything.
class [[gnu::visibility("default")]] LogNull final : public LogBase {
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

// Keeps its entries as text, one line each, indented by two blanks for every open context:
//
//     decodeStarEncoded:
//       charset: koi8-r
//       Errors in decoding from the specified charset.
//
// A context without entries is not shown. Control characters and DEL are written as "\x0A", so that
// a hostile value cannot pose as another entry. An entry for which memory is short is dropped
// whole.
class [[gnu::visibility("default")]] LogText final : public LogBase {
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
    void addLine(std::string_view name, std::string_view separator, std::string_view value,
                 StringBuffer & to) const;

    StringBuffer m_text;
    StringBuffer m_unused;  // the lines of open contexts that have no entry yet
    unsigned int m_depth = 0;
};

// Keeps a context open in `log` for as long as it lives, whichever way its scope is left.
class [[gnu::visibility("default")]] LogContextExitor {
public:
    LogContextExitor(LogBase & log, const char* contextName) : m_log(log) {
        log.enterContext(contextName);
    }
    ~LogContextExitor() { m_log.leaveContext(); }
    LogContextExitor(const LogContextExitor&) = delete;
    LogContextExitor& operator=(const LogContextExitor&) = delete;

private:
    LogBase& m_log;
};

#endif
