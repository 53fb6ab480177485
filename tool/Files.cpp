#include "tool/Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include "tool/Interrupt.h"
#include "tool/Visible.h"

namespace {

constexpr std::size_t kReadBytes = 1 << 20;
constexpr std::size_t kHeldBytes = 1 << 16;
constexpr std::size_t kWriteBytes = 1 << 30;

[[noreturn]] void failWith(const std::string& name, int error) {
    throw Failure(kFileError, name + ": " + std::strerror(error));
}

bool isStandard(const std::string& path) { return path == "-"; }

int openForReading(const std::string& path) {
    if (isStandard(path)) return STDIN_FILENO;
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) failWith(visible(path), errno);
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

mode_t usualMode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

// Gives a new file what the one that it replaces has, as far as permitted. What fails leaves it
// more private, which does no harm.
void takeOver(int descriptor, const struct stat& old) {
    mode_t mode = old.st_mode & 0777;
    constexpr auto kSameOwner = static_cast<uid_t>(-1);
    if (fchown(descriptor, old.st_uid, old.st_gid) != 0 &&
        fchown(descriptor, kSameOwner, old.st_gid) != 0) {
        // Another group may do no more than everybody.
        mode &= S_IRWXU | S_IRWXO | (mode & S_IRWXO) << 3;
    }
    fchmod(descriptor, mode);
}

std::string resolved(const std::string& path) {
    char* const real = realpath(path.c_str(), nullptr);
    std::string result = real ? real : "";
    std::free(real);
    return result;
}

// The descriptor of this process that the path names, be it by links such as /dev/stdout; -1 when
// it names none. Opening such a path would give a descriptor of its own, without the position and
// the append mode that the shell has set.
int descriptorNamed(std::string path) {
    constexpr int kMostLinks = 40;
    const std::string own = "/proc/" + std::to_string(getpid()) + "/fd";
    for (int links = 0; links < kMostLinks; ++links) {
        if (path == "/dev/stdout") return STDOUT_FILENO;
        if (path == "/dev/stderr") return STDERR_FILENO;
        const auto nameAt = path.rfind('/') + 1;  // 0 when there is none
        const std::string folder = path.substr(0, nameAt);
        const std::string realFolder = resolved(folder.empty() ? "." : folder);
        if (realFolder == own || realFolder == "/dev/fd") {
            int descriptor = -1;
            const char* const end = path.data() + path.size();
            const auto parsed = std::from_chars(path.data() + nameAt, end, descriptor);
            return parsed.ec == std::errc() && parsed.ptr == end ? descriptor : -1;
        }
        char target[PATH_MAX];
        const ssize_t n = readlink(path.c_str(), target, sizeof target);
        if (n <= 0) return -1;
        const std::string next(target, static_cast<std::size_t>(n));
        path = next.starts_with('/') ? next : folder + next;
    }
    return -1;
}

// A file without a name, which is gone when it is closed; -1 and errno when there is none.
int openNameless() {
    std::FILE* const file = std::tmpfile();
    if (!file) return -1;
    const int descriptor = fcntl(fileno(file), F_DUPFD_CLOEXEC, 0);
    static_cast<void>(std::fclose(file));  // nothing was written
    return descriptor;
}

// Waits until the file is on the disk; some file systems cannot tell.
[[nodiscard]] bool onDisk(int descriptor) { return fsync(descriptor) == 0 || errno == EINVAL; }

}  // namespace

bool occupyStandardDescriptors() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) >= 0) continue;
        // The lowest free descriptor is this one. It is opened in the wrong direction.
        if (open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY) != descriptor)
            return false;
    }
    return true;
}

Failure tooLong(const std::string& name, unsigned int limit) {
    return {kDataError,
            name + ": too long, this takes at most " + std::to_string(limit) + " bytes"};
}

Source::Source(const std::string& path, bool showProgress)
    : m_name(isStandard(path) ? "standard input" : visible(path)),
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
    : m_name(isStandard(path) ? "standard output" : visible(path)) {
    if (isStandard(path)) return;
    struct stat status {};
    const bool exists = ::stat(path.c_str(), &status) == 0;
    const int named = descriptorNamed(path);
    if (named >= 0) {
        m_descriptor = fcntl(named, F_DUPFD_CLOEXEC, 0);
    } else if (exists && !S_ISREG(status.st_mode)) {
        m_descriptor = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    } else {
        if (exists && access(path.c_str(), W_OK) != 0) fail(errno);
        // The file itself is replaced, not a link to it.
        if (exists) m_path = resolved(path);
        if (m_path.empty()) m_path = path;
        m_replaces = exists;
        openTemporary();
        if (exists)
            takeOver(m_descriptor, status);
        else
            fchmod(m_descriptor, usualMode());
    }
    if (m_descriptor < 0) fail(errno);
    m_output = FileOutput(m_descriptor);
}

Destination::~Destination() {
    if (m_descriptor >= 0 && m_descriptor != STDOUT_FILENO) close(m_descriptor);
    if (!m_temporary.empty()) unlink(m_temporary.c_str());
}

void Destination::openTemporary() {
    const auto folder = m_path.rfind('/') + 1;  // 0 when there is none
    std::string temporary = m_path.substr(0, folder) + ".contentcode-XXXXXX";
    const SignalsHeld held;  // none finds the file there and its path not noted
    m_descriptor = mkostemp(temporary.data(), O_CLOEXEC);
    if (m_descriptor >= 0) {
        removeWhenInterrupted(temporary);
        m_temporary = std::move(temporary);
    } else if (m_replaces) {
        m_descriptor = openNameless();
    }
    if (m_descriptor < 0) fail(errno);
}

void Destination::fail(int error) const { failWith(m_name, error); }

void Destination::write(std::string_view bytes) {
    if (m_held.size() + bytes.size() > kHeldBytes) flush();
    if (bytes.size() > kHeldBytes)
        writeNow(bytes);
    else
        m_held += bytes;
}

void Destination::flush() {
    writeNow(m_held);
    m_held.clear();
}

bool Destination::isTerminal() const { return isatty(m_descriptor) == 1; }

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
    flush();
    if (!m_path.empty()) putInPlace();
    if (close(std::exchange(m_descriptor, -1)) != 0) fail(errno);
}

void Destination::putInPlace() {
    // A crash of the machine must not leave the name without the content.
    if (!onDisk(m_descriptor)) fail(errno);
    if (!m_temporary.empty()) {
        if (std::rename(m_temporary.c_str(), m_path.c_str()) == 0) {
            m_temporary.clear();
            return;
        }
        // Not to be replaced: in a folder such as /tmp, a file of another owner; a mount point.
        const bool kept = errno == EACCES || errno == EPERM || errno == EBUSY;
        if (!m_replaces || !kept) fail(errno);
    }
    copyInPlace();
}

void Destination::copyInPlace() {
    const int complete = m_descriptor;
    m_descriptor = open(m_path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    if (m_descriptor < 0) fail(errno);
    m_output = FileOutput(m_descriptor);
    std::vector<char> block(kReadBytes);
    off_t done = 0;
    for (ssize_t n; (n = pread(complete, block.data(), block.size(), done)) != 0; done += n) {
        if (n < 0) fail(errno);
        writeNow({block.data(), static_cast<std::size_t>(n)});
    }
    close(complete);
    if (!onDisk(m_descriptor)) fail(errno);
}
