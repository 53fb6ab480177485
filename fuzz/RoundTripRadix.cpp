// Encoding to Base32, Base58, Ascii85 or EDA and decoding gives the input back.
#include "fuzz/Input.h"

namespace {

// Base58 takes time that grows with the square of the length.
constexpr std::size_t kLongestBase58 = 16384;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Input input(data, size);
    const unsigned int format = input.byte() % 4;
    const HeapCopy bytes =
        input.rest(HeapCopy::kExact, format == 1 ? kLongestBase58 : std::string_view::npos);
    LogText log;
    StringBuffer text;
    DataBuffer back;
    switch (format) {
        case 0:
            expect(ContentCoding::encodeBase32_noCrLf(bytes.bytes(), bytes.size(), text));
            expect(text.getSize() == ContentCoding::computeBase32Size(bytes.size()));
            expect(ContentCoding::decodeBase32(text.getString(), back, log));
            break;
        case 1:
            expect(ContentCoding::encodeBase58(bytes.bytes(), bytes.size(), text, log));
            expect(ContentCoding::decodeBase58(text.getString(), back, log));
            break;
        case 2:
            expect(ContentCoding::encodeAscii85(bytes.bytes(), bytes.size(), text, log));
            expect(ContentCoding::decodeAscii85(text, back, log));
            break;
        default:
            expect(ContentCoding::encodeEda(bytes.bytes(), bytes.size(), text));
            expect(ContentCoding::decodeEda(text.getString(), text.getSize(), back));
    }
    expect(viewOf(back) == bytes.view());
    expect(log.text().getSize() == 0);
    return 0;
}
