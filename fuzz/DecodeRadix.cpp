// No text makes a decoder of Base32, Base58, Ascii85, EDA or hexadecimal digits read or write out
// of bounds, and the result is not longer than the digits can encode.
#include "fuzz/Input.h"

namespace {

// Base58 takes time that grows with the square of the length.
constexpr std::size_t kLongestBase58 = 8192;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Input input(data, size);
    const unsigned int format = input.byte() % 5;
    const auto ending = format < 2 ? HeapCopy::kTerminated : HeapCopy::kExact;
    const HeapCopy text = input.rest(ending, format == 1 ? kLongestBase58 : std::string_view::npos);
    LogText log;
    DataBuffer bytes;
    switch (format) {
        case 0:
            expect(ContentCoding::decodeBase32(text.chars(), bytes, log));
            // The last group counts as whole.
            expect(bytes.getSize() <= (text.view().size() + 7) / 8 * 5);
            break;
        case 1:
            if (!ContentCoding::decodeBase58(text.chars(), bytes, log))
                expect(bytes.getSize() == 0 && log.text().getSize() > 0);
            expect(bytes.getSize() <= text.size());
            break;
        case 2:
            if (!ContentCoding::decodeAscii85(StringBuffer(text.view()), bytes, log))
                expect(log.text().getSize() > 0);
            expect(bytes.getSize() <= 4 * text.view().size());
            break;
        case 3:
            expect(ContentCoding::decodeEda(text.chars(), text.size(), bytes));
            expect(bytes.getSize() == text.size() / 3 * 2 + (text.size() % 3 == 2 ? 1 : 0));
            break;
        default:
            if (StringBuffer::hexStringToBinary2(text.chars(), text.size(), bytes))
                expect(bytes.getSize() * 2 == text.size());
            else
                expect(bytes.getSize() == 0);
    }
    return 0;
}
