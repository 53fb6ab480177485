// Encoding to Base64, in lines of any length and with any alphabet, and decoding gives the input
// back.
#include <string>

#include "codec/Base64.h"
#include "fuzz/Input.h"

namespace {

constexpr unsigned char kNoDigit = 0x7F;

void expectDecodes(std::string_view text, const unsigned char* table, std::string_view bytes) {
    const HeapCopy exact(text, HeapCopy::kExact);
    unsigned int n = 0;
    const Returned decoded(ContentCoding::decodeBase64a(exact.chars(), exact.size(), table, &n));
    expect(decoded.view(n) == bytes);
}

// Random digits: a caller's table covers "+" to "z", without "=" and ".".
void withDrawnAlphabet(Input& input, const HeapCopy& bytes) {
    std::string digits;
    for (char c = '+'; c <= 'z'; ++c) {
        if (c != '=' && c != '.') digits += c;
    }
    for (std::size_t i = digits.size() - 1; i > 0; --i)
        std::swap(digits[i], digits[input.byte() % (i + 1)]);
    digits.resize(64);
    unsigned char table[80];
    std::fill(std::begin(table), std::end(table), kNoDigit);
    for (unsigned char v = 0; v < 64; ++v)
        table[digits[v] - '+'] = v;
    StringBuffer text;
    expect(
        ContentCoding::encodeBase64_noCrLf_inner(bytes.bytes(), bytes.size(), digits.data(), text));
    expectDecodes(text.view(), table, bytes.view());
}

// An XML reader turns the entity into a carriage return.
std::string withoutEntities(std::string text) {
    constexpr std::string_view entity = "&#xD;";
    std::string read;
    std::size_t from = 0;
    for (std::size_t at; (at = text.find(entity, from)) != text.npos; from = at + entity.size())
        read.append(text, from, at - from) += '\r';
    return read.append(text, from);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Input input(data, size);
    ContentCoding codec;
    codec.m_lineLength = input.number();
    const bool drawnAlphabet = input.flag();
    Input alphabet = input;
    if (drawnAlphabet) (void)input.text(77);
    const HeapCopy bytes = input.rest();
    if (drawnAlphabet) withDrawnAlphabet(alphabet, bytes);

    StringBuffer wrapped, entities, plain, urlSafe;
    expect(codec.encodeBase64(bytes.bytes(), bytes.size(), wrapped));
    expect(codec.encodeBase64_crEntity(bytes.bytes(), bytes.size(), entities));
    expect(ContentCoding::encodeBase64_noCrLf(bytes.bytes(), bytes.size(), plain));
    expect(ContentCoding::encodeModBase64_noCrLf(bytes.bytes(), bytes.size(), urlSafe));
    const unsigned char* const table = _base64DecodeTable.data();
    expectDecodes(wrapped.view(), table, bytes.view());
    expectDecodes(withoutEntities(std::string(entities.view())), table, bytes.view());
    expectDecodes(plain.view(), table, bytes.view());
    for (const auto& [from, to] : {std::pair{'-', '+'}, {'_', '/'}}) {
        std::string standard;
        for (const char c : urlSafe.view())
            standard += c == from ? to : c;
        urlSafe = StringBuffer(standard);
    }
    expect(urlSafe.view() == plain.view());

    LogNull log;
    expect(codec.isBase64(wrapped.getString(), wrapped.getSize(), log));
    return 0;
}
