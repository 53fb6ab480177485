// Encoding to MIME words, folded or not, and decoding the unfolded value gives the input back.
#include <algorithm>
#include <string>

#include "fuzz/Input.h"
#include "support/Charset.h"

namespace {

constexpr int kUtf8 = 65001, kUtf16LE = 1200;
constexpr std::size_t kLongestWord = 60;

void expectDecodes(StringBuffer words, std::string_view bytes) {
    DataBuffer back;
    expect(ContentCoding::QB_Decode(words, back));
    expect(viewOf(back) == bytes);
}

void roundTripText(const ContentCoding& codec, const HeapCopy& bytes) {
    for (const auto encode : {&ContentCoding::Q_Encode, &ContentCoding::Q_EncodeCommaToo}) {
        unsigned int n = 0, size = 0;
        const Returned text((codec.*encode)(bytes.bytes(), bytes.size(), &n));
        const HeapCopy exact(text.view(n), HeapCopy::kExact);
        const Returned back(ContentCoding::Q_Decode(exact.chars(), exact.size(), &size));
        expect(back.view(size) == bytes.view());
    }
    unsigned int n = 0, size = 0;
    const Returned text(codec.B_Encode(bytes.bytes(), bytes.size(), &n));
    const HeapCopy exact(text.view(n), HeapCopy::kExact);
    const Returned back(ContentCoding::decodeBase64(exact.chars(), exact.size(), &size));
    expect(back.view(size) == bytes.view());
}

void roundTripWord(const ContentCoding& codec, const HeapCopy& bytes, const char* charset) {
    StringBuffer b, q, either;
    expect(codec.bEncodeData2(bytes.bytes(), bytes.size(), charset, b));
    expect(codec.qEncodeData2(bytes.bytes(), bytes.size(), charset, q));
    expectDecodes(b, bytes.view());
    expectDecodes(q, bytes.view());
    // What may already be a word is not encoded, so it decodes to something else.
    expect(codec.qbEncodeData(bytes.bytes(), bytes.size(), charset, either));
    if (either.view() == bytes.view()) return;
    expect(either.view() == b.view() || either.view() == q.view());
}

// The value after conversion to UTF-16 and back, as in folding: invalid UTF-8 is replaced.
DataBuffer repaired(const HeapCopy& value) {
    EncodingConvert converter;
    DataBuffer wide, back;
    LogNull log;
    (void)converter.EncConvert(kUtf8, kUtf16LE, value.bytes(), value.size(), wide, log);
    expect(converter.EncConvert(kUtf16LE, kUtf8, wide.getData2(), wide.getSize(), back, log));
    return back;
}

std::string unfolded(std::string_view words) {
    std::string value(words);
    std::erase_if(value, [](char c) { return c == '\r' || c == '\n'; });
    return value;
}

// A value with a character outside ASCII is always encoded.
void roundTripField(const ContentCoding& codec, const HeapCopy& value, bool fold) {
    StringBuffer b, q;
    LogNull log;
    expect(codec.bEncodeForMimeField(value.bytes(), value.size(), fold, kUtf8, "utf-8", b, log));
    expect(codec.qEncodeForMimeField(value.bytes(), value.size(), fold, kUtf8, "utf-8", q));
    const bool folded = fold && value.size() > kLongestWord;
    const DataBuffer whole = folded ? repaired(value) : DataBuffer({value.bytes(), value.size()});
    expectDecodes(StringBuffer(unfolded(b.view())), viewOf(whole));
    expectDecodes(StringBuffer(unfolded(q.view())), viewOf(whole));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Input input(data, size);
    ContentCoding codec;
    const unsigned int settings = input.byte();
    codec.m_qEncodeCommaToo = settings & 1;
    const bool fold = settings & 2;
    const char* const charset = settings & 4 ? "iso-2022-jp" : "iso-8859-1";
    const HeapCopy bytes = input.rest();
    const HeapCopy value("\xC3\xA9" + std::string(bytes.view()), HeapCopy::kExact);
    if (bytes.size() > 0) {
        roundTripText(codec, bytes);
        roundTripWord(codec, bytes, charset);
    }
    roundTripField(codec, value, fold);
    return 0;
}
