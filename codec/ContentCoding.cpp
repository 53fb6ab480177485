#include "codec/ContentCoding.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <limits>
#include <string_view>

#include "codec/Ascii85.h"
#include "codec/Base58.h"
#include "codec/Base64.h"
#include "codec/BufferWindow.h"
#include "codec/Bytes.h"
#include "codec/QuotedPrintable.h"
#include "codec/Straight.h"
#include "codec/Window.h"
#include "contentcoding/base32.hpp"
#include "contentcoding/dkim.hpp"
#include "contentcoding/eda.hpp"

// The methods of the class: adaptors over the coders, which choose where a coder writes, and say
// in the class's way what came of it.

namespace {

namespace ascii85 = contentcoding::ascii85;
namespace base32 = contentcoding::base32;
namespace base58 = contentcoding::base58;
namespace base64 = contentcoding::base64;
namespace dkim = contentcoding::dkim;
namespace quoted_printable = contentcoding::quoted_printable;
namespace eda = contentcoding::eda;

using contentcoding::Blocks;
using contentcoding::BlockWindow;
using contentcoding::BufferAccess;
using contentcoding::BufferWindow;
using contentcoding::Bytes;
using contentcoding::runLength;
using contentcoding::SpanWindow;

constexpr unsigned int kMaxSize = std::numeric_limits<unsigned int>::max();
constexpr std::string_view kCrLf = "\r\n";

// A sink of the class, as what takes blocks.
auto takerOf(_zqOutput& out, _zqIoParams& ioParams, LogBase& log) {
    return [&](const char* block, std::size_t n) {
        return out.writeBytes(block, static_cast<unsigned int>(n), ioParams, log);
    };
}

// ---- Base64 ----

constexpr std::size_t kBase64Flush = 255;
constexpr std::string_view kXmlCrLf = "&#xD;\r\n";

// From here on 3 times the number of characters passes 32 bits.
constexpr unsigned int kTooManyChars = kMaxSize / 3 + 1;

// A line ends with the quantum that reaches its length.
base64::Encoder linesOf(unsigned int lineLength, std::string_view lineBreak) {
    return {_base64_table, (std::max(lineLength, 1u) - 1) / 4 + std::size_t{1}, lineBreak};
}

// The end of a text: its last quantum, if that is not whole, and a line end.
struct Tail {
    Tail(base64::Encoder& encoder, std::string_view end) {
        SpanWindow window(text);
        size = encoder.end(window) && window.put(end) && window.finish() ? window.size() : 0;
    }
    char text[8];
    std::size_t size;
};

bool appendBase64Text(base64::Encoder&& encoder, const void* data, unsigned int len,
                      std::string_view end, StringBuffer& out) {
    assert(BufferAccess::isApart(out, data, len));
    const auto sizes = encoder.sizesOf(len);
    const std::uint64_t size = std::uint64_t{sizes.all()} + end.size();
    char* const text = size <= kMaxSize
                           ? BufferAccess::appendUninitialized(out, static_cast<unsigned int>(size))
                           : nullptr;
    if (text) {
        encoder.encodeAll({data, len}, sizes, text);
        end.copy(text + sizes.all(), end.size());
        return true;
    }
    // Without room for all, as many blocks as there is room for.
    BufferWindow<StringBuffer, kBase64Flush + 1> window(out, Blocks::above(kBase64Flush));
    if (!encoder.write({data, len}, window) || !window.finish()) return false;
    const Tail tail(encoder, end);
    return std::all_of(tail.text, tail.text + tail.size, [&](char c) { return out.appendChar(c); });
}

bool encodeInLines(const void* data, unsigned int len, unsigned int lineLength,
                   std::string_view lineBreak, StringBuffer& out) {
    // What is reserved is the hint, or the need where that is more and can be had.
    const unsigned int hint = ContentCoding::computeBase64Size(len, lineLength);
    if (!data) len = 0;
    const std::size_t need = linesOf(lineLength, lineBreak).sizesOf(len).all() + kCrLf.size();
    const bool isReserved = len > 0 && need > hint && need <= kMaxSize &&
                            BufferAccess::reserve(out, static_cast<unsigned int>(need));
    if (!isReserved && !out.expectNumBytes(hint)) return false;
    if (len == 0) return true;
    const bool ok = appendBase64Text(linesOf(lineLength, lineBreak), data, len, kCrLf, out);
    // A last line that is full has its own break already: one CRLF is enough.
    const auto shorten = [&out](std::size_t n) {
        BufferAccess::shrinkTo(out, out.getSize() - static_cast<unsigned int>(n));
    };
    if (out.endsWith("\r\n\r\n")) shorten(kCrLf.size());
    if (lineBreak != kCrLf && out.endsWith(lineBreak.data())) {
        shorten(lineBreak.size());
        (void)out.append(kCrLf.data());  // into the room of what was cut
    }
    return ok;
}

// Decodes text into `bytes`, which has room for 3 of them for each 4 characters. Returns how many
// they are; `cut` gets the bits of a cut group that complete no byte.
unsigned int decodeBase64Text(const char* text, unsigned int len,
                              const contentcoding::Base64Values& values, unsigned char* bytes,
                              unsigned char& cut) {
    base64::Decoder decoder(base64::kAnything, values);
    const std::size_t n = decoder.decodeAnything({text, len}, reinterpret_cast<char*>(bytes));
    cut = decoder.cutBits();
    return static_cast<unsigned int>(n);
}

// What the array of a decoder has beyond the bytes of its digits.
constexpr unsigned int kSpareBytes = 8;
constexpr unsigned int kSpareBytes2 = 4;

// Text that is not empty into a new array of 3 * len / 4 + spare bytes. Null, with *outLen left
// alone, when there is no table, `len` is too much, or memory is short.
unsigned char* newDecoded(const char* text, unsigned int len, const unsigned char* table,
                          unsigned int spare, unsigned int* outLen) {
    if (!table || len >= kTooManyChars) return nullptr;
    auto* const bytes = reinterpret_cast<unsigned char*>(zqNewChar(3 * len / 4 + spare));
    if (!bytes) return nullptr;
    unsigned char cut = 0;
    const unsigned int n = table == _base64DecodeTable.data()
                               ? decodeBase64Text(text, len, base64::standardValues(), bytes, cut)
                               : decodeBase64Text(text, len, base64::valuesOf(table), bytes, cut);
    bytes[n] = cut;
    bytes[n + 1] = 0;
    *outLen = n;
    return bytes;
}

// ---- Quoted-printable ----

constexpr std::size_t kQpBlock = 2000;
constexpr unsigned int kShortestLine = 10;

quoted_printable::Encoder qpEncoder(unsigned int lineLength) {
    return quoted_printable::Encoder({.newlines = quoted_printable::Newlines::kCrLf,
                                      .columns = std::max(lineLength, kShortestLine)});
}

// Of the blocks only the last one's result is looked at.
template <class Encoder>
bool appendEscaped(Encoder&& encoder, const void* data, unsigned int len, StringBuffer& out) {
    assert(BufferAccess::isApart(out, data, len));
    BufferWindow<StringBuffer, kQpBlock> window(out, Blocks::of(kQpBlock).goingOn());
    return encoder.writeAll({data, len}, window) && window.finish();
}

const unsigned char* bytesOf(const char* text) {
    return reinterpret_cast<const unsigned char*>(text);
}

// ---- Other radices ----

// A block is handed over when more than so many characters or bytes are held.
constexpr std::size_t kBase32FlushChars = 390;
constexpr std::size_t kBase32FlushBytes = 394;
constexpr std::size_t kAscii85Flush = 255;
constexpr std::size_t kBase32GroupBytes = 5;
constexpr std::size_t kBase32GroupChars = 8;
constexpr std::size_t kAscii85GroupChars = 5;
constexpr std::size_t kAscii85GroupBytes = 4;
constexpr std::size_t kEdaFlush = 250;
constexpr std::size_t kEdaGroupChars = 3;
constexpr std::size_t kEdaGroupBytes = 2;

// Has `code(array)` write to the room that the buffer has, if that is as much as it may need.
// False, and nothing appended, when there is less, or nothing was written.
template <class Buffer, class Code>
bool fillsSpare(Buffer& out, std::size_t most, Code code) {
    const auto spare = BufferAccess::spare(out);
    if (spare.size() < most) return false;
    const std::size_t n = code(reinterpret_cast<char*>(spare.data()));
    BufferAccess::setSize(out, out.getSize() + static_cast<unsigned int>(n));
    return n > 0;
}

void logFault(const ascii85::Decoder::Overflow& overflow, LogBase& log) {
    if (overflow.isShort)
        log.LogError(overflow.inFourDigits
                         ? "Invalid ascii85 input in final chunk: integer overflow."
                         : "Invalid ascii85 input in final chunk: integer overflow..");
    else
        log.LogError(overflow.inFourDigits ? "Invalid ascii85 input: integer overflow."
                                           : "Invalid ascii85 input: integer overflow..");
}

}  // namespace

