// No text makes a decoder or a test read or write out of bounds, and the result never has more
// bytes than its digits can make.
#include <cstdlib>

#include "codec/ContentCoding.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const auto* const text = reinterpret_cast<const char*>(data);
    const auto n = static_cast<unsigned int>(size);
    DataBuffer bytes;
    if (!ContentCoding::decodeBase64ToDb(text, n, bytes)) std::abort();
    if (bytes.getSize() > size * 3 / 4) std::abort();
    ContentCoding codec;
    LogNull log;
    // Both say of a text without padding whether the decoder's table covers it.
    if (codec.isBase64(text, n, log) && !codec.validateBase64(text, n)) std::abort();
    (void)codec.isBase64_utf16LE(text, n);
    return 0;
}
