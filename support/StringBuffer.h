#ifndef SUPPORT_STRINGBUFFER_H
#define SUPPORT_STRINGBUFFER_H

#include <string_view>

#include "contentcoding/export.hpp"
#include "support/Memory.h"

class DataBuffer;
class LogBase;

namespace contentcoding {
class BufferAccess;
}

// A growable, counted text of 8-bit characters, always terminated by a NUL that is not counted;
// it may hold NUL bytes inside. Encoders append to it.
//
// Lengths are bytes. It holds at most 2^32 - 1 bytes, or 2^31 - 2 where addresses have 32 bits. An
// operation that would pass that, or for which memory is short, returns false and leaves the buffer
// as it was. A null text counts as empty when it is appended; it equals no text and occurs in none.
// A buffer's own bytes may be appended to it. Nothing is thrown.
//
// Appends are not [[nodiscard]]: those who know the interface often append all parts of a text and
// look at the outcome once.
class CONTENTCODING_EXPORT StringBuffer {
public:
    StringBuffer() = default;

    // A copy of the text, or of another buffer; empty when memory is short. The text must not be
    // a null pointer.
    explicit StringBuffer(std::string_view text);
    StringBuffer(const StringBuffer& other);
    StringBuffer& operator=(const StringBuffer& other);  // unchanged when memory is short

    // Construction leaves the other buffer empty; assignment exchanges the contents of the two.
    StringBuffer(StringBuffer&&) noexcept = default;
    StringBuffer& operator=(StringBuffer&&) noexcept = default;
    ~StringBuffer() = default;

    // All bytes held, without the terminator; valid until the buffer next changes.
    std::string_view view() const { return {getString(), getSize()}; }

    // The same as a NUL-terminated text; never null.
    const char* getString() const { return m_storage.bytes() ? m_storage.bytes() : ""; }

    unsigned int getSize() const { return m_storage.size(); }

    // The byte at `index`; NUL at the end and beyond.
    char charAt(unsigned int index) const { return index < getSize() ? getString()[index] : '\0'; }

    // Reserves room for at least `n` bytes after the present ones, so that appending them
    // cannot fail.
    [[nodiscard]] bool expectNumBytes(unsigned int n);

    // Appends exactly `n` bytes, whatever their values.
    bool appendN(const char* data, unsigned int n) {
        return m_storage.append(data, n) && terminated();
    }

    bool appendChar(char c) { return appendN(&c, 1); }
    bool appendCharN(char c, unsigned int count);

    // Appends a NUL-terminated text without its terminator.
    bool append(const char* text);
    bool append(const StringBuffer& other) { return appendN(other.getString(), other.getSize()); }
    bool append(const DataBuffer& data);

    // Appends `n` in decimal, without leading zeros.
    bool append(unsigned int n);

    // Replaces the contents.
    bool setString(const char* text);
    bool setString(const StringBuffer& other);

    // Empties the buffer and keeps its storage.
    void weakClear() { truncate(0); }

    // Removes the last `n` bytes, or all when there are fewer.
    void shorten(unsigned int n) { truncate(n < getSize() ? getSize() - n : 0); }

    // Removes the first `c` and everything after it.
    void chopAtFirstChar(char c);

    // Removes every `c`.
    void removeCharOccurances(char c);

    // Turns "A" to "Z" into "a" to "z".
    void toLowerCase();

    bool endsWith(const char* suffix) const;
    bool containsChar(char c) const { return view().find(c) != std::string_view::npos; }
    bool containsSubstring(const char* s) const;

    // Here letters "A" to "Z" count as equal to "a" to "z", other bytes only to themselves.
    bool containsSubstringNoCase(const char* s) const;
    bool equalsIgnoreCase(const char* s) const;

    // Hands the contents over as a NUL-terminated array, which the caller releases with array
    // delete, and is empty afterwards. The length without the terminator is stored through
    // `outLen` unless that is null. An empty buffer gives an empty text, or null, with length 0,
    // when memory for that is short.
    [[nodiscard]] char* extractString(unsigned int* outLen);

    // Reads `numChars` hexadecimal digits of either case, two for each byte, the high one
    // first, and appends the bytes to `out`. With an odd count or any other character it
    // appends nothing and returns false. Null `hex` counts as no digits.
    static bool hexStringToBinary2(const char* hex, unsigned int numChars, DataBuffer& out);

    // Replaces the contents, text in the code page `fromCodePage`, by the same text in
    // `toCodePage`. Faults in the text are replaced and logged, and make the result false, as with
    // EncodingConvert::EncConvert (support/Charset.h). With an unknown code page, which is logged
    // too, or when memory is short, it returns false and leaves the contents as they were.
    bool convertEncoding(int fromCodePage, int toCodePage, LogBase& log);

private:
    friend class contentcoding::BufferAccess;

    void terminate() {
        if (m_storage.bytes()) m_storage.bytes()[getSize()] = '\0';
    }
    bool terminated() {
        terminate();
        return true;
    }
    void truncate(unsigned int n) {
        m_storage.truncate(n);
        terminate();
    }

    contentcoding::ByteStorage m_storage;
};

#endif
