// No header value makes a decoder of MIME words or parameter values read or write out of bounds,
// and the size of the result is bounded by that of the value.
#include "fuzz/Input.h"

namespace {

// A byte becomes at most four units of UTF-16, and each of these at most three bytes of UTF-8.
constexpr std::size_t kMostBytes = 12;

void decodeQ(std::string_view text) {
    const HeapCopy exact(text, HeapCopy::kExact), terminated(text, HeapCopy::kTerminated);
    unsigned int n = 0;
    if (exact.size() > 0) {
        const Returned bytes(ContentCoding::Q_Decode(exact.chars(), exact.size(), &n));
        expect(!bytes.isNull() && n <= exact.size());
    }
    const Returned bytes(ContentCoding::Q_Decode(terminated.chars(), 0, &n));
    expect(bytes.isNull() || n <= exact.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Input input(data, size);
    LogText log;
    log.m_verboseLogging = input.flag();
    const HeapCopy defaultCharset(input.shortText(), HeapCopy::kTerminated);
    const HeapCopy drawn = input.rest();
    const std::string_view text = drawn.view();
    decodeQ(text);

    StringBuffer value(text);
    DataBuffer bytes;
    expect(ContentCoding::QB_Decode(value, bytes));
    expect(value.view() == text && bytes.getSize() <= text.size());

    StringBuffer parameter, charset("x");
    expect(
        ContentCoding::decodeStarEncoded(value, defaultCharset.chars(), parameter, charset, log));
    expect(value.view() == text && charset.getSize() <= text.size());
    expect(parameter.getSize() <= kMostBytes * text.size());

    expect(ContentCoding::QB_DecodeToUtf8(value, log));
    expect(value.getSize() <= kMostBytes * text.size());
    return 0;
}
