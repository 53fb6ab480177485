#ifndef SUPPORT_DATABUFFER_H
#define SUPPORT_DATABUFFER_H

#include <span>

#include "support/Memory.h"

// A growable, counted array of bytes. Decoders append to it.
//
// Lengths are bytes. At most 2^32 - 1 bytes are held. An operation that would pass that, or
// that finds no memory, returns false and leaves the buffer as it was. Null data counts as
// empty. A buffer's own bytes may be appended to it. Nothing is thrown.
class [[gnu::visibility("default")]] DataBuffer {
public:
    DataBuffer() = default;

    // A copy of the bytes; empty when they cannot be held. The same goes for copies of buffers.
    explicit DataBuffer(std::span<const unsigned char> bytes);
    DataBuffer(const DataBuffer&) = default;
    DataBuffer& operator=(const DataBuffer&) = default;

    // What was held moves over: in construction the other buffer is empty afterwards, in
    // assignment the two exchange what they hold.
    DataBuffer(DataBuffer &&) noexcept = default;
    DataBuffer& operator=(DataBuffer&&) noexcept = default;
    ~DataBuffer() = default;

    // All bytes held; valid until the buffer next changes.
    std::span<const unsigned char> view() const { return {getData2(), getSize()}; }

    // The address of the bytes, valid until the buffer next changes; null when nothing was ever
    // held.
    const unsigned char* getData2() const {
        return reinterpret_cast<const unsigned char*>(m_storage.bytes());
    }

    unsigned int getSize() const { return m_storage.size(); }

    bool append(const void* data, unsigned int n) { return m_storage.append(data, n); }
    bool appendChar(unsigned char b) { return m_storage.append(&b, 1); }

    // Appends `n` bytes of unspecified values, and returns where they are, to be written before the
    // buffer next changes. Null, with nothing appended, when there is no room for them, or `n` is 0
    // and the buffer never held anything.
    unsigned char* extend(unsigned int n) {
        return reinterpret_cast<unsigned char*>(m_storage.extend(n));
    }

    // Appends a NUL-terminated text without its terminator.
    bool appendStr(const char* text);

    // Appends `v` as two bytes, the high one first.
    bool appendUint16_be(unsigned short v);

    // Appends the `n` bytes except those that are 0.
    bool appendSkipNulls(const unsigned char* data, unsigned int n);

    // Replaces what is held by the `n` bytes of `data`, an array from zqNewChar of more than
    // `n` elements, which belongs to the buffer from then on. Null with 0 empties the buffer.
    void takeData(unsigned char* data, unsigned int n) { takeData(data, n, n); }

    // The same for an array of more than `capacity` elements, of which `n` are in use.
    void takeData(unsigned char* data, unsigned int n, unsigned int capacity);

    // Where to write up to `n` bytes that replace what is held, of which resize() then tells how
    // many they were; null where that takes a larger array, or one of the `len` bytes at `source`
    // would be overwritten.
    unsigned char* replaceable(unsigned int n, const void* source, std::size_t len) {
        const bool fits = n <= m_storage.capacity() && !m_storage.overlaps(source, len);
        return fits ? reinterpret_cast<unsigned char*>(m_storage.bytes()) : nullptr;
    }

    // Says how many bytes are held: no more than were, or than were written to replaceable().
    void resize(unsigned int n) { m_storage.truncate(n); }

    void clear() { m_storage.truncate(0); }

    // Reads the two bytes at `offset` into `value`, the first one as the high byte unless
    // `littleEndian`, and advances `offset` by 2. With fewer than two bytes at `offset` it
    // returns false and leaves both alone.
    bool parseUint16(unsigned int& offset, bool littleEndian, unsigned short& value) const;

private:
    friend class contentcoding::BufferAccess;

    contentcoding::ByteStorage m_storage;
};

#endif
