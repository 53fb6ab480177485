// No charset name makes its look-up read or write out of bounds, and the valid names are exactly
// those that can be converted from, even if the library has a name without a table. A fault lies
// within the text.
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
    const bool refused = log.text().containsSubstring("Unknown charset: ") ||
                         log.text().containsSubstring("No table to convert from ");
    expect(CharsetNaming::CharsetValid(name) != refused);
    if (refused) return 0;  // a refused name is logged, whatever it says
    const std::string_view logged = log.text().view(), before = " byte offset ";
    if (const auto at = logged.find(before); at != logged.npos)
        expect(std::strtoul(logged.data() + at + before.size(), nullptr, 10) < bytes.size());
    return 0;
}
