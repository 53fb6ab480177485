#ifndef SUPPORT_BUFFERACCESS_H
#define SUPPORT_BUFFERACCESS_H

#include <cassert>

#include "support/DataBuffer.h"
#include "support/StringBuffer.h"

// Private: the doors of the buffers through which their own memory is written.

namespace contentcoding {

class BufferAccess {
public:
    // How many bytes fit behind the present ones without another allocation.
    template <class Buffer>
    static unsigned int spare(const Buffer& buffer) {
        return buffer.m_storage.capacity() - buffer.m_storage.size();
    }

    // Where these bytes go; null while nothing was ever held.
    template <class Buffer>
    static char* end(Buffer& buffer) {
        char* const bytes = buffer.m_storage.bytes();
        return bytes ? bytes + buffer.m_storage.size() : nullptr;
    }

    // Room for `n` more bytes, or false.
    template <class Buffer>
    [[nodiscard]] static bool reserve(Buffer& buffer, std::uint64_t n) {
        return n <= ByteStorage::kMaxSize && buffer.m_storage.reserve(static_cast<unsigned int>(n));
    }

    template <class Buffer>
    [[nodiscard]] static bool append(Buffer& buffer, const char* data, unsigned int n) {
        const bool appended = buffer.m_storage.append(data, n);
        terminate(buffer);
        return appended;
    }

    // Says that `n` bytes are held: fewer than before, or more that were written where end() was.
    // What follows them stays as it is: terminate() is due before anyone else sees the buffer.
    template <class Buffer>
    static void setSize(Buffer& buffer, unsigned int n) {
        assert(n <= buffer.m_storage.capacity());
        buffer.m_storage.truncate(n);
    }

    // Puts the NUL behind the text.
    static void terminate(StringBuffer& buffer) { buffer.terminated(); }
    static void terminate(DataBuffer&) {}

    // Whether one of the `n` bytes at `p` lies in the buffer's memory.
    template <class Buffer>
    static bool overlaps(const Buffer& buffer, const void* p, std::size_t n) {
        return buffer.m_storage.overlaps(p, n);
    }
};

}  // namespace contentcoding

#endif
