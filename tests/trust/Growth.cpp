// Runs one operation once, on the worst input that is known for it, so that its instructions can be
// counted: scripts/check-growth does that for two lengths. Results are dropped: other tests look at
// them.
// usage: growth CASE LENGTH; without arguments it lists the cases

#include <cstdio>
#include <cstdlib>
#include <functional>

#include "codec/Itida.h"
#include "support/Charset.h"
#include "tests/TestSupport.h"

namespace {

using CC = ContentCoding;

struct Case {
    const char* name;
    std::function<std::string(std::size_t n)> input;
    std::function<void(const std::string& input)> run;
};

// `n` characters of the unit repeated.
auto repeated(std::string unit) {
    return [unit](std::size_t n) { return x(n / unit.size(), unit); };
}

void decodeHeader(const std::string& text) {
    StringBuffer value(text);
    LogNull log;
    CC::QB_DecodeToUtf8(value, log);
    DataBuffer bytes;
    value = StringBuffer(text);
    CC::QB_Decode(value, bytes);
}

void decodeParameter(const std::string& text) {
    StringBuffer value(text), decoded, charset;
    LogNull log;
    (void)CC::decodeStarEncoded(value, "utf-8", decoded, charset, log);
}

void decodeBase64(const std::string& text) {
    unsigned int length = 0;
    delete[] CC::decodeBase64(text.data(), size32(text), &length);
}

void encodeHeader(const std::string& text) {
    StringBuffer out;
    LogNull log;
    const ContentCoding codec;
    codec.bEncodeForMimeField(text.data(), size32(text), true, 65001, "utf-8", out, log);
    codec.qEncodeForMimeField(text.data(), size32(text), true, 65001, "utf-8", out);
}

void encodeAll(const std::string& bytes) {
    StringBuffer out;
    LogNull log;
    ContentCoding codec;
    const auto n = size32(bytes);
    codec.setLineLength(10);
    (void)codec.encodeBase64(bytes.data(), n, out);
    (void)codec.encodeBase64_crEntity(bytes.data(), n, out);
    (void)codec.encodeQuotedPrintable(bytes.data(), n, out);
    (void)codec.encodeDkimQuotedPrintable(bytes.data(), n, out);
    unsigned int length = 0;
    delete[] codec.Q_Encode(bytes.data(), n, &length);
    (void)CC::encodeBase32_noCrLf(reinterpret_cast<const unsigned char*>(bytes.data()), n, out);
    (void)CC::encodeAscii85(bytes.data(), n, out, log);
    CC::encodeEda(bytes.data(), n, out);
}

void decodeAll(const std::string& text) {
    DataBuffer out;
    LogNull log;
    ContentCoding codec;
    codec.m_qpDecodeUnicodeEscapes = true;
    const auto n = size32(text);
    codec.decodeQuotedPrintable(text.data(), n, out);
    (void)CC::decodeDkimQuotedPrintable(text.data(), n, out);
    delete[] CC::Q_Decode(text.data(), n, nullptr);
    (void)CC::decodeBase32(text.c_str(), out, log);
    (void)CC::decodeAscii85(StringBuffer(text), out, log);
    CC::decodeEda(text.data(), n, out);
}

void canonicalize(const std::string& text) {
    DataBuffer json, out;
    json.append(text.data(), size32(text));
    LogNull log;
    (void)CC::canonicalizeItida(json, out, log);
}

// What it takes to know the size of a form, which may be far larger than the document.
void measureForm(const std::string& text) {
    contentcoding::ItidaForm form;
    if (form.load(text) != contentcoding::ItidaStatus::kOk ||
        form.measure(~std::uint64_t{0}) != contentcoding::ItidaStatus::kOk)
        std::abort();
}

void convert(const std::string& text) {
    DataBuffer out;
    LogNull log;
    EncodingConvert converter;
    for (const int codePage : {65000, 50220, 932, 54936, 1200})
        (void)converter.EncConvert(codePage, 65001,
                                   reinterpret_cast<const unsigned char*>(text.data()),
                                   size32(text), out, log);
}

void decodePercents(const std::string& text) {
    StringBuffer value(text);
    (void)_zqUrlEncode::urlDecodeSb(value);
}

const Case kCases[] = {
    {"encode-noise", noise, encodeAll},
    {"encode-dots", repeated(".\r\n"), encodeAll},
    {"encode-blanks", repeated(" \r"), encodeAll},
    {"decode-equals", repeated("="), decodeAll},
    {"decode-half-escapes", repeated("=A=\r"), decodeAll},
    {"decode-references", repeated("=00FFFF;=FFFFFF4"), decodeAll},
    {"decode-blank-lines", repeated(" \t\r\n"), decodeAll},
    {"decode-blanks", repeated(" "), decodeAll},
    {"decode-z", repeated("z!"), decodeAll},
    {"base64-alternating", repeated("A-"), decodeBase64},
    {"base64-junk", repeated("-"), decodeBase64},
    {"base64-late-digits", [](std::size_t n) { return "AAA" + x(n, "-") + "A"; }, decodeBase64},
    {"header-starts", repeated("=?x?y?"), decodeHeader},
    {"header-stars", repeated("=?*"), decodeHeader},
    {"header-marks", repeated("=?"), decodeHeader},
    {"header-words", repeated("=?koi8-r?Q?=C1?= "), decodeHeader},
    {"header-unknown", repeated("=?no-such?B?QQ==?= "), decodeHeader},
    {"header-encode", repeated("\xD0\x96 "), encodeHeader},
    {"parameter-percents", repeated("%"), decodeParameter},
    {"parameter-quotes", repeated("''"), decodeParameter},
    {"url-decode", repeated("%4%"), decodePercents},
    {"charset-cut-sequences", repeated("+A-\x1B$B\x81\xFF"), convert},
    {"json-brackets", repeated("{\"a\":"), canonicalize},
    {"json-members", [](std::size_t n) { return "{\"a\":[" + x(n / 2, "1,") + "1]}"; },
     canonicalize},
    {"json-nested", [](std::size_t n) { return "{\"a\":[" + x(n / 3, "[],") + "1]}"; },
     canonicalize},
    {"json-escapes", [](std::size_t n) { return "{\"a\":\"" + x(n / 2, "\\\"") + "\"}"; },
     canonicalize},
    {"json-digits", [](std::size_t n) { return "{\"a\":0." + std::string(n, '1') + "}"; },
     canonicalize},
    {"json-array-name",
     [](std::size_t n) { return "{\"" + x(n / 2) + "\":[" + x(n / 4, "1,") + "1]}"; }, measureForm},
};

}  // namespace

// By this name the instructions are counted.
extern "C" [[gnu::noinline]] void measured(const Case& growth, const std::string& input) {
    growth.run(input);
}

int main(int argc, char** argv) {
    for (const Case& growth : kCases) {
        if (argc < 3)
            std::puts(growth.name);
        else if (growth.name == std::string(argv[1]))
            measured(growth, growth.input(static_cast<std::size_t>(std::atol(argv[2]))));
    }
}
