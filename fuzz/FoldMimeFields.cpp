// A folded header value, in any charset, has one whole word on each line, of bounded length. A
// piece that cannot be converted leaves its line empty.
#include <string_view>

#include "fuzz/Input.h"
#include "support/Charset.h"

namespace {

// A piece of 72 characters may be, 72 times, a shift, 4 bytes and a shift back, in Base64; one of
// 50 units the same, escaped. Names are short.
constexpr std::size_t kLongestLine = 2000;

void expectWords(std::string_view value, std::string_view start) {
    constexpr std::string_view lineBreak = "\r\n ";
    while (!value.empty()) {
        const std::size_t n = value.find(lineBreak);
        const std::string_view line = value.substr(0, n);
        const bool isWord = line.starts_with(start) && line.ends_with("?=") &&
                            line.find_first_of(" \t\r\n") == line.npos;
        expect((isWord && line.size() <= kLongestLine) || line.empty());
        if (n == value.npos) return;
        value.remove_prefix(n + lineBreak.size());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Input input(data, size);
    ContentCoding codec;
    codec.m_qEncodeCommaToo = input.flag();
    const auto known = contentcoding::knownCharsets();
    const auto& charset = known[input.number() % known.size()];
    const HeapCopy value = input.rest();
    if (value.size() <= 60 || value.view().find_first_not_of(" \t") == std::string_view::npos)
        return 0;

    StringBuffer b, q, start;
    LogNull log;
    expect(codec.qEncodeForMimeField(value.bytes(), value.size(), true, charset.codePage,
                                     charset.name, q));
    expect(start.append("=?") && start.append(charset.name) && start.append("?Q?"));
    expectWords(q.view(), start.view());

    expect(codec.bEncodeForMimeField(value.bytes(), value.size(), true, charset.codePage,
                                     charset.name, b, log));
    start.shorten(2);
    expect(start.append("B?"));
    // A plain value stays as it is.
    if (b.view() != value.view()) expectWords(b.view(), start.view());
    return 0;
}
