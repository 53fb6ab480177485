// An encoder writes the same text to a sink as it appends to a buffer, except that a sink gets an
// empty line after Base64 whose last line is full.
#include <algorithm>
#include <string>

#include "fuzz/Input.h"

namespace {

bool lastLineIsFull(unsigned int bytes, unsigned int lineLength) {
    const unsigned int lineQuanta = (std::max(lineLength, 1u) - 1) / 4 + 1;
    return bytes > 0 && bytes % (lineQuanta * 3) == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Input input(data, size);
    ContentCoding codec;
    codec.m_lineLength = input.flag() ? input.number() : input.byte();
    const HeapCopy bytes = input.rest();
    _zqIoParams ioParams;
    LogNull log;

    StringBuffer text, streamed;
    contentcoding::StringBufferOutput sink(streamed);
    expect(codec.encodeBase64(bytes.bytes(), bytes.size(), text));
    expect(codec.encodeBase64ToOutput(bytes.bytes(), bytes.size(), sink, ioParams, log));
    if (lastLineIsFull(bytes.size(), codec.m_lineLength)) expect(text.append("\r\n"));
    expect(streamed.view() == text.view());

    text.weakClear();
    streamed.weakClear();
    expect(codec.encodeQuotedPrintable(bytes.bytes(), bytes.size(), text));
    expect(codec.encodeQpToOutput(bytes.bytes(), bytes.size(), sink, ioParams, log));
    expect(streamed.view() == text.view());
    return 0;
}
