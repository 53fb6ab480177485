#include "support/Memory.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

char* zqNewChar(unsigned int n) { return new (std::nothrow) char[n]; }

unsigned char* zqNewUnsignedChar(unsigned int n) { return new (std::nothrow) unsigned char[n]; }

std::uint32_t* zqNewUint32(unsigned int n) { return new (std::nothrow) std::uint32_t[n]; }

unsigned int zqStrLen(const char* s) {
    if (!s) return 0;
    return static_cast<unsigned int>(
        std::min<std::size_t>(std::strlen(s), std::numeric_limits<unsigned int>::max()));
}

const char* zqStrStr(const char* haystack, const char* needle) {
    return haystack && needle ? std::strstr(haystack, needle) : nullptr;
}

namespace contentcoding {

namespace {
template <class T>
void deleteArray(void* array) {
    delete[] static_cast<T*>(array);
}
}  // namespace

TypedArrayPointer& TypedArrayPointer::operator=(char* array) {
    m_array = array;
    m_deleter = deleteArray<char>;
    return *this;
}

TypedArrayPointer& TypedArrayPointer::operator=(unsigned char* array) {
    m_array = array;
    m_deleter = deleteArray<unsigned char>;
    return *this;
}

TypedArrayPointer& TypedArrayPointer::operator=(std::uint32_t* array) {
    m_array = array;
    m_deleter = deleteArray<std::uint32_t>;
    return *this;
}

TypedArrayPointer& TypedArrayPointer::operator=(std::nullptr_t) {
    m_array = nullptr;
    return *this;
}

void TypedArrayPointer::release() {
    if (m_array) m_deleter(m_array);
    m_array = nullptr;
}

ByteStorage::ByteStorage(const ByteStorage& other) {
    (void)append(other.m_bytes,
                 other.m_size);  // a constructor has no result; its owner compares sizes
}

ByteStorage::ByteStorage(ByteStorage&& other) noexcept
    : m_bytes(std::exchange(other.m_bytes, nullptr)),
      m_size(std::exchange(other.m_size, 0)),
      m_capacity(std::exchange(other.m_capacity, 0)) {}

ByteStorage& ByteStorage::operator=(const ByteStorage& other) {
    if (this == &other) return *this;
    ByteStorage copy(other);
    if (copy.m_size == other.m_size) *this = std::move(copy);
    return *this;
}

ByteStorage& ByteStorage::operator=(ByteStorage&& other) noexcept {
    std::swap(m_bytes, other.m_bytes);
    std::swap(m_size, other.m_size);
    std::swap(m_capacity, other.m_capacity);
    return *this;
}

ByteStorage::~ByteStorage() { delete[] m_bytes; }

void ByteStorage::adopt(char* array, unsigned int n, unsigned int capacity) {
    delete[] m_bytes;
    m_bytes = array;
    m_size = array ? n : 0;
    m_capacity = array ? capacity : 0;
}

char* ByteStorage::release() {
    m_size = m_capacity = 0;
    return std::exchange(m_bytes, nullptr);
}

// The old array is released last: `data` may lie inside it.
bool ByteStorage::regrow(unsigned int more, const void* data) {
    if (more > kMaxSize - m_size) return false;
    const unsigned int needed = m_size + more;
    unsigned int capacity = m_capacity > kMaxSize / 2 ? kMaxSize : m_capacity * 2;
    capacity = std::min(std::max({capacity, needed, 31u}), kMaxSize);
    char* grown = new (std::nothrow) char[std::size_t{capacity} + 1];
    if (!grown && capacity > needed) {  // short memory may still hold what was asked for
        capacity = needed;
        grown = new (std::nothrow) char[std::size_t{capacity} + 1];
    }
    if (!grown) return false;
    if (m_size > 0) std::memcpy(grown, m_bytes, m_size);
    if (data) {
        std::memcpy(grown + m_size, data, more);
        m_size = needed;
    }
    delete[] m_bytes;
    m_bytes = grown;
    m_capacity = capacity;
    return true;
}

}  // namespace contentcoding
