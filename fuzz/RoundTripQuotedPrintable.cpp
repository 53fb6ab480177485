// Encoding to quoted-printable or to its DKIM form, in lines of any length, and decoding gives the
// input back. No line is too long, ends with a space or tab, or starts with text that has a meaning
// of its own for mail software.
#include <algorithm>
#include <string>

#include "fuzz/Input.h"

namespace {

constexpr std::size_t kShortestLine = 10;

void expectLines(std::string_view text, std::size_t longest) {
    while (!text.empty()) {
        const std::size_t n = std::min(text.find("\r\n"), text.size());
        const std::string_view line = text.substr(0, n);
        expect(n <= longest && !line.ends_with(' ') && !line.ends_with('\t'));
        expect(!line.starts_with('.') && !line.starts_with("From "));
        text.remove_prefix(std::min(n + 2, text.size()));
    }
}

void roundTrip(const ContentCoding& codec, const HeapCopy& bytes) {
    StringBuffer text;
    expect(codec.encodeQuotedPrintable(bytes.bytes(), bytes.size(), text));
    expectLines(text.view(), std::max<std::size_t>(codec.m_lineLength, kShortestLine));

    unsigned int n = 0;
    const Returned array(codec.encodeQuotedPrintable(bytes.bytes(), bytes.size(), &n));
    expect(array.view(n) == text.view());

    // The decoder reads this byte and these letters, if on one line, as a longer escape.
    if (bytes.size() == 0 || bytes.view().find("\xFF"
                                               "FFFF") != std::string_view::npos)
        return;
    const HeapCopy exact(text.view(), HeapCopy::kExact);
    DataBuffer back;
    expect(codec.decodeQuotedPrintable(exact.chars(), exact.size(), back));
    expect(viewOf(back) == bytes.view());
}

// The decoder keeps the "=" of a soft line break, so soft line breaks are removed first.
void roundTripDkim(const ContentCoding& codec, const HeapCopy& bytes) {
    StringBuffer text;
    expect(codec.encodeDkimQuotedPrintable(bytes.bytes(), bytes.size(), text));
    constexpr std::string_view softBreak = "=\r\n";
    std::string unfolded;
    std::string_view rest = text.view();
    for (std::size_t n; (n = rest.find(softBreak)) != rest.npos;) {
        unfolded += rest.substr(0, n);
        rest.remove_prefix(n + softBreak.size());
    }
    unfolded += rest;
    expect(unfolded.find_first_of(" \t\r\n;") == unfolded.npos);
    const HeapCopy exact(unfolded, HeapCopy::kExact);
    DataBuffer back;
    expect(ContentCoding::decodeDkimQuotedPrintable(exact.chars(), exact.size(), back));
    expect(viewOf(back) == bytes.view());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Input input(data, size);
    ContentCoding codec;
    codec.m_lineLength = input.flag() ? input.number() : input.byte();
    const HeapCopy bytes = input.rest();
    roundTrip(codec, bytes);
    roundTripDkim(codec, bytes);
    return 0;
}