ContentCoding::~ContentCoding() = default;

unsigned int ContentCoding::computeBase64Size(unsigned int n, unsigned int lineLength) {
    const unsigned int characters = (4 * n + 8) / 3;
    const unsigned int breaks = lineLength != 0 ? (2 * characters) / lineLength : 0;
    return characters + 3 + breaks;
}

bool ContentCoding::encodeBase64(const void* data, unsigned int len, StringBuffer& out) const {
    return encodeInLines(data, len, m_lineLength, kCrLf, out);
}

bool ContentCoding::encodeBase64_crEntity(const void* data, unsigned int len,
                                          StringBuffer& out) const {
    return encodeInLines(data, len, m_lineLength, kXmlCrLf, out);
}

bool ContentCoding::encodeBase64ToOutput(const void* data, unsigned int len, _zqOutput& out,
                                         _zqIoParams& ioParams, LogBase& log) const {
    if (!data || len == 0) return true;
    const auto take = takerOf(out, ioParams, log);
    BlockWindow<decltype(take), kBase64Flush + 1> window(take, Blocks::above(kBase64Flush));
    base64::Encoder encoder = linesOf(m_lineLength, kCrLf);
    if (!encoder.write({data, len}, window) || !window.finish()) return false;
    const Tail tail(encoder, kCrLf);
    return take(tail.text, tail.size);
}

