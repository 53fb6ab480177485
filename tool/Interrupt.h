#ifndef TOOL_INTERRUPT_H
#define TOOL_INTERRUPT_H

#include <csignal>
#include <string>

// What is undone before a signal ends the run. Signals that the parent chose to ignore (nohup) stay
// ignored.

// The file of that path is removed.
void removeWhenInterrupted(const std::string& path);

// The terminal's current line is erased, as long as `shown` was last true.
void eraseLineWhenInterrupted(bool shown);

// Keeps back the signals that end the run for as long as it lives.
class SignalsHeld {
public:
    SignalsHeld();
    ~SignalsHeld();
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

private:
    sigset_t m_before;
};

#endif
