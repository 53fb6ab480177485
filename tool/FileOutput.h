#ifndef TOOL_FILEOUTPUT_H
#define TOOL_FILEOUTPUT_H

#include "support/Output.h"

// Writes to an open file descriptor, which stays open. Short writes and interrupted ones are
// continued. The first error is logged, kept, and final: nothing is written after it.
class FileOutput final : public _zqOutput {
public:
    explicit FileOutput(int descriptor) : m_descriptor(descriptor) {}

    [[nodiscard]] bool writeBytes(const char* data, unsigned int n, _zqIoParams& ioParams,
                                  LogBase& log) override;

    // The errno value of the first error; 0 if there was none.
    int error() const { return m_error; }

private:
    int m_descriptor;
    int m_error = 0;
};

#endif
