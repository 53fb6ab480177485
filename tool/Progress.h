#ifndef TOOL_PROGRESS_H
#define TOOL_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <string>

// A line on standard error that shows how much of the input was read, if that is a terminal
// and the work takes longer than a moment.
class Progress {
public:
    // `total` is 0 where it is not known.
    Progress(bool wanted, std::uint64_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void advance(std::uint64_t bytes);

private:
    using Clock = std::chrono::steady_clock;

    bool m_wanted;
    std::uint64_t m_total;
    std::uint64_t m_done = 0;
    Clock::time_point m_next;
};

// Writes a message to standard error, in place of the progress line if one is shown. Untrusted
// text in it must have been made visible.
void report(const std::string& message);

#endif
