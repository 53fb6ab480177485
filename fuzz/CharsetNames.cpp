// No charset name makes its look-up read or write out of bounds, and exactly the valid names can be
// converted from.
#include "fuzz/Input.h"
#include "support/Charset.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    constexpr int utf8 = 65001;
    Input input(data, size);
    const std::string_view text = input.shortText();
    const HeapCopy drawn = input.rest();
    const std::string_view longName = drawn.view();

    const HeapCopy terminated(longName, HeapCopy::kTerminated);
    StringBuffer name(longName), terminatedName(terminated.chars());
    _zqCharset charset;
    const bool isSet = charset.setByName(terminated.chars());
    expect(isSet == CharsetNaming::CharsetValid(terminatedName));
    expect(isSet || charset.getCodePage() == 0);

    const HeapCopy bytes(text, HeapCopy::kExact);
    EncodingConvert converter;
    LogText log;
    DataBuffer out;
    const bool clean = converter.ChConvert2(name, utf8, bytes.bytes(), bytes.size(), out, log);
    expect(clean == (log.text().getSize() == 0));
    expect(name.view() == longName);
    if (bytes.size() == 0) return 0;
    expect(CharsetNaming::CharsetValid(name) !=
           (log.text().containsSubstring("Unknown charset: ")));
    return 0;
}