bool ContentCoding::encodeBase64_noCrLf_inner(const void* data, unsigned int len, const char* table,
                                              StringBuffer& out) {
    if (!data || len == 0) return true;
    if (!table || !out.expectNumBytes(computeBase64Size(len, len))) return false;
    return appendBase64Text({table, base64::kNoLines, ""}, data, len, "", out);
}

bool ContentCoding::encodeBase64_noCrLf(const void* data, unsigned int len, StringBuffer& out) {
    return encodeBase64_noCrLf_inner(data, len, _base64_table, out);
}

bool ContentCoding::encodeModBase64_noCrLf(const void* data, unsigned int len, StringBuffer& out) {
    return encodeBase64_noCrLf_inner(data, len, _modBase64_table, out);
}

unsigned char* ContentCoding::decodeBase64a(const char* text, unsigned int len,
                                            const unsigned char* table, unsigned int* outLen) {
    if (!outLen) return nullptr;
    *outLen = 0;
    if (!text || len == 0) return nullptr;
    return newDecoded(text, len, table, kSpareBytes, outLen);
}

unsigned char* ContentCoding::decodeBase64(const char* text, unsigned int len,
                                           unsigned int* outLen) {
    return decodeBase64a(text, len, _base64DecodeTable.data(), outLen);
}

