#include <algorithm>
#include <array>
#include <cassert>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>

#include "codec/Bytes.h"
#include "codec/ContentCoding.h"
#include "codec/StagingWriter.h"
#include "codec/Tables.h"
#include "codec/kernels/Kernels.h"
#include "support/BufferAccess.h"

// The alphabets of RFC 4648, sections 4 and 5: the digit of value v is entry v.
constexpr char _base64_table[65] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char _modBase64_table[65] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

namespace {

using namespace std::string_view_literals;
using contentcoding::Base64Format;
using contentcoding::Base64Values;
using contentcoding::BufferAccess;
using contentcoding::byteClass;
using contentcoding::ByteClass;
using contentcoding::kBase64Skipped;
using contentcoding::runLength;
using contentcoding::StagingWriter;
using contentcoding::ToOutput;
using contentcoding::ToText;

constexpr unsigned int kGroupBytes = 3;
constexpr unsigned int kQuantumChars = 4;
constexpr unsigned int kFlushAbove = 255;
constexpr std::string_view kCrLf = "\r\n";
constexpr std::string_view kXmlCrLf = "&#xD;\r\n";
constexpr char kPad = '=';

// The decode table covers these characters only.
constexpr char kFirstChar = '+';
constexpr char kLastChar = 'z';
constexpr unsigned char kNoDigit = kBase64Skipped;
constexpr unsigned int kTableSize = kLastChar - kFirstChar + 1;

// From here on 3 times the number of characters passes 32 bits.
constexpr unsigned int kTooManyChars = std::numeric_limits<unsigned int>::max() / 3 + 1;

constexpr auto inverseOf(const char (&alphabet)[65]) {
    std::array<unsigned char, kTableSize> values{};
    values.fill(kNoDigit);
    for (unsigned char v = 0; v < 64; ++v)
        values[static_cast<unsigned char>(alphabet[v] - kFirstChar)] = v;
    return values;
}

}  // namespace

constexpr std::array<unsigned char, 80> _base64DecodeTable = inverseOf(_base64_table);
static_assert(_base64DecodeTable['+' - kFirstChar] == 62 &&
              _base64DecodeTable['z' - kFirstChar] == 51);
static_assert(_base64DecodeTable['-' - kFirstChar] == kNoDigit);

namespace {

// ---- Encoding ----

// No line is longer than this, so none is ever broken.
constexpr std::uint64_t kNoLines = std::numeric_limits<std::uint64_t>::max();

struct Lines {
    std::uint64_t length;  // a line ends with the quantum that reaches this many characters
    std::string_view lineBreak;

