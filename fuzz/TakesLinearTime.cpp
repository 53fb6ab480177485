// Reading or writing a megabyte of any repeated text takes time that grows with its length, so it
// stays well within the limit for a run.
#include <string>

#include "contentcoding/mailbox.hpp"
#include "contentcoding/parameter.hpp"
#include "contentcoding/transfer.hpp"
#include "fuzz/Input.h"
#include "support/Charset.h"
#include "support/Json.h"

namespace {

constexpr std::size_t kMegabyte = std::size_t{1} << 20;

int drawCodePage(Input& input) {
    const auto known = contentcoding::knownCharsets();
    return known[input.number() % known.size()].codePage;
}

void readMimeWords(const HeapCopy& text) {
    LogText log;
    StringBuffer value(text.view()), parameter, charset;
    DataBuffer bytes;
    expect(ContentCoding::QB_Decode(value, bytes));
    expect(ContentCoding::decodeStarEncoded(value, "iso-8859-1", parameter, charset, log));
    expect(ContentCoding::QB_DecodeToUtf8(value, log));
}

void readHeaders(const HeapCopy& text) {
    namespace header = contentcoding::header;
    (void)header::decode(text.view());
    (void)header::encode(text.view());
    (void)contentcoding::mailbox::parse(text.view());
    (void)contentcoding::mailbox::format(text.view(), "a@b");
    (void)contentcoding::parameter::parse(text.view());
    (void)contentcoding::parameter::format("a", {{"n", std::string(text.view())}});
    (void)contentcoding::transfer::encodingOf(text.view());
}

void loadJson(const HeapCopy& text) {
    LogText log;
    ClsJsonObject* const document = ClsJsonObject::createNewCls();
    RefCountedObjectOwner owner;
    owner.take(document);
    (void)document->loadJson(DataBuffer({text.bytes(), text.size()}), log);
}

void readRadix(const HeapCopy& text) {
    LogText log;
    DataBuffer bytes;
    const HeapCopy terminated(text.view(), HeapCopy::kTerminated);
    expect(ContentCoding::decodeBase32(terminated.chars(), bytes, log));
    (void)ContentCoding::decodeAscii85(StringBuffer(text.view()), bytes, log);
    expect(ContentCoding::decodeEda(text.chars(), text.size(), bytes));
}

void readMail(const ContentCoding& codec, const HeapCopy& text) {
    DataBuffer bytes;
    (void)codec.decodeQuotedPrintable(text.chars(), text.size(), bytes);
    expect(ContentCoding::decodeDkimQuotedPrintable(text.chars(), text.size(), bytes));
    expect(ContentCoding::decodeBase64ToDb(text.chars(), text.size(), bytes));
}

void writeMail(const ContentCoding& codec, const HeapCopy& bytes, int codePage) {
    StringBuffer text;
    LogText log;
    expect(codec.encodeQuotedPrintable(bytes.bytes(), bytes.size(), text));
    expect(codec.encodeBase64(bytes.bytes(), bytes.size(), text));
    expect(codec.bEncodeForMimeField(bytes.bytes(), bytes.size(), true, codePage, "x", text, log));
    expect(codec.qEncodeForMimeField(bytes.bytes(), bytes.size(), true, codePage, "x", text));
}

void convert(const HeapCopy& text, int from, int to) {
    LogText log;
    DataBuffer out;
    EncodingConvert converter;
    (void)converter.EncConvert(from, to, text.bytes(), text.size(), out, log);
    StringBuffer name(text.view());
    (void)CharsetNaming::CharsetValid(name);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Input input(data, size);
    const unsigned int operation = input.byte() % 7;
    ContentCoding codec;
    codec.setLineLength(input.byte());
    codec.m_qpDecodeUnicodeEscapes = input.flag();
    const int from = drawCodePage(input), to = drawCodePage(input);
    std::string repeated(input.shortText());
    const HeapCopy unit = input.rest();
    if (unit.size() == 0) return 0;
    while (repeated.size() + unit.view().size() <= kMegabyte)
        repeated += unit.view();
    const HeapCopy text(repeated, HeapCopy::kExact);
    switch (operation) {
        case 0:
            readMimeWords(text);
            break;
        case 1:
            loadJson(text);
            break;
        case 2:
            readRadix(text);
            break;
        case 3:
            readMail(codec, text);
            break;
        case 6:
            readHeaders(text);
            break;
        case 4:
            writeMail(codec, text, from);
            break;
        default:
            convert(text, from, to);
    }
    return 0;
}