unsigned char* ContentCoding::decodeBase64_2a(const char* text, unsigned int len,
                                              const unsigned char* table, unsigned int* outLen,
                                              bool& ok) {
    ok = false;
    if (!outLen) return nullptr;
    *outLen = 0;
    ok = !text || len == 0;
    if (ok) return nullptr;
    unsigned char* const bytes = newDecoded(text, len, table, kSpareBytes2, outLen);
    ok = bytes != nullptr;
    return bytes;
}

unsigned char* ContentCoding::decodeBase64_2(const char* text, unsigned int len,
                                             unsigned int* outLen, bool& ok) {
    return decodeBase64_2a(text, len, _base64DecodeTable.data(), outLen, ok);
}

bool ContentCoding::decodeBase64ToDb(const char* text, unsigned int len, DataBuffer& out) {
    if (!text || len == 0) {
        out.takeData(nullptr, 0);
        return true;
    }
    if (len >= kTooManyChars) return false;
    const unsigned int most = 3 * len / 4;
    const auto& values = base64::standardValues();
    unsigned char cut = 0;
    if (unsigned char* const bytes = BufferAccess::reuse(out, most, text, len)) {
        BufferAccess::setSize(out, decodeBase64Text(text, len, values, bytes, cut));
        return true;
    }
    auto* const bytes = reinterpret_cast<unsigned char*>(zqNewChar(most + 1));
    if (!bytes) return false;
    BufferAccess::adopt(out, bytes, decodeBase64Text(text, len, values, bytes, cut), most);
    return true;
}

bool ContentCoding::appendBase64(StringBuffer& out, const char* text) {
    assert(BufferAccess::isApart(out, text, zqStrLen(text)));
    const unsigned int len = zqStrLen(text);
    if (len == 0) return true;
    unsigned int decodedLen = 0;
    char* const bytes = reinterpret_cast<char*>(decodeBase64(text, len, &decodedLen));
    if (!bytes) return false;
    ByteArrayOwner owner;
    owner.m_ownedArray = bytes;
    return out.appendN(bytes, decodedLen);
}

bool ContentCoding::isBase64(const char* text, unsigned int len, LogBase&) {
    return text && runLength(bytesOf(text), len, base64::kText) == len;
}

bool ContentCoding::isBase64_utf16LE(const char* text, unsigned int len) {
    if (!text || len < 3 || len % 2 != 0) return false;
    for (unsigned int i = 2; i < len; i += 2) {
        if (!base64::kText[bytesOf(text)[i]] || text[i + 1] != 0) return false;
    }
    return true;
}

bool ContentCoding::validateBase64(const char* text, unsigned int len) const {
    if (!text) return false;
    const std::size_t run = runLength(bytesOf(text), len, base64::kInRange);
    return run == len || text[run] == '\0' || text[run] == '=';
}

bool ContentCoding::encodeQuotedPrintable(const void* data, unsigned int len,
                                          StringBuffer& out) const {
    if (!data || len == 0) return true;
    return out.expectNumBytes(len) && appendEscaped(qpEncoder(m_lineLength), data, len, out);
}

char* ContentCoding::encodeQuotedPrintable(const void* data, unsigned int len,
                                           unsigned int* outLen) const {
    if (!outLen) return nullptr;
    *outLen = 0;
    if (!data || len == 0) return nullptr;
    StringBuffer text;
    if (!text.expectNumBytes(len)) return nullptr;
    // What could be held is returned, as the interface has it.
    (void)appendEscaped(qpEncoder(m_lineLength), data, len, text);
    return text.extractString(outLen);
}

bool ContentCoding::encodeQpToOutput(const void* data, unsigned int len, _zqOutput& out,
                                     _zqIoParams& ioParams, LogBase& log) const {
    if (!data || len == 0) return true;
    const auto take = takerOf(out, ioParams, log);
    BlockWindow<decltype(take), 4 * kQpBlock> window(take, Blocks::of(kQpBlock));
    return qpEncoder(m_lineLength).writeAll({data, len}, window) && window.finish();
}

