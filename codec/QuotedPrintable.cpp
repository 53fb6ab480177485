#include <algorithm>
#include <cassert>
#include <charconv>
#include <cstring>
#include <limits>
#include <string_view>

#include "codec/Bytes.h"
#include "codec/ContentCoding.h"
#include "codec/EscapedText.h"
#include "codec/StagingWriter.h"
#include "support/Ascii.h"
#include "support/BufferAccess.h"

namespace {

using contentcoding::byteClass;
using contentcoding::ByteClass;
using contentcoding::EscapedText;
using contentcoding::Escapes;
using contentcoding::kNoHexDigit;
using contentcoding::StagingWriter;
using contentcoding::ToBytes;
using contentcoding::ToOutput;
using contentcoding::ToText;
using contentcoding::Unescapes;

constexpr unsigned int kBlockBytes = 2000;
constexpr unsigned int kEscapeChars = 3;
constexpr unsigned int kShortestLine = 10;

constexpr bool isBlank(unsigned char b) { return b == ' ' || b == '\t'; }
constexpr bool isBlankOrBreak(unsigned char b) { return isBlank(b) || b == '\r' || b == '\n'; }

// ---- Encoding ----

// How many of the first `n` characters are whole units: an escape is not cut.
std::size_t wholeUnits(std::string_view text, std::size_t n) {
    if (n >= 1 && text[n - 1] == '=') return n - 1;
    if (n >= 2 && text[n - 2] == '=') return n - 2;
    return n;
}

constexpr std::string_view kSoftBreak = "=\r\n";

// Bytes that pass unchanged in the middle of a line; a blank does not at the end of one.
constexpr ByteClass kKept =
    byteClass([](unsigned char b) { return isBlank(b) || (b > 32 && b < 127 && b != '='); });
constexpr ByteClass kKeptInDkim =
    byteClass([](unsigned char b) { return b > 32 && b < 127 && b != '=' && b != ';'; });

constexpr Escapes kEscapes = {.kept = kKept, .lines = true};
constexpr Escapes kDkimEscapes = {.kept = kKeptInDkim};

// "." alone ends an SMTP message, and "From " starts one in an mbox file. The blank of that may
// have been escaped.
bool startsMessageLine(std::string_view text) {
    if (text[0] != 'F') return text[0] == '.';
    return text.starts_with("From ") || text.starts_with("From=20");
}

// Whether the result of a block in the middle is looked at.
enum class WhenRefused { kGoOn, kStop };

// One pass of the loop fills at most one block. A line has room for the "=" of a soft break.
template <class Sink>
bool encodeBody(EscapedText& in, unsigned int lineLength, Sink sink, WhenRefused whenRefused) {
    StagingWriter<Sink, kBlockBytes> out(sink);
    const std::size_t fullLine = std::max(lineLength, kShortestLine) - 1;
    std::size_t column = 0;
    for (std::string_view text = in.next(); !text.empty(); text = in.next()) {
        const std::size_t room = fullLine - column;
        std::size_t n = 0;
        if (column == 0 && startsMessageLine(text)) {
            out.putEscape(static_cast<unsigned char>(text[0]));
            column = kEscapeChars;
            n = 1;
        } else if (const std::size_t lineEnd = in.lineEnd();
                   lineEnd <= room && lineEnd < text.size()) {
            n = lineEnd + 2;
            out.putReadable(text.substr(0, n));
            column = 0;
        } else if (text.size() > room || (text.size() == room && in.showsEnd())) {
            n = wholeUnits(text, room);
            out.putReadable(text.substr(0, n));
            out.put(kSoftBreak);
            column = 0;
        } else {
            n = in.showsEnd() ? text.size() : wholeUnits(text, text.size() - in.kLookAhead);
            out.putReadable(text.substr(0, n));
            column += n;
        }
        in.skip(n);
        if (whenRefused == WhenRefused::kStop && !out.ok()) return false;
    }
    return out.finish();
}

// A line goes on to the end of the unit that fills it, and past the CR of a CR LF behind that.
template <class Sink>
bool encodeDkim(EscapedText& in, unsigned int lineLength, Sink sink) {
    StagingWriter<Sink, kBlockBytes> out(sink);
    const std::size_t fullLine = std::max(lineLength, kShortestLine) - 1;
    std::size_t column = 0;
    for (std::string_view text = in.next(); !text.empty(); text = in.next()) {
        const std::size_t room = fullLine - column;
        const std::size_t shown = in.showsEnd() ? text.size() : text.size() - in.kLookAhead;
        if (shown < room) {
            const std::size_t n = wholeUnits(text, shown);
            out.putReadable(text.substr(0, n));
            in.skip(n);
            column += n;
            continue;
        }
        std::size_t n = room;
        if (const std::size_t whole = wholeUnits(text, n); whole < n) n = whole + kEscapeChars;
        if (text.substr(n).starts_with("=0D=0A")) n += kEscapeChars;
        out.putReadable(text.substr(0, n));
        out.put(kSoftBreak);
        in.skip(n);
        column = 0;
    }
    return out.finish();
}

// ---- Decoding ----

// The decoder looks at the low seven bits of every character, but for the ends of the text and
// of the lines. What it writes are the bytes as they are.
constexpr unsigned char lowBits(char c) { return static_cast<unsigned char>(c) & 0x7F; }

// The value of the hexadecimal digit at `i`, or kNoHexDigit: also past the end.
unsigned char digitAt(std::string_view text, std::size_t i) {
    return i < text.size() ? contentcoding::kHexDigitValue[lowBits(text[i])] : kNoHexDigit;
}

constexpr ByteClass kNotEscaped = byteClass([](unsigned char b) { return (b & 0x7F) != '='; });

// Escapes of 0 and of 255 may be more than that.
constexpr Unescapes bodyUnescapes(bool lines, bool unicodeEscapes) {
    return {.kept = kNotEscaped,
            .escapeBits = 0x7F,
            .digitBits = 0x7F,
            .lines = lines,
            .stopsAtFff = true,
            .stopsAtZero = unicodeEscapes};
}

// For whole lines, and for the contents of one; each without and with escapes of characters.
constexpr Unescapes kLineUnescapes[] = {bodyUnescapes(true, false), bodyUnescapes(true, true)};
constexpr Unescapes kContentUnescapes[] = {bodyUnescapes(false, false), bodyUnescapes(false, true)};

// How much of a line's content is decoded: without the white space at its end. A whole line of
// nothing else loses its line ends only.
std::size_t trimmedSize(std::string_view content, bool isWholeLine) {
    const auto trimmed = [content](auto dropped) {
        std::size_t n = content.size();
        while (n > 0 && dropped(lowBits(content[n - 1])))
            --n;
        return n;
    };
    const std::size_t n = trimmed(isBlankOrBreak);
    if (n > 0 || !isWholeLine) return n;
    return trimmed([](unsigned char b) { return b == '\r' || b == '\n'; });
}

class BodyDecoder {
public:
    BodyDecoder(DataBuffer& out, bool unicodeEscapes)
        : m_out(ToBytes{out}), m_unicodeEscapes(unicodeEscapes) {}

