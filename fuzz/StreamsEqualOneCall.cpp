// Whatever the format and its settings: pieces cut anywhere give the bytes, or the fault, of one
// call, and what is encoded comes back in strict form.
#include <string>

#include "contentcoding/detail/formats.hpp"
#include "fuzz/Input.h"

namespace {

using contentcoding::Bytes;
using contentcoding::Result;

// Has `feed` take the text in pieces of drawn lengths, while it wants more.
template <class Feed>
void inPieces(std::string_view text, Input& input, Feed feed) {
    while (!text.empty()) {
        const std::size_t n = std::min<std::size_t>(text.size(), 1 + input.byte() % 100);
        if (!feed(text.substr(0, n))) return;
        text.remove_prefix(n);
    }
}

template <class Encoder, class Format>
void checkEncoder(std::string_view bytes, const Format& format, Input& input) {
    Encoder encoder(format);
    std::string text;
    const auto take = [&text](std::string_view block) { text += block; };
    inPieces(bytes, input, [&](std::string_view piece) { return encoder.feed(piece, take); });
    expect(encoder.finish(take));
    expect(text == encode(Bytes(bytes), format));
}

template <class Decoder, class Accept>
void checkDecoder(std::string_view text, const Accept& accept, Input& input) {
    Decoder decoder(accept);
    std::string bytes;
    Result<void> done;
    const auto take = [&bytes](std::string_view block) { bytes += block; };
    inPieces(text, input, [&](std::string_view piece) {
        done = decoder.feed(piece, take);
        return done.has_value();
    });
    if (done) done = decoder.finish(take);
    const auto whole = decode(Bytes(text), accept);
    expect(whole.has_value() == done.has_value());
    expect(done ? *whole == bytes : whole.error() == done.error());
}

template <class Format>
void draw(Format& format, Input& input) {
    if constexpr (requires { format.columns; })
        format.columns = input.flag() ? input.byte() : format.columns;
    if constexpr (requires { format.alphabet; }) {
        if (input.flag()) format.alphabet = decltype(format.alphabet)(1);
    }
    if constexpr (requires { format.padded; }) format.padded = input.flag();
    if constexpr (requires { format.upperCase; }) format.upperCase = input.flag();
    if constexpr (requires { format.framed; }) format.framed = input.flag();
    if constexpr (requires { format.newlines; })
        format.newlines = decltype(format.newlines)(input.byte() % 3);
    if constexpr (requires { format.lineEnd; }) {
        if (input.flag()) format.lineEnd = "\n";
    }
}

template <class Accept>
void drawLeniency(Accept& accept, Input& input) {
    const unsigned int drawn = input.number();
    auto set = [&, bit = 0u](bool& member) mutable { member = (drawn >> bit++ & 1) != 0; };
    if constexpr (requires { accept.whiteSpace; }) set(accept.whiteSpace);
    if constexpr (requires { accept.foreign; }) set(accept.foreign);
    if constexpr (requires { accept.leftoverBits; }) set(accept.leftoverBits);
    if constexpr (requires { accept.cutGroup; }) set(accept.cutGroup);
    if constexpr (requires { accept.concatenated; }) set(accept.concatenated);
    if constexpr (requires { accept.anyCase; }) set(accept.anyCase);
    if constexpr (requires { accept.badEscapes; }) set(accept.badEscapes);
    if constexpr (requires { accept.lowerCase; }) set(accept.lowerCase);
    if constexpr (requires { accept.longLines; }) set(accept.longLines);
    if constexpr (requires { accept.trailingSpace; }) set(accept.trailingSpace);
    if constexpr (requires { accept.lineEnds; }) set(accept.lineEnds);
    if constexpr (requires { accept.padding; })
        accept.padding = decltype(accept.padding)(input.byte() % 3);
    if constexpr (requires { accept.alphabet; }) {
        if (input.flag()) accept.alphabet = decltype(accept.alphabet)(1);
    }
}

}  // namespace

#define CONTENTCODING_CHECK(name)                                          \
    if (choice-- == 0) {                                                   \
        namespace format = contentcoding::name;                            \
        format::Format written;                                            \
        format::Accept accept;                                             \
        draw(written, input);                                              \
        drawLeniency(accept, input);                                       \
        Input cuts = input;                                                \
        const HeapCopy text = input.rest();                                \
        checkEncoder<format::Encoder>(text.view(), written, cuts);         \
        checkDecoder<format::Decoder>(text.view(), accept, cuts);          \
        const auto back = format::decode(format::encode(text.view()));     \
        const bool isText = std::string_view(#name) == "quoted_printable"; \
        expect(back.has_value() && (isText || *back == text.view()));      \
    }

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Input input(data, size);
    unsigned int choice = input.byte() % 7;
    CONTENTCODING_STREAMED_FORMATS(CONTENTCODING_CHECK)
    return 0;
}
