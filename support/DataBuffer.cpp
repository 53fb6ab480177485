#include "support/DataBuffer.h"

#include <algorithm>
#include <limits>

DataBuffer::DataBuffer(std::span<const unsigned char> bytes) {
    if (bytes.size() <= contentcoding::ByteStorage::kMaxSize)
        append(bytes.data(),
               static_cast<unsigned int>(bytes.size()));  // empty when memory is short
}

bool DataBuffer::appendStr(const char* text) {
    const std::size_t n = text ? std::strlen(text) : 0;
    return n <= std::numeric_limits<unsigned int>::max() &&
           append(text, static_cast<unsigned int>(n));
}

bool DataBuffer::appendUint16_be(unsigned short v) {
    const unsigned char bytes[] = {static_cast<unsigned char>(v >> 8),
                                   static_cast<unsigned char>(v)};
    return append(bytes, sizeof bytes);
}

// The runs between zero bytes are copied to another buffer first: `data` may lie in this one.
bool DataBuffer::appendSkipNulls(const unsigned char* data, unsigned int n) {
    if (!data) return true;
    DataBuffer kept;
    for (const unsigned char* const end = data + n; data != end;) {
        const unsigned char* const null = std::find(data, end, 0);
        if (!kept.append(data, static_cast<unsigned int>(null - data))) return false;
        data = std::find_if(null, end, [](unsigned char b) { return b != 0; });
    }
    return append(kept.getData2(), kept.getSize());
}

void DataBuffer::takeData(unsigned char* data, unsigned int n) {
    m_storage.adopt(reinterpret_cast<char*>(data), n, n);
}

bool DataBuffer::parseUint16(unsigned int& offset, bool littleEndian, unsigned short& value) const {
    const unsigned int size = getSize();
    if (size < 2 || offset > size - 2) return false;
    const unsigned char* const p = getData2() + offset;
    const unsigned int high = p[littleEndian ? 1 : 0];
    const unsigned int low = p[littleEndian ? 0 : 1];
    value = static_cast<unsigned short>(high << 8 | low);
    offset += 2;
    return true;
}
