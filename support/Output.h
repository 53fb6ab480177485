#ifndef SUPPORT_OUTPUT_H
#define SUPPORT_OUTPUT_H

#include <utility>

#include "contentcoding/export.hpp"
#include "support/Log.h"
#include "support/StringBuffer.h"

// What a caller wants its sink to know about an operation. Coders pass it on with every block and
// never look at it; a sink that needs something derives its own from it.
class CONTENTCODING_EXPORT _zqIoParams {};

// A destination for bytes.
class CONTENTCODING_EXPORT _zqOutput {
public:
    _zqOutput() = default;
    _zqOutput(const _zqOutput&) = default;
    _zqOutput& operator=(const _zqOutput&) = default;
    virtual ~_zqOutput();

    // Takes `n` bytes, after everything taken before. False when not all of them were taken, or
    // when the operation is to stop; the coder then writes no more and returns false itself.
    // `ioParams` and `log` are those of the coder's caller.
    [[nodiscard]] virtual bool writeBytes(const char* data, unsigned int n, _zqIoParams& ioParams,
                                          LogBase& log) = 0;
};

namespace contentcoding {

// Appends to a buffer of the caller's.
class CONTENTCODING_EXPORT StringBufferOutput final : public _zqOutput {
public:
    explicit StringBufferOutput(StringBuffer& out) : m_out(&out) {}
    ~StringBufferOutput() override;
    StringBufferOutput(const StringBufferOutput&) = default;
    StringBufferOutput& operator=(const StringBufferOutput&) = default;

    [[nodiscard]] bool writeBytes(const char* data, unsigned int n, _zqIoParams& ioParams,
                                  LogBase& log) override;

private:
    StringBuffer* m_out;
};

// Hands every block to a callable `bool(const char* data, unsigned int n)`.
template <class Function>
class CallableOutput final : public _zqOutput {
public:
    explicit CallableOutput(Function function) : m_function(std::move(function)) {}

    [[nodiscard]] bool writeBytes(const char* data, unsigned int n, _zqIoParams&,
                                  LogBase&) override {
        return m_function(data, n);
    }

private:
    Function m_function;
};

}  // namespace contentcoding

#endif
