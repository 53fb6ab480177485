#include "support/Output.h"

_zqOutput::~_zqOutput() = default;

namespace contentcoding {

StringBufferOutput::~StringBufferOutput() = default;

bool StringBufferOutput::writeBytes(const char* data, unsigned int n, _zqIoParams&, LogBase&) {
    return m_out->appendN(data, n);
}

}  // namespace contentcoding