    bool decode(std::string_view text);

private:
    std::size_t decodeLine(std::string_view text, bool isWhole);
    bool decodeContent(std::string_view text, std::size_t n);
    std::size_t decodeEscape(std::string_view text, std::size_t n);
    bool putReference(std::string_view digits);

    StagingWriter<ToBytes, kBlockBytes> m_out;
    bool m_unicodeEscapes;
};

// Most lines end in what a decoder need not look at; what is left of others goes the long way.
bool BodyDecoder::decode(std::string_view text) {
    const auto unescape = contentcoding::kernels().unescape;
    for (std::string_view rest = text; !rest.empty();) {
        const std::size_t room = m_out.room();
        const auto done = unescape(rest.data(), rest.size(), kLineUnescapes[m_unicodeEscapes],
                                   m_out.next(), room);
        m_out.advance(done.written);
        rest.remove_prefix(done.read);
        if (done.written == room || rest.empty()) continue;
        const bool isWhole = rest.size() == text.size() || rest.data()[-1] == '\n';
        rest.remove_prefix(decodeLine(rest, isWhole));
    }
    return m_out.finish();
}

// Decodes what is left of a line; returns how much of the text that was.
std::size_t BodyDecoder::decodeLine(std::string_view text, bool isWhole) {
    const std::size_t content = std::min(text.find('\n'), text.size());
    const bool hard = decodeContent(text, trimmedSize(text.substr(0, content), isWhole));
    if (content == text.size()) return content;
    if (hard) m_out.put("\r\n");
    return content + 1;
}

// Decodes the first `n` characters of `text`, the content of a line; escapes may look further.
// False when a soft line break ends it.
bool BodyDecoder::decodeContent(std::string_view text, std::size_t n) {
    for (std::size_t i = 0; i < n;) {
        const auto done = contentcoding::kernels().unescape(text.data() + i, n - i,
                                                            kContentUnescapes[m_unicodeEscapes],
                                                            m_out.next(), m_out.room());
        m_out.advance(done.written);
        i += done.read;
        if (done.read > 0) continue;
        if (i == n - 1) return false;
        i += decodeEscape(text.substr(i), n - i);
    }
    return true;
}

// Decodes an escape that may be more than that, of which `n` characters belong to the line's
// content; returns how many it took.
std::size_t BodyDecoder::decodeEscape(std::string_view text, std::size_t n) {
    const auto byte = static_cast<unsigned char>(digitAt(text, 1) << 4 | digitAt(text, 2));
    const auto isF = [](char c) { return lowBits(c) == 'F'; };
    if (byte == 0xFF && n > 6 && std::all_of(text.begin() + 3, text.begin() + 7, isF)) {
        // "=FFFFFF" and the digits of one byte, wherever they stand.
        const auto valueAt = [text](std::size_t i) {
            const unsigned char value = digitAt(text, i);
            return value == kNoHexDigit ? 0u : value;
        };
        m_out.put(static_cast<char>(valueAt(7) << 4 | valueAt(8)));
        return 9;
    }
    if (byte == 0 && m_unicodeEscapes && n > 7 && lowBits(text[7]) == ';' &&
        putReference(text.substr(3, 4)))
        return 8;
    m_out.put(static_cast<char>(byte));
    return kEscapeChars;
}

// "&#" number ";" for hexadecimal digits, here whole bytes; false when they are none.
bool BodyDecoder::putReference(std::string_view digits) {
    unsigned int number = 0;
    for (const char c : digits) {
        const unsigned char value = contentcoding::hexDigitValue(c);
        if (value == kNoHexDigit) return false;
        number = number << 4 | value;
    }
    char decimal[std::numeric_limits<unsigned short>::digits10 + 1];
    const char* const end = std::to_chars(decimal, std::end(decimal), number).ptr;
    m_out.put("&#");
    m_out.put({decimal, static_cast<std::size_t>(end - decimal)});
    m_out.put(';');
    return true;
}

// White space means nothing.
constexpr Unescapes kDkimUnescapes = {
    .kept = byteClass([](unsigned char b) { return b != '=' && !isBlankOrBreak(b); }),
    .digitBits = 0x7F};

}  // namespace

