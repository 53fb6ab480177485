#ifndef CODEC_STAGINGWRITER_H
#define CODEC_STAGINGWRITER_H

#include <cstring>
#include <string_view>

#include "support/Log.h"
#include "support/Output.h"
#include "support/StringBuffer.h"

// Private: block staging, and the destinations that a coder can write to.

namespace contentcoding {

// A destination takes one block and says whether it was taken.
struct ToText {
    StringBuffer& out;
    bool operator()(const char* p, unsigned int n) const { return out.appendN(p, n); }
};

struct ToOutput {
    _zqOutput& out;
    _zqIoParams& ioParams;
    LogBase& log;
    bool operator()(const char* p, unsigned int n) const {
        return out.writeBytes(p, n, ioParams, log);
    }
};

// Collects characters in a fixed array and hands them to a Sink in blocks, so that no
// destination sees single characters and nothing is allocated.
template <class Sink, unsigned int Capacity>
class StagingWriter {
public:
    explicit StagingWriter(Sink sink) : m_sink(sink) {}

    unsigned int held() const { return m_held; }

    // Room for `n` more characters, which the caller writes; held() + n must not exceed Capacity.
    char* extend(unsigned int n) {
        char* const room = m_block + m_held;
        m_held += n;
        return room;
    }

    void put(std::string_view text) {
        std::memcpy(extend(static_cast<unsigned int>(text.size())), text.data(), text.size());
    }

    // Hands over what is held when that is more than `limit`. False when it was refused.
    bool flushAbove(unsigned int limit) { return m_held <= limit || flush(); }

    // Hands over the rest. Nothing held counts as taken.
    bool finish() { return flushAbove(0); }

private:
    bool flush() {
        const unsigned int n = m_held;
        m_held = 0;
        return m_sink(m_block, n);
    }

    Sink m_sink;
    unsigned int m_held = 0;
    char m_block[Capacity];
};

}  // namespace contentcoding

#endif