    static Lines of(unsigned int lineLength, std::string_view lineBreak) {
        return {std::max(lineLength, 1u), lineBreak};
    }
};

Base64Format unbroken(const char* alphabet) {
    return {alphabet, std::numeric_limits<std::size_t>::max(), "", 0};
}

// A block never holds more than kFlushAbove characters before another group and its line
// break are staged, and is never full: a full one is handed over without a look at the result.
template <class Sink>
using GroupWriter = StagingWriter<Sink, kFlushAbove + kQuantumChars + kXmlCrLf.size() + 1>;

// Writes the padded quantum of the 1 or 2 bytes after the last whole group, if any, and the end of
// the text. Returns how much that is.
std::size_t writeTail(const unsigned char* data, unsigned int len, const char* alphabet,
                      std::string_view end, char* text) {
    const unsigned int rest = len % kGroupBytes;
    std::size_t n = 0;
    if (rest > 0) {
        const unsigned int first = data[len - rest], second = rest == 2 ? data[len - 1] : 0u;
        text[0] = alphabet[first >> 2];
        text[1] = alphabet[(first & 0x03) << 4 | second >> 4];
        text[2] = rest == 2 ? alphabet[(second & 0x0F) << 2] : kPad;
        text[3] = kPad;
        n = kQuantumChars;
    }
    return n + end.copy(text + n, end.size());
}

// Appends all at once. False, and nothing appended, when there is no room for all.
bool appendAll(const unsigned char* bytes, unsigned int len, const char* alphabet,
               const Lines& lines, std::string_view end, StringBuffer& out) {
    const unsigned int groups = len / kGroupBytes;
    const std::uint64_t lineGroups = (lines.length - 1) / kQuantumChars + 1;
    const unsigned int fullLines =
        lineGroups <= groups ? groups / static_cast<unsigned int>(lineGroups) : 0;
    const std::uint64_t size =
        std::uint64_t{groups} * kQuantumChars + std::uint64_t{fullLines} * lines.lineBreak.size();
    const std::uint64_t all = size + (len % kGroupBytes > 0 ? kQuantumChars : 0) + end.size();
    if (all > std::numeric_limits<unsigned int>::max()) return false;
    char* const text = BufferAccess::appendUninitialized(out, static_cast<unsigned int>(all));
    if (!text) return false;
    // More groups in a line than there are make no difference.
    const auto inLine =
        static_cast<std::size_t>(std::min<std::uint64_t>(lineGroups, kTooManyChars));
    contentcoding::kernels().encodeBase64(
        bytes, groups, {alphabet, inLine, lines.lineBreak.data(), lines.lineBreak.size()}, text);
    writeTail(bytes, len, alphabet, end, text + size);
    return true;
}

// Stages the whole groups among `len` bytes and hands everything over. Each kernel call goes up
// to the end of the line or to the group that fills the block, whichever comes first.
template <class Sink>
bool encodeGroups(const unsigned char* bytes, unsigned int len, const char* alphabet,
                  const Lines& lines, Sink sink) {
    GroupWriter<Sink> text(sink);
    const auto& kernels = contentcoding::kernels();
    unsigned int groups = len / kGroupBytes;
    std::uint64_t column = 0;
    while (groups > 0) {
        const unsigned int toFlush = (kFlushAbove - text.held()) / kQuantumChars + 1;
        const std::uint64_t toLineEnd = (lines.length - column - 1) / kQuantumChars + 1;
        const auto n =
            static_cast<unsigned int>(std::min<std::uint64_t>({groups, toFlush, toLineEnd}));
        kernels.encodeBase64(bytes, n, unbroken(alphabet), text.extend(n * kQuantumChars));
        bytes += std::size_t{n} * kGroupBytes;
        groups -= n;
        column += std::uint64_t{n} * kQuantumChars;
        if (column >= lines.length) {
            text.put(lines.lineBreak);
            column = 0;
        }
        if (!text.flushAbove(kFlushAbove)) return false;
    }
    return text.finish();
}

constexpr std::size_t kLongestTail = kQuantumChars + kCrLf.size();

// Appends as much of the tail as there is room for.
bool appendTail(const unsigned char* bytes, unsigned int len, const char* alphabet,
                std::string_view end, StringBuffer& out) {
    char tail[kLongestTail];
    const std::size_t n = writeTail(bytes, len, alphabet, end, tail);
    return std::all_of(tail, tail + n, [&](char c) { return out.appendChar(c); });
}

bool encodeInLines(const void* data, unsigned int len, unsigned int lineLength,
                   std::string_view lineBreak, StringBuffer& out) {
    assert(BufferAccess::isApart(out, data, len));
    if (!out.expectNumBytes(ContentCoding::computeBase64Size(len, lineLength))) return false;
    if (!data || len == 0) return true;
    const auto* const bytes = static_cast<const unsigned char*>(data);
    const Lines lines = Lines::of(lineLength, lineBreak);
    bool ok = appendAll(bytes, len, _base64_table, lines, kCrLf, out);
    if (!ok) {
        if (!encodeGroups(bytes, len, _base64_table, lines, ToText{out})) return false;
        ok = appendTail(bytes, len, _base64_table, kCrLf, out);
    }
    // A last line that is full has its own break already: one CRLF is enough.
    if (out.endsWith("\r\n\r\n")) out.shorten(kCrLf.size());
    if (lineBreak != kCrLf && out.endsWith(lineBreak.data())) {
        out.shorten(static_cast<unsigned int>(lineBreak.size()));
        out.append(kCrLf.data());  // into the room of what was cut
    }
    return ok;
}

// ---- Decoding ----

constexpr Base64Values charValues(const unsigned char* table, Base64Values::Alphabet alphabet) {
    Base64Values values{{}, alphabet};
    std::fill(std::begin(values.of), std::end(values.of), kBase64Skipped);
    for (unsigned int i = 0; i < kTableSize; ++i) {
        if (table[i] < 64) values.of[kFirstChar + i] = table[i];
    }
    for (const char c : {'.', kPad})
        values.of[static_cast<unsigned char>(c)] = kBase64Skipped;
    return values;
}

constexpr Base64Values kStandardValues =
    charValues(_base64DecodeTable.data(), Base64Values::kStandard);

// For a caller's table.
Base64Values valuesOf(const unsigned char* table) {
    static constexpr auto kUrlSafeTable = inverseOf(_modBase64_table);
    const bool urlSafe = std::equal(kUrlSafeTable.begin(), kUrlSafeTable.end(), table);
    return charValues(table, urlSafe ? Base64Values::kUrlSafe : Base64Values::kOther);
}

// The text up to its first NUL or pad. What follows that is not read: it need not exist.
std::string_view digitsOf(const char* text, std::size_t len) {
    return {text, contentcoding::kernels().lengthUntil(reinterpret_cast<const unsigned char*>(text),
                                                       len, '\0', kPad)};
}

// What the first cache holds, with the bytes that it becomes.
constexpr std::size_t kPartChars = 8192;

// Decodes all quanta into `bytes`, and returns the rest of the text: three digits at most, and
// characters that are skipped. The end of the text is looked for by parts; where few digits are
// found, in all the rest at once, so that nothing is read again and again.
std::string_view decodeQuanta(const char* text, std::size_t len, const Base64Values& values,
                              unsigned char*& bytes) {
    const auto decode = contentcoding::kernels().decodeBase64;
    for (std::size_t part = kPartChars;;) {
        const bool isLast = part >= len;
        const std::string_view digits = digitsOf(text, isLast ? len : part);
        const auto done = decode(digits.data(), digits.size(), values, bytes);
        bytes += done.written;
        if (isLast || digits.size() < part) return digits.substr(done.read);
        if (done.read < part / 2) part = len;
        text += done.read;
        len -= done.read;
    }
}

// Decodes text into `bytes`, which has room for 3 of them for each 4 characters. Returns how many
// they are; `cut` gets the bits of a cut group that complete no byte.
unsigned int decodeText(const char* text, std::size_t len, const Base64Values& values,
                        unsigned char* bytes, unsigned char& cut) {
    const unsigned char* const start = bytes;
    std::uint32_t bits = 0;  // the lowest `held` ones are still to be written
    unsigned int held = 0;
    for (const char c : decodeQuanta(text, len, values, bytes)) {
        const unsigned char value = values.of[static_cast<unsigned char>(c)];
        if (value == kBase64Skipped) continue;
        bits = bits << 6 | value;
        held += 6;
        if (held >= 8) {
            held -= 8;
            *bytes++ = static_cast<unsigned char>(bits >> held);
        }
    }
    cut = static_cast<unsigned char>(bits << (8 - held));
    return static_cast<unsigned int>(bytes - start);
}

// What the array of a decoder has beyond the bytes of its digits.
constexpr unsigned int kSpareBytes = 8;
constexpr unsigned int kSpareBytes2 = 4;

// Text that is not empty into a new array of 3 * len / 4 + spare bytes. Null, with *outLen left
// alone, when there is no table, `len` is too much, or memory is short.
unsigned char* decode(const char* text, unsigned int len, const unsigned char* table,
                      unsigned int spare, unsigned int* outLen) {
    if (!table || len >= kTooManyChars) return nullptr;
    auto* const bytes = reinterpret_cast<unsigned char*>(zqNewChar(3 * len / 4 + spare));
    if (!bytes) return nullptr;
    unsigned char cut = 0;
    const unsigned int n = table == _base64DecodeTable.data()
                               ? decodeText(text, len, kStandardValues, bytes, cut)
                               : decodeText(text, len, valuesOf(table), bytes, cut);
    bytes[n] = cut;
    bytes[n + 1] = 0;
    *outLen = n;
    return bytes;
}

// ---- Tests for Base64 text ----

constexpr bool isBlank(unsigned char b) { return b == ' ' || b == '\t' || b == '\r' || b == '\n'; }

constexpr ByteClass kBase64Text = byteClass([](unsigned char b) {
    return std::string_view(_base64_table).find(static_cast<char>(b)) != std::string_view::npos ||
           b == kPad || isBlank(b);
});

constexpr ByteClass kInRange = byteClass(
    [](unsigned char b) { return (b >= kFirstChar && b <= kLastChar && b != kPad) || isBlank(b); });

const unsigned char* bytesOf(const char* text) {
    return reinterpret_cast<const unsigned char*>(text);
}

}  // namespace

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
    const auto* const bytes = static_cast<const unsigned char*>(data);
    const ToOutput sink{out, ioParams, log};
    if (!encodeGroups(bytes, len, _base64_table, Lines::of(m_lineLength, kCrLf), sink))
        return false;
    char tail[kLongestTail];
    const std::size_t n = writeTail(bytes, len, _base64_table, kCrLf, tail);
    return sink(tail, static_cast<unsigned int>(n));
}

