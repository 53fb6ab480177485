// No text makes a decoder of quoted-printable or of its DKIM form read or write out of bounds, and
// the size of the result is bounded by that of the text.
#include "fuzz/Input.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Input input(data, size);
    ContentCoding codec;
    codec.m_qpDecodeUnicodeEscapes = input.flag();
    const HeapCopy text = input.rest();

    DataBuffer bytes;
    const bool isText = text.size() > 0 && text.chars()[0] != '\0';
    expect(codec.decodeQuotedPrintable(text.chars(), text.size(), bytes) == isText);
    // A lone LF becomes two bytes; nothing else grows.
    expect(bytes.getSize() <= 2 * text.view().size());

    bytes.clear();
    expect(ContentCoding::decodeDkimQuotedPrintable(text.chars(), text.size(), bytes));
    expect(bytes.getSize() <= text.size());
    return 0;
}