bool ContentCoding::encodeQuotedPrintable(const void* data, unsigned int len,
                                          StringBuffer& out) const {
    assert(contentcoding::BufferAccess::isApart(out, data, len));
    if (!data || len == 0) return true;
    if (!out.expectNumBytes(len)) return false;
    EscapedText in(data, len, kEscapes);
    return encodeBody(in, m_lineLength, ToText{out}, WhenRefused::kGoOn);
}

char* ContentCoding::encodeQuotedPrintable(const void* data, unsigned int len,
                                           unsigned int* outLen) const {
    if (!outLen) return nullptr;
    *outLen = 0;
    if (!data || len == 0) return nullptr;
    StringBuffer text;
    if (!text.expectNumBytes(len)) return nullptr;
    EscapedText in(data, len, kEscapes);
    // What could be held is returned, as the interface has it.
    (void)encodeBody(in, m_lineLength, ToText{text}, WhenRefused::kGoOn);
    return text.extractString(outLen);
}

bool ContentCoding::encodeQpToOutput(const void* data, unsigned int len, _zqOutput& out,
                                     _zqIoParams& ioParams, LogBase& log) const {
    if (!data || len == 0) return true;
    EscapedText in(data, len, kEscapes);
    return encodeBody(in, m_lineLength, ToOutput{out, ioParams, log}, WhenRefused::kStop);
}

bool ContentCoding::decodeQuotedPrintable(const char* text, unsigned int len,
                                          DataBuffer& out) const {
    assert(contentcoding::BufferAccess::isApart(out, text, len));
    if (!text || len == 0) return false;
    const void* const nul = std::memchr(text, '\0', len);
    if (nul) len = static_cast<unsigned int>(static_cast<const char*>(nul) - text);
    return len > 0 && BodyDecoder(out, m_qpDecodeUnicodeEscapes).decode({text, len});
}

bool ContentCoding::encodeDkimQuotedPrintable(const void* data, unsigned int len,
                                              StringBuffer& out) const {
    assert(contentcoding::BufferAccess::isApart(out, data, len));
    if (!data || len == 0) return true;
    if (!out.expectNumBytes(len)) return false;
    EscapedText in(data, len, kDkimEscapes);
    return encodeDkim(in, m_lineLength, ToText{out});
}

bool ContentCoding::decodeDkimQuotedPrintable(const char* text, unsigned int len, DataBuffer& out) {
    assert(contentcoding::BufferAccess::isApart(out, text, len));
    if (!text || len == 0) return true;
    StagingWriter<ToBytes, kBlockBytes> bytes(ToBytes{out});
    for (std::size_t i = 0; i < len && bytes.ok();) {
        const auto done = contentcoding::kernels().unescape(text + i, len - i, kDkimUnescapes,
                                                            bytes.next(), bytes.room());
        bytes.advance(done.written);
        i += done.read;
        if (done.read > 0) continue;
        bytes.put('=');  // no escape
        ++i;
    }
    return bytes.ok() && bytes.finish();
}