bool ContentCoding::decodeQuotedPrintable(const char* text, unsigned int len,
                                          DataBuffer& out) const {
    assert(BufferAccess::isApart(out, text, len));
    if (!text || len == 0) return false;
    const void* const nul = std::memchr(text, '\0', len);
    if (nul) len = static_cast<unsigned int>(static_cast<const char*>(nul) - text);
    BufferWindow<DataBuffer, kQpBlock> window(out, Blocks::of(kQpBlock).goingOn());
    return len > 0 &&
           quoted_printable::decodeLegacy({text, len}, m_qpDecodeUnicodeEscapes, window) &&
           window.finish();
}

bool ContentCoding::encodeDkimQuotedPrintable(const void* data, unsigned int len,
                                              StringBuffer& out) const {
    if (!data || len == 0) return true;
    return out.expectNumBytes(len) &&
           appendEscaped(dkim::Encoder(dkim::Encoder::Legacy{m_lineLength}), data, len, out);
}

bool ContentCoding::decodeDkimQuotedPrintable(const char* text, unsigned int len, DataBuffer& out) {
    assert(BufferAccess::isApart(out, text, len));
    if (!text || len == 0) return true;
    BufferWindow<DataBuffer, kQpBlock> window(out, Blocks::of(kQpBlock));
    dkim::Decoder decoder(dkim::Decoder::Legacy{});
    return decoder.write({text, len}, window) && decoder.end(window) && window.finish();
}

unsigned int ContentCoding::computeBase32Size(unsigned int n) { return (n + 4) / 5 * 8; }

bool ContentCoding::encodeBase32_noCrLf(const unsigned char* data, unsigned int len,
                                        StringBuffer& out) {
    assert(BufferAccess::isApart(out, data, len));
    const Bytes bytes(data, len);
    const std::size_t groups = (bytes.size() + kBase32GroupBytes - 1) / kBase32GroupBytes;
    if (fillsSpare(out, groups * kBase32GroupChars,
                   [&](char* to) { return base32::encodeStraight(bytes, to); }))
        return true;
    BufferWindow<StringBuffer, kBase32FlushChars + 1> window(out, Blocks::above(kBase32FlushChars));
    (void)window.expect(groups * kBase32GroupChars);
    base32::Encoder encoder;
    return encoder.write(bytes, window) && encoder.end(window) && window.finish();
}

bool ContentCoding::decodeBase32(const char* text, DataBuffer& out, LogBase&) {
    assert(BufferAccess::isApart(out, text, zqStrLen(text)));
    constexpr std::size_t kFirstPart = 8192, kGrowth = 16;
    std::string_view rest(text ? text : "");
    if (fillsSpare(out, base32::maxDecodedSize(rest.size()),
                   [&](char* to) { return base32::decodeStraight(rest, to); }))
        return true;
    BufferWindow<DataBuffer, kBase32FlushBytes + 1> window(out, Blocks::above(kBase32FlushBytes));
    base32::Decoder decoder(base32::kAnything);
    // Text may be white space: room is reserved for little more than has been decoded.
    for (const unsigned int before = out.getSize(); !rest.empty();) {
        const std::size_t most = std::max(kFirstPart, kGrowth * (out.getSize() - before));
        const std::string_view part = rest.substr(0, most);
        (void)window.expect(base32::maxDecodedSize(part.size()));
        if (!decoder.write(part, window)) return false;
        rest.remove_prefix(part.size());
    }
    return decoder.end(window) && window.finish();
}

bool ContentCoding::encodeBase58(const void* data, unsigned int len, StringBuffer& out, LogBase&) {
    assert(BufferAccess::isApart(out, data, len));
    base58::ToText text({data, len});
    const base58::Work work(text.workSize());
    if (!work || !text.convert(work.get())) return false;
    BufferWindow<StringBuffer, 1> window(out, Blocks::above(0));
    return window.expect(text.size()) && text.write(window) && window.finish();
}

