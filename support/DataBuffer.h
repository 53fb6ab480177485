#ifndef SUPPORT_DATABUFFER_H
#define SUPPORT_DATABUFFER_H

#include <span>

#include "contentcoding/export.hpp"
#include "support/Memory.h"

namespace contentcoding {
class BufferAccess;
}

// A growable, counted array of bytes. Decoders append to it.
//
// Lengths are bytes. It holds at most 2^32 - 1 bytes, or 2^31 - 2 where addresses have 32 bits. An
// operation that would pass that, or for which memory is short, returns false and leaves the buffer
// as it was. Null data counts as empty. A buffer's own bytes may be appended to it. Nothing is
// thrown.
//
// Appends are not [[nodiscard]]: those who know the interface often append all parts of a text and
// look at the outcome once.
class CONTENTCODING_EXPORT DataBuffer {
public:
    DataBuffer() = default;

    // A copy of the bytes, or of another buffer; empty when memory is short.
    explicit DataBuffer(std::span<const unsigned char> bytes);
    DataBuffer(const DataBuffer&) = default;
    DataBuffer& operator=(const DataBuffer&) = default;  // unchanged when memory is short

    // Construction leaves the other buffer empty; assignment exchanges the contents of the two.
    DataBuffer(DataBuffer&&) noexcept = default;
    DataBuffer& operator=(DataBuffer&&) noexcept = default;
    ~DataBuffer() = default;

    // All bytes held; valid until the buffer next changes.
    std::span<const unsigned char> view() const { return {getData2(), getSize()}; }

    // The address of the bytes, valid until the buffer next changes; may be null when it is empty.
    const unsigned char* getData2() const {
        return reinterpret_cast<const unsigned char*>(m_storage.bytes());
    }

    unsigned int getSize() const { return m_storage.size(); }

    bool append(const void* data, unsigned int n) { return m_storage.append(data, n); }
    bool appendChar(unsigned char b) { return m_storage.append(&b, 1); }

    // Appends a NUL-terminated text without its terminator.
    bool appendStr(const char* text);

    // Appends `v` as two bytes, the high one first.
    bool appendUint16_be(unsigned short v);

    // Appends the `n` bytes except those that are 0.
    bool appendSkipNulls(const unsigned char* data, unsigned int n);

    // Replaces the contents by the first `n` bytes of `data`, an array from zqNewChar of more than
    // `n` elements, which belongs to the buffer from then on. Null with 0 empties the buffer.
    void takeData(unsigned char* data, unsigned int n);

    void clear() { m_storage.truncate(0); }

    // Reads the two bytes at `offset` into `value`, the first one as the high byte unless
    // `littleEndian`, and advances `offset` by 2. With fewer than two bytes at `offset` it
    // returns false and changes neither.
    bool parseUint16(unsigned int& offset, bool littleEndian, unsigned short& value) const;

private:
    friend class contentcoding::BufferAccess;

    contentcoding::ByteStorage m_storage;
};

#endif
