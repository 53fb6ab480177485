#ifndef FUZZ_INPUT_H
#define FUZZ_INPUT_H

#include <cstdlib>
#include <memory>
#include <string_view>

#include "codec/ContentCoding.h"

// Shared by the fuzz targets: an input to draw values from, and the check of a property.

// Ends the run if the property does not hold; the engine then keeps the input.
inline void expect(bool holds) {
    if (!holds) std::abort();
}

// Text on the heap, so that a sanitizer sees a read past its end: of its exact size, or with a NUL
// after it.
class HeapCopy {
public:
    enum Ending { kExact, kTerminated };

    HeapCopy(std::string_view text, Ending ending)
        : m_chars(new char[text.size() + (ending == kTerminated ? 1 : 0)]), m_size(text.size()) {
        text.copy(m_chars.get(), m_size);
        if (ending == kTerminated) m_chars[m_size] = '\0';
    }

    const char* chars() const { return m_chars.get(); }
    const unsigned char* bytes() const { return reinterpret_cast<const unsigned char*>(chars()); }
    unsigned int size() const { return static_cast<unsigned int>(m_size); }
    std::string_view view() const { return {chars(), m_size}; }

private:
    std::unique_ptr<char[]> m_chars;
    std::size_t m_size;
};

// Draws from the front of the input. After its end it gives zeros.
class Input {
public:
    Input(const unsigned char* data, std::size_t size)
        : m_left(reinterpret_cast<const char*>(data), size) {}

    unsigned int byte() {
        const std::string_view drawn = text(1);
        return drawn.empty() ? 0 : static_cast<unsigned char>(drawn[0]);
    }
    bool flag() { return byte() % 2 != 0; }
    unsigned int number() {  // up to 65535
        const unsigned int high = byte();
        return high << 8 | byte();
    }

    // The next `n` bytes, or as many as there are.
    std::string_view text(std::size_t n) {
        const std::string_view drawn = m_left.substr(0, n);
        m_left.remove_prefix(drawn.size());
        return drawn;
    }

    // A text whose length is in the byte before it.
    std::string_view shortText() { return text(byte()); }

    // Everything left, or at most `longest` bytes of it.
    HeapCopy rest(HeapCopy::Ending ending = HeapCopy::kExact,
                  std::size_t longest = std::string_view::npos) {
        return {text(longest), ending};
    }

private:
    std::string_view m_left;
};

inline std::string_view viewOf(const DataBuffer& bytes) {
    return {reinterpret_cast<const char*>(bytes.getData2()), bytes.getSize()};
}

// An array that an operation has returned.
class Returned {
public:
    explicit Returned(unsigned char* array) : m_chars(array) { m_owner.m_ownedArray = array; }
    explicit Returned(char* array) : m_chars(array) { m_owner.m_ownedArray = array; }

    std::string_view view(unsigned int n) const { return {static_cast<const char*>(m_chars), n}; }
    bool isNull() const { return !m_chars; }

private:
    const void* m_chars;
    ByteArrayOwner m_owner;
};

#endif
