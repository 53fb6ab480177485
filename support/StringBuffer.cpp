#include "support/StringBuffer.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>

#include "support/Ascii.h"
#include "support/DataBuffer.h"

StringBuffer::StringBuffer(std::string_view text) {
    if (text.size() <= contentcoding::ByteStorage::kMaxSize)
        appendN(text.data(), static_cast<unsigned int>(text.size()));  // empty when memory is short
}

StringBuffer::StringBuffer(const StringBuffer& other) : m_storage(other.m_storage) { terminate(); }

StringBuffer& StringBuffer::operator=(const StringBuffer& other) {
    if (this != &other) {
        m_storage = other.m_storage;
        terminate();
    }
    return *this;
}

bool StringBuffer::expectNumBytes(unsigned int n) { return m_storage.reserve(n) && terminated(); }

bool StringBuffer::appendCharN(char c, unsigned int count) {
    if (!m_storage.reserve(count)) return false;
    constexpr unsigned int kBlock = 64;
    char block[kBlock];
    std::memset(block, c, kBlock);
    for (; count > kBlock; count -= kBlock)
        appendN(block, kBlock);  // into the room reserved
    return appendN(block, count);
}

bool StringBuffer::append(const char* text) {
    // A text of 2^32 bytes or more does not fit: its length is not cut to 32 bits.
    const std::size_t n = text ? std::strlen(text) : 0;
    return n <= std::numeric_limits<unsigned int>::max() &&
           appendN(text, static_cast<unsigned int>(n));
}

bool StringBuffer::append(const DataBuffer& data) {
    return m_storage.append(data.getData2(), data.getSize()) && terminated();
}

bool StringBuffer::append(unsigned int n) {
    char digits[std::numeric_limits<unsigned int>::digits10 + 1];
    const auto end = std::to_chars(digits, std::end(digits), n).ptr;
    return appendN(digits, static_cast<unsigned int>(end - digits));
}

// The new contents are built in another buffer: `text` may lie in the old ones.
bool StringBuffer::setString(const char* text) {
    StringBuffer replacement;
    if (!replacement.append(text)) return false;
    std::swap(*this, replacement);
    return true;
}

bool StringBuffer::setString(const StringBuffer& other) {
    StringBuffer replacement;
    if (!replacement.append(other)) return false;
    std::swap(*this, replacement);
    return true;
}

void StringBuffer::chopAtFirstChar(char c) {
    const auto at = view().find(c);
    if (at != std::string_view::npos) truncate(static_cast<unsigned int>(at));
}

void StringBuffer::removeCharOccurances(char c) {
    char* begin = m_storage.bytes();
    char* end = std::remove(begin, begin + getSize(), c);
    truncate(static_cast<unsigned int>(end - begin));
}

void StringBuffer::toLowerCase() {
    char* begin = m_storage.bytes();
    std::transform(begin, begin + getSize(), begin, contentcoding::toLowerAscii);
}

bool StringBuffer::endsWith(const char* suffix) const { return suffix && view().ends_with(suffix); }

bool StringBuffer::containsSubstring(const char* s) const {
    return s && view().find(s) != std::string_view::npos;
}

bool StringBuffer::containsSubstringNoCase(const char* s) const {
    return s && contentcoding::findIgnoringCase(view(), s) != std::string_view::npos;
}

bool StringBuffer::equalsIgnoreCase(const char* s) const {
    return s && contentcoding::equalIgnoringCase(view(), s);
}

char* StringBuffer::extractString(unsigned int* outLen) {
    // There must be an array; without memory for one, null is returned.
    if (!m_storage.bytes()) (void)expectNumBytes(1);
    if (outLen) *outLen = getSize();
    return m_storage.release();
}

bool StringBuffer::hexStringToBinary2(const char* hex, unsigned int numChars, DataBuffer& out) {
    using contentcoding::hexDigitValue;
    if (!hex) numChars = 0;
    const auto isDigit = [](char c) { return hexDigitValue(c) != contentcoding::kNoHexDigit; };
    if (numChars % 2 != 0 || !std::all_of(hex, hex + numChars, isDigit)) return false;
    StringBuffer bytes;
    if (!bytes.expectNumBytes(numChars / 2)) return false;
    for (; numChars > 0; hex += 2, numChars -= 2)
        bytes.appendChar(static_cast<char>(hexDigitValue(hex[0]) << 4 | hexDigitValue(hex[1])));
    return out.append(bytes.getString(), bytes.getSize());
}
