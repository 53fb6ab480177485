#include "tool/Interrupt.h"

#include <unistd.h>

namespace {

// All that end a program by default, but for those that report a fault in it, which leave it as it
// is for the debugger, and SIGXFSZ, which the tool ignores.
constexpr int kEndingSignals[] = {SIGHUP,  SIGINT,  SIGQUIT, SIGPIPE,   SIGALRM, SIGTERM,
                                  SIGUSR1, SIGUSR2, SIGXCPU, SIGVTALRM, SIGPROF};

// A signal handler may use little more than these, write and unlink.
char temporaryPath[4096];
volatile std::sig_atomic_t lineShown = 0;

extern "C" void undoAndDie(int signal) {
    constexpr char kErase[] = "\r\033[K";
    // Nothing can be done about a terminal that refuses.
    if (lineShown) static_cast<void>(!write(STDERR_FILENO, kErase, sizeof kErase - 1));
    if (temporaryPath[0] != '\0') unlink(temporaryPath);
    static_cast<void>(std::signal(signal, SIG_DFL));
    static_cast<void>(std::raise(signal));  // takes effect when this returns
}

sigset_t endingSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : kEndingSignals)
        sigaddset(&set, signal);
    return set;
}

void catchSignals() {
    struct sigaction action {};
    action.sa_handler = undoAndDie;
    action.sa_mask = endingSignals();
    action.sa_flags = SA_RESTART;
    for (const int signal : kEndingSignals) {
        struct sigaction before {};
        if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN)
            sigaction(signal, &action, nullptr);
    }
}

}  // namespace

void removeWhenInterrupted(const std::string& path) {
    if (path.size() >= sizeof temporaryPath) return;  // longer than any that can be opened
    const SignalsHeld held;
    temporaryPath[path.copy(temporaryPath, path.size())] = '\0';
    catchSignals();
}

void eraseLineWhenInterrupted(bool shown) {
    lineShown = shown;
    if (shown) catchSignals();
}

SignalsHeld::SignalsHeld() {
    const sigset_t ending = endingSignals();
    sigprocmask(SIG_BLOCK, &ending, &m_before);
}

SignalsHeld::~SignalsHeld() { sigprocmask(SIG_SETMASK, &m_before, nullptr); }
