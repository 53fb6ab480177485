// Encoding in lines of any length, and decoding, gives the input back; so does a stream.
#include <cstdlib>
#include <cstring>

#include "codec/ContentCoding.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    if (size == 0) return 0;
    ContentCoding codec;
    codec.setLineLength(*data++);
    const auto n = static_cast<unsigned int>(size - 1);

    StringBuffer wrapped, streamed;
    contentcoding::StringBufferOutput sink(streamed);
    _zqIoParams ioParams;
    LogNull log;
    if (!codec.encodeBase64(data, n, wrapped)) std::abort();
    if (!codec.encodeBase64ToOutput(data, n, sink, ioParams, log)) std::abort();
    for (const StringBuffer* const text : {&wrapped, &streamed}) {
        DataBuffer back;
        if (!ContentCoding::decodeBase64ToDb(text->getString(), text->getSize(), back))
            std::abort();
        if (back.getSize() != n || (n > 0 && std::memcmp(back.getData2(), data, n) != 0))
            std::abort();
        if (!codec.isBase64(text->getString(), text->getSize(), log)) std::abort();
    }
    return 0;
}
