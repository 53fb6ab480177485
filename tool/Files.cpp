#include "tool/Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t kReadBytes = 1 << 20;
constexpr std::size_t kHeldBytes = 1 << 16;
constexpr std::size_t kWriteBytes = 1 << 30;

[[noreturn]] void failWith(const std::string& name, int error) {
    throw Failure(kFileError, name + ": " + std::strerror(error));
}

bool isStandard(const std::string& path) { return path == "-"; }

int openForReading(const std::string& path) {
    if (isStandard(path)) {
        // Where it is closed, the next file opened would take its place.
        if (fcntl(STDIN_FILENO, F_GETFD) < 0) failWith("standard input", errno);
        return STDIN_FILENO;
    }
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) failWith(path, errno);
    return descriptor;
}

// What is left to read of a regular file; 0 of anything else.
std::uint64_t sizeOf(int descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return 0;
    const off_t position = lseek(descriptor, 0, SEEK_CUR);
    if (position < 0 || position > status.st_size) return 0;
    return static_cast<std::uint64_t>(status.st_size - position);
}

// The temporary file's path for the signal handler, which may call little more than unlink.
char interruptedPath[4096];

extern "C" void removeAndDie(int signal) {
    unlink(interruptedPath);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

void removeWhenInterrupted(const std::string& path) {
    if (path.size() >= sizeof interruptedPath) return;
    path.copy(interruptedPath, path.size());
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGALRM}) {
        // What the parent chose to ignore (nohup) stays ignored.
        if (std::signal(signal, removeAndDie) == SIG_IGN) std::signal(signal, SIG_IGN);
    }
}

mode_t usualMode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

}  // namespace

Failure tooLong(const std::string& name, unsigned int limit) {
    return {kDataError,
            name + ": too long, this takes at most " + std::to_string(limit) + " bytes"};
}

Source::Source(const std::string& path, bool showProgress)
    : m_name(isStandard(path) ? "standard input" : path),
      m_descriptor(openForReading(path)),
      m_size(sizeOf(m_descriptor)),
      m_progress(showProgress, m_size) {}

Source::~Source() {
    if (m_descriptor != STDIN_FILENO) close(m_descriptor);
}

std::size_t Source::read(char* bytes, std::size_t n) {
    std::size_t got = 0;
    while (got < n) {
        const ssize_t some = ::read(m_descriptor, bytes + got, n - got);
        if (some < 0 && errno == EINTR) continue;
        if (some < 0) failWith(m_name, errno);
        if (some == 0) break;
        got += static_cast<std::size_t>(some);
        m_progress.advance(static_cast<std::uint64_t>(some));
    }
    return got;
}

StringBuffer Source::readAll(unsigned int limit) {
    if (m_size > limit) throw tooLong(m_name, limit);
    StringBuffer all;
    bool fits = all.expectNumBytes(static_cast<unsigned int>(m_size));
    std::vector<char> block(kReadBytes);
    for (std::size_t n = block.size(); fits && n == block.size();) {
        n = read(block.data(), block.size());
        if (n > limit - all.getSize()) throw tooLong(m_name, limit);
        fits = all.appendN(block.data(), static_cast<unsigned int>(n));
    }
    if (!fits) throw Failure(kDataError, m_name + ": not enough memory");
    return all;
}

Destination::Destination(const std::string& path)
    : m_name(isStandard(path) ? "standard output" : path) {
    if (isStandard(path)) return;
    struct stat status {};
    const bool exists = ::stat(path.c_str(), &status) == 0;
    if (exists && S_ISDIR(status.st_mode)) fail(EISDIR);
    if (exists && !S_ISREG(status.st_mode)) {
        m_descriptor = open(path.c_str(), O_WRONLY | O_CLOEXEC);
        if (m_descriptor < 0) fail(errno);
    } else {
        if (exists && access(path.c_str(), W_OK) != 0) fail(errno);
        // The file itself is replaced, not a link to it.
        char* const resolved = exists ? realpath(path.c_str(), nullptr) : nullptr;
        m_path = resolved ? resolved : path;
        std::free(resolved);
        openTemporary();
        fchmod(m_descriptor, exists ? status.st_mode & 07777 : usualMode());
    }
    m_output = contentcoding::FileOutput(m_descriptor);
}

Destination::~Destination() { discard(); }

void Destination::openTemporary() {
    const auto folder = m_path.rfind('/') + 1;  // 0 when there is none
    m_temporary = m_path.substr(0, folder) + ".contentcode-XXXXXX";
    m_descriptor = mkostemp(m_temporary.data(), O_CLOEXEC);
    if (m_descriptor < 0) {
        m_temporary.clear();
        fail(errno);
    }
    removeWhenInterrupted(m_temporary);
}

void Destination::fail(int error) const { failWith(m_name, error); }

void Destination::write(std::string_view bytes) {
    if (m_held.size() + bytes.size() > kHeldBytes) {
        writeNow(m_held);
        m_held.clear();
    }
    if (bytes.size() > kHeldBytes)
        writeNow(bytes);
    else
        m_held += bytes;
}

void Destination::writeNow(std::string_view bytes) {
    _zqIoParams ioParams;
    LogNull log;
    while (!bytes.empty()) {
        const auto n = std::min(bytes.size(), kWriteBytes);
        if (!m_output.writeBytes(bytes.data(), static_cast<unsigned int>(n), ioParams, log))
            fail(m_output.error());
        bytes.remove_prefix(n);
    }
}

void Destination::commit() {
    writeNow(m_held);
    if (close(std::exchange(m_descriptor, -1)) != 0) fail(errno);
    if (m_temporary.empty()) return;
    if (std::rename(m_temporary.c_str(), m_path.c_str()) != 0) fail(errno);
    m_temporary.clear();
}

void Destination::discard() {
    if (m_descriptor >= 0 && m_descriptor != STDOUT_FILENO) close(m_descriptor);
    if (!m_temporary.empty()) unlink(m_temporary.c_str());
}
