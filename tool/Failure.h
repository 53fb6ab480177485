#ifndef TOOL_FAILURE_H
#define TOOL_FAILURE_H

#include <stdexcept>
#include <string>

// The exit statuses of the tool. A signal adds its own: 141 (SIGPIPE) when the reader of the output
// has gone.
enum ExitStatus { kSuccess = 0, kDataError = 1, kUsageError = 2, kFileError = 3 };

// Ends the run: the message goes to standard error, the status to the shell. Untrusted text in it
// must have been made visible.
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus status, const std::string& message)
        : std::runtime_error(message), m_status(status) {}
    ExitStatus status() const { return m_status; }

private:
    ExitStatus m_status;
};

#endif