bool ContentCoding::encodeBase64_noCrLf_inner(const void* data, unsigned int len, const char* table,
                                              StringBuffer& out) {
    assert(BufferAccess::isApart(out, data, len));
    if (!data || len == 0) return true;
    if (!table || !out.expectNumBytes(computeBase64Size(len, len))) return false;
    const auto* const bytes = static_cast<const unsigned char*>(data);
    const Lines lines = {kNoLines, ""};
    return appendAll(bytes, len, table, lines, "", out) ||
           (encodeGroups(bytes, len, table, lines, ToText{out}) &&
            appendTail(bytes, len, table, "", out));
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
    return decode(text, len, table, kSpareBytes, outLen);
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
    unsigned char* const bytes = decode(text, len, table, kSpareBytes2, outLen);
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
    unsigned char cut = 0;
    if (unsigned char* const bytes = BufferAccess::reuse(out, most, text, len)) {
        BufferAccess::setSize(out, decodeText(text, len, kStandardValues, bytes, cut));
        return true;
    }
    auto* const bytes = reinterpret_cast<unsigned char*>(zqNewChar(most + 1));
    if (!bytes) return false;
    BufferAccess::adopt(out, bytes, decodeText(text, len, kStandardValues, bytes, cut), most);
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
    return text && runLength(bytesOf(text), len, kBase64Text) == len;
}

bool ContentCoding::isBase64_utf16LE(const char* text, unsigned int len) {
    if (!text || len < 3 || len % 2 != 0) return false;
    for (unsigned int i = 2; i < len; i += 2) {
        if (!kBase64Text[bytesOf(text)[i]] || text[i + 1] != 0) return false;
    }
    return true;
}

bool ContentCoding::validateBase64(const char* text, unsigned int len) const {
    if (!text) return false;
    const std::size_t run = runLength(bytesOf(text), len, kInRange);
    return run == len || text[run] == '\0' || text[run] == kPad;
}
