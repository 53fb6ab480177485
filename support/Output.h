#ifndef SUPPORT_OUTPUT_H
#define SUPPORT_OUTPUT_H

#include <cstdio>
#include <utility>

#include "support/Log.h"
#include "support/StringBuffer.h"

// Whatever a caller wants its sink to know about an operation. Coders pass it on with every
// block and never look at it; a sink that needs something derives its own from it.
class [[gnu::visibility("default")]] _zqIoParams{};

// A destination for bytes.
class [[gnu::visibility("default")]] _zqOutput {
public:
    _zqOutput() = default;
    _zqOutput(const _zqOutput&) = default;
    _zqOutput& operator=(const _zqOutput&) = default;
    virtual ~_zqOutput();

    // Takes `n` bytes, after everything taken before. False when they were not all taken or
    // the operation is to stop; the coder then writes no more and returns false itself.
    // `ioParams` and `log` are those of the coder's caller.
    virtual bool writeBytes(const char* data, unsigned int n, _zqIoParams& ioParams,
                            LogBase& log) = 0;
};

namespace contentcoding {

// Appends to a buffer of the caller's.
class [[gnu::visibility("default")]] StringBufferOutput final : public _zqOutput {
public:
    explicit StringBufferOutput(StringBuffer & out) : m_out(&out) {}
    ~StringBufferOutput() override;
    StringBufferOutput(const StringBufferOutput&) = default;
    StringBufferOutput& operator=(const StringBufferOutput&) = default;

    bool writeBytes(const char* data, unsigned int n, _zqIoParams& ioParams, LogBase& log) override;

private:
    StringBuffer* m_out;
};

// Writes to an open file descriptor, or to that of a stream, of the caller's, which stays open.
// What the stream holds is flushed first; nothing is left in it. Short writes and interrupted
// ones are continued. The first error is logged, kept, and final: nothing is
// written after it.
class [[gnu::visibility("default")]] FileOutput final : public _zqOutput {
public:
    explicit FileOutput(int descriptor) : m_descriptor(descriptor) {}

    // A stream over a file; one over memory has no descriptor, which is an error.
    explicit FileOutput(std::FILE * stream) : m_stream(stream) {}

    ~FileOutput() override;
    FileOutput(const FileOutput&) = default;
    FileOutput& operator=(const FileOutput&) = default;

    bool writeBytes(const char* data, unsigned int n, _zqIoParams& ioParams, LogBase& log) override;

    // The errno value of the first error; 0 while there was none.
    int error() const { return m_error; }

private:
    std::size_t writeSome(const char* data, unsigned int n) const;

    std::FILE* m_stream = nullptr;
    int m_descriptor = -1;
    int m_error = 0;
};

// Hands every block to a callable `bool(const char* data, unsigned int n)`.
template <class Function>
class CallableOutput final : public _zqOutput {
public:
    explicit CallableOutput(Function function) : m_function(std::move(function)) {}

    bool writeBytes(const char* data, unsigned int n, _zqIoParams&, LogBase&) override {
        return m_function(data, n);
    }

private:
    Function m_function;
};

}  // namespace contentcoding

#endif
