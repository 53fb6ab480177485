// A header value gives back the text that it was made of, in words and lines within their limits.
// Any value gives valid UTF-8.
#include "contentcoding/header.hpp"
#include "fuzz/Input.h"
#include "support/charset/Utf8.h"

namespace {

using namespace contentcoding;

// No line is longer than asked, no word than RFC 2047 allows, and no line end can be taken for the
// end of the field.
void checkLayout(std::string_view value, const header::Encoding& options) {
    std::size_t before = options.column;
    while (true) {
        const std::size_t end = std::min(value.find("\r\n"), value.size());
        const std::string_view line = value.substr(0, end);
        expect(line.find_first_of("\r\n") == line.npos);
        expect(line.empty() || options.lineLength == 0 ||
               before + line.size() <= options.lineLength);
        for (std::size_t at = 0; (at = line.find("=?", at)) != line.npos;) {
            const std::size_t wordEnd = std::min(line.find(' ', at), line.size());
            expect(wordEnd - at <= 75);
            at = wordEnd;
        }
        before = 0;
        if (end == value.size()) break;
        value.remove_prefix(end + 2);
        expect(value.starts_with(' '));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Input input(data, size);
    header::Encoding options;
    const unsigned int choice = input.number();
    options.context = static_cast<header::Context>(choice % 3);
    options.scheme = static_cast<header::Scheme>(choice / 4 % 3);
    constexpr std::size_t kLengths[] = {0, 40, 76, 998};
    options.lineLength = kLengths[choice / 16 % 4];
    constexpr std::string_view kCharsets[] = {"utf-8", "koi8-r", "iso-2022-jp", "gb18030"};
    options.charset = kCharsets[choice / 64 % 4];
    options.column = input.byte() % 100;
    const HeapCopy text = input.rest();

    constexpr header::Decoding kKeeping{.controls = header::Controls::kKeep};
    expect(isWellFormed(header::decode(text.view()).text));
    expect(isWellFormed(header::decode(text.view(), kKeeping).text));
    const std::string value = header::encode(text.view(), options);
    checkLayout(value, options);
    if (isWellFormed(text.view())) expect(header::decode(value, kKeeping).text == text.view());
    return 0;
}
