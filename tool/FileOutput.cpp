#include "tool/FileOutput.h"

#include <unistd.h>

#include <cerrno>

bool FileOutput::writeBytes(const char* data, unsigned int n, _zqIoParams&, LogBase& log) {
    while (n > 0 && m_error == 0) {
        errno = 0;
        const ssize_t taken = ::write(m_descriptor, data, n);
        if (taken > 0) {
            data += taken;
            n -= static_cast<unsigned int>(taken);
        } else if (errno != EINTR) {
            m_error = errno != 0 ? errno : EIO;
            log.LogError("Failed to write to the output file.");
        }
    }
    return m_error == 0;
}
