#ifndef SUPPORT_MEMORY_H
#define SUPPORT_MEMORY_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "contentcoding/export.hpp"

// Allocation and text helpers, and the storage that both buffers use. Nothing here throws.

// A new array of `n` elements, contents unspecified, released by its owner with array
// delete; null when memory is short. With `n` 0 it has no elements, but is not null.
[[nodiscard]] CONTENTCODING_EXPORT char* zqNewChar(unsigned int n);
[[nodiscard]] CONTENTCODING_EXPORT unsigned char* zqNewUnsignedChar(unsigned int n);
[[nodiscard]] CONTENTCODING_EXPORT std::uint32_t* zqNewUint32(unsigned int n);

// The number of bytes before the terminator of `s`; 0 for null. A text of 2^32 bytes or more
// counts as 2^32 - 1.
CONTENTCODING_EXPORT unsigned int zqStrLen(const char* s);

// The first occurrence of `needle` in `haystack`; null when there is none or either is null.
CONTENTCODING_EXPORT const char* zqStrStr(const char* haystack, const char* needle);

namespace contentcoding {

// The address of an array, with its element type. It owns nothing: assigning another address does
// not release the array that it pointed to, as with a plain pointer.
class CONTENTCODING_EXPORT TypedArrayPointer {
public:
    TypedArrayPointer& operator=(char* array);
    TypedArrayPointer& operator=(unsigned char* array);
    TypedArrayPointer& operator=(std::uint32_t* array);
    TypedArrayPointer& operator=(std::nullptr_t);

    const void* get() const { return m_array; }
    explicit operator bool() const { return m_array != nullptr; }
    friend bool operator==(const TypedArrayPointer& a, const void* b) { return a.m_array == b; }

    // Releases the array by array delete of its own type, and is null afterwards.
    void release();

private:
    void* m_array = nullptr;
    void (*m_deleter)(void*) = nullptr;
};

// A counted array of bytes that grows geometrically up to kMaxSize. It always has room for
// one byte after the last, so that a text can be terminated without a further allocation.
class CONTENTCODING_EXPORT ByteStorage {
public:
    // With 32-bit addresses, half the address space without the spare byte.
    static constexpr unsigned int kMaxSize = sizeof(std::size_t) > 4 ? 0xFFFFFFFFu : 0x7FFFFFFEu;

    ByteStorage() = default;
    ByteStorage(const ByteStorage& other);  // empty when memory is short
    ByteStorage(ByteStorage&& other) noexcept;
    ByteStorage& operator=(const ByteStorage& other);  // unchanged when memory is short
    ByteStorage& operator=(ByteStorage&& other) noexcept;
    ~ByteStorage();

    char* bytes() { return m_bytes; }  // null while nothing was ever stored or reserved
    const char* bytes() const { return m_bytes; }
    unsigned int size() const { return m_size; }

    // Makes room for `n` more bytes. False, and nothing changed, when there is none.
    [[nodiscard]] bool reserve(unsigned int n) {
        return n <= m_capacity - m_size || regrow(n, nullptr);
    }

    // Appends `n` bytes, which may be the storage's own. Null `data` counts as no bytes.
    // False, and nothing changed, when there is no room.
    [[nodiscard]] bool append(const void* data, unsigned int n) {
        if (n == 0 || !data) return true;
        if (n > m_capacity - m_size) return regrow(n, data);
        // NOLINTNEXTLINE(clang-analyzer-core.NonNullParamChecker): a buffer with room is never null
        std::memcpy(m_bytes + m_size, data, n);
        m_size += n;
        return true;
    }

    // Appends `n` bytes of unspecified values, and returns where they are; null, and nothing
    // changed, when there is no room.
    [[nodiscard]] char* appendUninitialized(unsigned int n) {
        if (!reserve(n)) return nullptr;
        m_size += n;
        return m_bytes + (m_size - n);
    }

    // Whether this array, in use or not, holds any of the `n` bytes at `p`.
    bool overlaps(const void* p, std::size_t n) const {
        const auto begin = reinterpret_cast<std::uintptr_t>(m_bytes),
                   at = reinterpret_cast<std::uintptr_t>(p);
        return at < begin ? n > begin - at : at - begin <= m_capacity;
    }

    unsigned int capacity() const { return m_capacity; }

    // The bytes after the last one held, without the spare one.
    std::span<char> spare() { return {m_bytes + m_size, m_capacity - m_size}; }

    // Says how many bytes are held; `n` must not exceed size(), or what was written to spare().
    void setSize(unsigned int n) { m_size = n; }

    // Cuts to `n` bytes, of size() at most.
    void truncate(unsigned int n) { m_size = n; }

    // Takes over an array from zqNewChar, of more than `capacity` elements, that holds `n` bytes,
    // in place of what was held. Null with 0 empties.
    void adopt(char* array, unsigned int n, unsigned int capacity);

    // Gives the array away and is empty afterwards.
    [[nodiscard]] char* release();

private:
    [[nodiscard]] bool regrow(unsigned int more, const void* data);

    char* m_bytes = nullptr;
    unsigned int m_size = 0;
    unsigned int m_capacity = 0;  // without the spare byte
};

}  // namespace contentcoding

// Releases one array, by array delete of the array's own type, when it goes out of scope. It
// starts empty: store an array from one of the allocation helpers in m_ownedArray, or null to take
// it back.
class CONTENTCODING_EXPORT ByteArrayOwner {
public:
    ByteArrayOwner() = default;
    ~ByteArrayOwner() { m_ownedArray.release(); }
    ByteArrayOwner(const ByteArrayOwner&) = delete;
    ByteArrayOwner& operator=(const ByteArrayOwner&) = delete;

    contentcoding::TypedArrayPointer m_ownedArray;
};

#endif
