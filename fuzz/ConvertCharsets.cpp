// No bytes make a conversion from or to any known charset loop, or read or write out of bounds. The
// size of the result is bounded by theirs, and resulting UTF-8 is well-formed.
#include <span>

#include "fuzz/Input.h"
#include "support/Charset.h"

namespace {

constexpr int kUtf8 = 65001;

// A byte becomes at most four units of UTF-16, and a unit at most four bytes and the escapes around
// them. A charset with states ends a text with one more escape.
constexpr std::size_t kMostBytes = 64, kMostAtEnd = 16;

int drawCodePage(Input& input) {
    const auto known = contentcoding::knownCharsets();
    return known[input.number() % known.size()].codePage;
}

void convert(EncodingConvert& converter, int from, int to, const HeapCopy& text, DataBuffer& out) {
    LogText log;
    const bool clean = converter.EncConvert(from, to, text.bytes(), text.size(), out, log);
    expect(clean == (log.text().getSize() == 0));
    expect(out.getSize() <= kMostBytes * text.view().size() + kMostAtEnd);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Input input(data, size);
    const int from = drawCodePage(input), to = drawCodePage(input);
    const HeapCopy text = input.rest();
    EncodingConvert converter;
    DataBuffer direct, fromUtf8, utf8, again;
    convert(converter, from, to, text, direct);
    convert(converter, kUtf8, to, text, fromUtf8);
    convert(converter, from, kUtf8, text, utf8);

    LogNull log;
    expect(converter.EncConvert(kUtf8, kUtf8, utf8.getData2(), utf8.getSize(), again, log));
    expect(viewOf(again) == viewOf(utf8));

    // A conversion by way of UTF-8 gives the same. A text of shifts alone has no characters: it may
    // become the bytes with which a text in the other charset starts, whereas no bytes become none.
    again.clear();
    if (utf8.getSize() > 0)
        (void)converter.EncConvert(kUtf8, to, utf8.getData2(), utf8.getSize(), again, log);
    else
        (void)converter.EncConvert(to, kUtf8, direct.getData2(), direct.getSize(), again, log);
    expect(viewOf(again) == (utf8.getSize() > 0 ? viewOf(direct) : ""));
    return 0;
}
