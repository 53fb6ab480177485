#ifndef SUPPORT_BUFFERACCESS_H
#define SUPPORT_BUFFERACCESS_H

#include <cassert>
#include <cstddef>
#include <span>

#include "support/DataBuffer.h"
#include "support/StringBuffer.h"

// Private: writing into a buffer's own memory.

namespace contentcoding {

// A coder that knows the most that it may write calls appendUninitialized(), writes, and gives the
// rest back by shrinkTo(). One that finds out on the way calls reserve(), writes to spare(), and
// calls setSize() with what the buffer then holds.
//
// Lengths are bytes. An address is valid until the buffer next changes. A StringBuffer has its
// terminator again after each of these; only bytes written to spare() overwrite it, until setSize()
// is called.
class BufferAccess {
public:
    // Appends `n` bytes of unspecified values and returns their address. Null, with nothing
    // appended, when there is no room for them, or when `n` is 0 and the buffer never held
    // anything.
    [[nodiscard]] static char* appendUninitialized(StringBuffer& out, unsigned int n) {
        char* const bytes = out.m_storage.appendUninitialized(n);
        out.terminate();
        return bytes;
    }
    [[nodiscard]] static unsigned char* appendUninitialized(DataBuffer& out, unsigned int n) {
        return reinterpret_cast<unsigned char*>(out.m_storage.appendUninitialized(n));
    }

    // Keeps the first `n` bytes, of getSize() at most. The storage is kept.
    static void shrinkTo(StringBuffer& out, unsigned int n) {
        assert(n <= out.getSize());
        setSize(out, n);
    }
    static void shrinkTo(DataBuffer& out, unsigned int n) {
        assert(n <= out.getSize());
        setSize(out, n);
    }

    // Reserves room for at least `n` more bytes. The storage at least doubles when it grows and
    // memory allows, so that reserving a little again and again takes linear time. False, and
    // nothing changed, when there is no room.
    [[nodiscard]] static bool reserve(StringBuffer& out, unsigned int n) {
        return out.expectNumBytes(n);
    }
    [[nodiscard]] static bool reserve(DataBuffer& out, unsigned int n) {
        return out.m_storage.reserve(n);
    }

    // How many bytes the buffer can hold without an allocation.
    static unsigned int capacity(const StringBuffer& out) { return out.m_storage.capacity(); }
    static unsigned int capacity(const DataBuffer& out) { return out.m_storage.capacity(); }

    // The memory after the bytes held, all that setSize() can count as held.
    static std::span<char> spare(StringBuffer& out) { return out.m_storage.spare(); }
    static std::span<unsigned char> spare(DataBuffer& out) {
        const std::span<char> room = out.m_storage.spare();
        return {reinterpret_cast<unsigned char*>(room.data()), room.size()};
    }

    // Says how many bytes are held: no more than were, or than were written to spare() or reuse().
    static void setSize(StringBuffer& out, unsigned int n) {
        assert(n <= capacity(out));
        out.m_storage.setSize(n);
        out.terminate();
    }
    static void setSize(DataBuffer& out, unsigned int n) {
        assert(n <= capacity(out));
        out.m_storage.setSize(n);
    }

    // The same while more is in spare() that is not to change: terminate() is due before anyone
    // else sees the buffer.
    template <class Buffer>
    static void count(Buffer& out, unsigned int n) {
        assert(n <= capacity(out));
        out.m_storage.setSize(n);
    }
    static void terminate(StringBuffer& out) { out.terminate(); }
    static void terminate(DataBuffer&) {}

    // The address of up to `n` bytes that replace what is held; call setSize() with the number
    // written. Null when that takes a larger array, or when writing would overwrite one of the
    // `len` bytes at `source`.
    [[nodiscard]] static unsigned char* reuse(DataBuffer& out, unsigned int n, const void* source,
                                              std::size_t len) {
        const bool fits = n <= capacity(out) && isApart(out, source, len);
        return fits ? reinterpret_cast<unsigned char*>(out.m_storage.bytes()) : nullptr;
    }

    // As DataBuffer::takeData, for an array of more than `capacity` elements, of which `n` are in
    // use.
    static void adopt(DataBuffer& out, unsigned char* array, unsigned int n,
                      unsigned int capacity) {
        assert(n <= capacity);
        out.m_storage.adopt(reinterpret_cast<char*>(array), n, capacity);
    }

    // Whether none of the `n` bytes at `p` lies in the buffer's memory, used or spare. Null counts
    // as no bytes.
    template <class Buffer>
    static bool isApart(const Buffer& out, const void* p, std::size_t n) {
        return !p || n == 0 || !out.m_storage.overlaps(p, n);
    }
};

}  // namespace contentcoding

#endif
