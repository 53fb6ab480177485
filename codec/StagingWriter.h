#ifndef CODEC_STAGINGWRITER_H
#define CODEC_STAGINGWRITER_H

#include <algorithm>
#include <cstring>
#include <string_view>

#include "codec/kernels/Kernels.h"
#include "support/Ascii.h"
#include "support/DataBuffer.h"
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

struct ToBytes {
    DataBuffer& out;
    bool operator()(const char* p, unsigned int n) const { return out.append(p, n); }
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
// destination sees single characters and nothing is allocated. A refused block is gone, and
// remembered in ok(); whether it ends the work is the coder's decision.
template <class Sink, unsigned int Capacity>
class StagingWriter {
public:
    explicit StagingWriter(Sink sink) : m_sink(sink) {}

    // Whether every block was taken.
    bool ok() const { return m_ok; }

    unsigned int held() const { return m_held; }

    // ---- For coders whose blocks are full arrays: an array is handed over when it is full ----

    // How many characters fill the array.
    unsigned int room() const { return Capacity - m_held; }

    void put(std::string_view text) {
        if (text.size() < room()) {
            std::memcpy(m_block + m_held, text.data(), text.size());
            m_held += static_cast<unsigned int>(text.size());
        } else {
            putBlocks(text);
        }
    }

    // The same for short text behind which kOverwrite more characters can be read: without a call.
    void putReadable(std::string_view text) {
        if (text.size() < room()) {
            char* const to = m_block + m_held;
            for (std::size_t i = 0; i < text.size(); i += kOverwrite)
                std::memcpy(to + i, text.data() + i, kOverwrite);
            m_held += static_cast<unsigned int>(text.size());
        } else {
            putBlocks(text);
        }
    }

    void put(char c) {
        m_block[m_held++] = c;
        if (m_held == Capacity) flush();
    }

    // "=" and the two digits of `b`.
    void putEscape(unsigned char b) {
        char escape[3];
        writeEscape(b, escape);
        put({escape, sizeof escape});
    }

    // Where a kernel may write room() characters, and its slack behind; it has written `n`.
    char* next() { return m_block + m_held; }
    void advance(std::size_t n) {
        m_held += static_cast<unsigned int>(n);
        if (m_held == Capacity) flush();
    }

    // ---- For coders that never split a group: they ask for a flush between groups ----

    // Room for `n` more characters, which the caller writes; held() + n must not exceed Capacity.
    char* extend(unsigned int n) {
        char* const room = m_block + m_held;
        m_held += n;
        return room;
    }

    // Hands over what is held when that is more than `limit`. False when it was refused.
    bool flushAbove(unsigned int limit) { return m_held <= limit || flush(); }

    // Hands over the rest. Nothing held counts as taken.
    bool finish() { return flushAbove(0); }

private:
    void putBlocks(std::string_view text) {
        while (!text.empty()) {
            const std::size_t n = std::min<std::size_t>(text.size(), room());
            std::memcpy(m_block + m_held, text.data(), n);
            m_held += static_cast<unsigned int>(n);
            if (m_held == Capacity) flush();
            text.remove_prefix(n);
        }
    }

    bool flush() {
        const unsigned int n = m_held;
        m_held = 0;
        const bool taken = m_sink(m_block, n);
        m_ok = m_ok && taken;
        return taken;
    }

    Sink m_sink;
    bool m_ok = true;
    unsigned int m_held = 0;
    char m_block[Capacity + kOverwrite];
};

}  // namespace contentcoding

#endif