bool ContentCoding::decodeBase58(const char* text, DataBuffer& out, LogBase& log) {
    assert(BufferAccess::isApart(out, text, zqStrLen(text)));
    base58::ToBytes bytes(text, base58::kAnything);
    const base58::Work work(bytes.workSize());
    if (!work) return false;
    if (const auto done = bytes.convert(work.get()); !done) {
        const bool isHigh = (text[done.error().offset] & 0x80) != 0;
        log.LogError(isHigh ? "base58 decode error 1" : "base58 decode error 2");
        return false;
    }
    if (bytes.size() > kMaxSize) return false;
    BufferWindow<DataBuffer, 1> window(out, Blocks::above(0));
    // As the interface has it, without a look at whether it was appended.
    if (window.expect(bytes.size())) (void)(bytes.write(window) && window.finish());
    return true;
}

bool ContentCoding::encodeAscii85(const void* data, unsigned int len, StringBuffer& out, LogBase&) {
    assert(BufferAccess::isApart(out, data, len));
    const Bytes bytes(data, len);
    if (fillsSpare(out, ascii85::maxEncodedSize(bytes.size()),
                   [&](char* to) { return ascii85::encodeStraight(bytes, to); }))
        return true;
    BufferWindow<StringBuffer, kAscii85Flush + 1> window(out, Blocks::above(kAscii85Flush));
    ascii85::Encoder encoder;
    return encoder.write(bytes, window) && encoder.end(window) && window.finish();
}

bool ContentCoding::decodeAscii85(const StringBuffer& text, DataBuffer& out, LogBase& log) {
    if (fillsSpare(out, text.getSize() / kAscii85GroupChars * kAscii85GroupBytes,
                   [&](char* to) { return ascii85::decodeStraight(text.view(), to); }))
        return true;
    if (!ascii85::isAllAccepted(text.view())) {
        log.LogError("Invalid ascii85 input: char not in ascii85 alphabet.");
        return false;
    }
    BufferWindow<DataBuffer, kAscii85Flush + 1> window(out, Blocks::above(kAscii85Flush));
    ascii85::Decoder decoder(ascii85::kAnything);
    contentcoding::Result<void> done = decoder.write(text.view(), window);
    if (done) done = decoder.end(window);
    if (done) return window.finish();
    if (done.error().fault == contentcoding::Fault::kGroupTooLarge)
        logFault(decoder.overflow(), log);
    return false;
}

bool ContentCoding::encodeEda(const void* data, unsigned int len, StringBuffer& out) {
    assert(BufferAccess::isApart(out, data, len));
    const Bytes bytes(data, len);
    if (fillsSpare(out, eda::encodedSize(bytes.size()),
                   [&](char* to) { return eda::encodeStraight(bytes, to); }))
        return true;
    BufferWindow<StringBuffer, kEdaFlush + 1> window(out, Blocks::above(kEdaFlush).goingOn());
    eda::Encoder encoder;
    (void)(encoder.write(bytes, window) && encoder.end(window) && window.finish());
    return true;
}

bool ContentCoding::decodeEda(const char* text, unsigned int len, DataBuffer& out) {
    assert(BufferAccess::isApart(out, text, len));
    const Bytes all(text, len);
    if (fillsSpare(out, eda::maxDecodedSize(all.size()),
                   [&](char* to) { return eda::decodeStraight(all, to); }))
        return true;
    // Without room for all whole groups, as many as there is room for.
    BufferWindow<DataBuffer, kEdaGroupBytes> window(out, Blocks::of(kEdaGroupBytes).goingOn());
    (void)window.expect(all.size() / kEdaGroupChars * kEdaGroupBytes);
    eda::Decoder decoder(eda::kAnything);
    (void)(decoder.write(all, window) && decoder.end(window) && window.finish());
    return true;
}
