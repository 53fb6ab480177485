#include "support/Output.h"

#include <unistd.h>

#include <cerrno>

_zqOutput::~_zqOutput() = default;

namespace contentcoding {

StringBufferOutput::~StringBufferOutput() = default;

bool StringBufferOutput::writeBytes(const char* data, unsigned int n, _zqIoParams&, LogBase&) {
    return m_out->appendN(data, n);
}

FileOutput::~FileOutput() = default;

// How many bytes were taken; errno says why when there were fewer than `n`.
std::size_t FileOutput::writeSome(const char* data, unsigned int n) const {
    errno = 0;
    // When a write fails, the stream's own buffer may lose bytes that it has already taken.
    if (m_stream && std::fflush(m_stream) != 0) return 0;
    const int descriptor = m_stream ? ::fileno(m_stream) : m_descriptor;
    const ssize_t taken = ::write(descriptor, data, n);
    return taken < 0 ? 0 : static_cast<std::size_t>(taken);
}

bool FileOutput::writeBytes(const char* data, unsigned int n, _zqIoParams&, LogBase& log) {
    while (n > 0 && m_error == 0) {
        const auto taken = static_cast<unsigned int>(writeSome(data, n));
        data += taken;
        n -= taken;
        if (taken == 0 && errno != EINTR) {
            m_error = errno != 0 ? errno : EIO;
            log.LogError("Failed to write to the output file.");
        }
    }
    return m_error == 0;
}

}  // namespace contentcoding
