#include "tool/Progress.h"

#include <unistd.h>

#include <cstdio>

#include "tool/Interrupt.h"

namespace {

constexpr auto kQuietTime = std::chrono::seconds(1);
constexpr auto kInterval = std::chrono::milliseconds(200);
constexpr double kMiB = 1024.0 * 1024.0;

bool lineShown = false;

// What cannot be written to standard error cannot be reported either.
void eraseLine() {
    if (!lineShown) return;
    (void)std::fputs("\r\033[K", stderr);
    lineShown = false;
    eraseLineWhenInterrupted(false);
}

}  // namespace

Progress::Progress(bool wanted, std::uint64_t total)
    : m_wanted(wanted && isatty(STDERR_FILENO)),
      m_total(total),
      m_next(Clock::now() + kQuietTime) {}

Progress::~Progress() { eraseLine(); }

void Progress::advance(std::uint64_t bytes) {
    m_done += bytes;
    if (!m_wanted || Clock::now() < m_next) return;
    m_next = Clock::now() + kInterval;
    lineShown = true;
    eraseLineWhenInterrupted(true);
    const double done = static_cast<double>(m_done), total = static_cast<double>(m_total);
    if (m_done <= m_total)
        (void)std::fprintf(stderr, "\r%.0f of %.0f MiB (%.0f %%)\033[K", done / kMiB, total / kMiB,
                           100 * done / total);
    else
        (void)std::fprintf(stderr, "\r%.0f MiB\033[K", done / kMiB);
    (void)std::fflush(stderr);
}

void report(const std::string& message) {
    eraseLine();
    (void)std::fprintf(stderr, "contentcode: %s\n", message.c_str());
}
