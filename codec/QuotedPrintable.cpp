#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <string_view>

#include "codec/Bytes.h"
#include "codec/ContentCoding.h"
#include "codec/StagingWriter.h"
#include "support/Ascii.h"

namespace {

using contentcoding::byteClass;
using contentcoding::ByteClass;
using contentcoding::Escapes;
using contentcoding::escapesExcept;
using contentcoding::kNoHexDigit;
using contentcoding::StagingWriter;
using contentcoding::ToBytes;
using contentcoding::ToOutput;
using contentcoding::ToText;
using contentcoding::Unescapes;
using contentcoding::unescapesExcept;

constexpr unsigned int kBlockBytes = 2000;
constexpr unsigned int kEscapeChars = 3;
constexpr unsigned int kShortestLine = 10;

constexpr bool isBlank(unsigned char b) { return b == ' ' || b == '\t'; }
constexpr bool isBlankOrBreak(unsigned char b) { return isBlank(b) || b == '\r' || b == '\n'; }

// ---- Encoding ----

// The bytes still to be encoded.
class Input {
public:
    Input(const void* data, unsigned int len)
        : m_next(static_cast<const unsigned char*>(data)), m_end(m_next + len) {}

    bool empty() const { return m_next == m_end; }
    unsigned char first() const { return *m_next; }
    bool startsWith(std::string_view text, std::size_t from = 0) const {
        return left() >= from + text.size() &&
               std::memcmp(m_next + from, text.data(), text.size()) == 0;
    }
    void skip(std::size_t n) { m_next += n; }
    unsigned char take() { return *m_next++; }
    // Whether the byte at `i` stands at the end of the input or of a line.
    bool endsLine(std::size_t i) const { return left() == i + 1 || startsWith("\r\n", i + 1); }
    unsigned char at(std::size_t i) const { return m_next[i]; }
    const unsigned char* next() const { return m_next; }
    std::size_t left() const { return static_cast<std::size_t>(m_end - m_next); }

private:
    const unsigned char* m_next;
    const unsigned char* m_end;
};

// What is written, in lines. Columns are characters of the present line.
template <class Sink>
class LineWriter {
public:
    LineWriter(Sink sink, unsigned int lineLength)
        : m_text(sink), m_lineLength(std::max(lineLength, kShortestLine)) {}

    bool atLineStart() const { return m_column == 0; }
    bool ok() const { return m_text.ok(); }
    bool finish() { return m_text.finish(); }

    // Writes what fits into the line and the block, and takes it off `in`. A blank that ends a line
    // is left over. False when there is nothing like that.
    bool putSome(Input& in, const Escapes& escapes) {
        const unsigned int inLine = m_lineLength - 1 - std::min(m_column, m_lineLength - 1);
        const std::size_t room = std::min(inLine, m_text.room());
        auto done =
            contentcoding::kernels().escape(in.next(), in.left(), escapes, m_text.next(), room);
        if (done.read > 0 && isBlank(in.at(done.read - 1)) && escapes.kept[' '] &&
            in.endsLine(done.read - 1)) {
            --done.read;
            --done.written;
        }
        in.skip(done.read);
        m_text.advance(done.written);
        m_column += static_cast<unsigned int>(done.written);
        return done.read > 0;
    }
    void putEscape(unsigned char b) {
        m_text.putEscape(b);
        m_column += kEscapeChars;
    }
    void putHardBreak() {
        m_text.put("\r\n");
        m_column = 0;
    }
    void putSoftBreak() {
        m_text.put("=\r\n");
        m_column = 0;
    }

    // Makes sure that an escape and the "=" of a soft break fit into the line.
    void reserveEscape() {
        if (m_column >= m_lineLength - kEscapeChars) putSoftBreak();
    }
    // Ends a line that has no room for more, unless `rest` ends it itself.
    void endFullLine(const Input& rest) {
        if (m_column >= m_lineLength - 1 && !rest.startsWith("\r\n")) putSoftBreak();
    }

private:
    StagingWriter<Sink, kBlockBytes> m_text;
    unsigned int m_lineLength;
    unsigned int m_column = 0;
};

// Bytes that pass unchanged in the middle of a line; a blank does not at the end of one.
constexpr ByteClass kKept =
    byteClass([](unsigned char b) { return isBlank(b) || (b > 32 && b < 127 && b != '='); });
constexpr ByteClass kKeptInDkim =
    byteClass([](unsigned char b) { return b > 32 && b < 127 && b != '=' && b != ';'; });

// What CR is depends on what follows.
constexpr Escapes kEscapes = [] {
    Escapes escapes = escapesExcept(kKept);
    escapes.of[unsigned{'\r'}].length = 0;
    return escapes;
}();
constexpr Escapes kDkimEscapes = escapesExcept(kKeptInDkim);

// Whether the result of a block in the middle is looked at.
enum class WhenRefused { kGoOn, kStop };

// One pass of the loop writes a run, an escape or a line break: what a refused block ends with.
template <class Sink>
bool encodeBody(Input in, unsigned int lineLength, Sink sink, WhenRefused whenRefused) {
    LineWriter<Sink> out(sink, lineLength);
    while (!in.empty()) {
        // "." alone ends an SMTP message, and "From " starts one in an mbox file.
        if (out.atLineStart() && (in.first() == '.' || in.startsWith("From "))) {
            out.putEscape(in.take());
        } else if (in.startsWith("\r\n")) {
            in.skip(2);
            out.putHardBreak();
        } else if (!out.putSome(in, kEscapes)) {
            out.reserveEscape();
            out.putEscape(in.take());
        }
        out.endFullLine(in);
        if (whenRefused == WhenRefused::kStop && !out.ok()) return false;
    }
    return out.finish();
}

template <class Sink>
bool encodeDkim(Input in, unsigned int lineLength, Sink sink) {
    LineWriter<Sink> out(sink, lineLength);
    while (!in.empty()) {
        if (!out.putSome(in, kDkimEscapes)) out.putEscape(in.take());
        out.endFullLine(in);
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

// Escapes of 0 and of 255 may be more than that.
constexpr Unescapes kUnescapes = [] {
    Unescapes unescapes =
        unescapesExcept(byteClass([](unsigned char b) { return (b & 0x7F) != '='; }));
    for (unsigned int c = 0x80; c < 0x100; ++c) {
        unescapes.length[c] = unescapes.length[c & 0x7F];
        contentcoding::setDigit(unescapes, c, c & 0x7F);
    }
    unescapes.lowest = 1;
    unescapes.count = 0xFE;
    return unescapes;
}();

// How much of a line's content is decoded: without the white space at its end. A line of nothing
// else loses its line ends only.
std::size_t trimmedSize(std::string_view content) {
    const auto trimmed = [content](auto dropped) {
        std::size_t n = content.size();
        while (n > 0 && dropped(lowBits(content[n - 1])))
            --n;
        return n;
    };
    const std::size_t n = trimmed(isBlankOrBreak);
    return n > 0 ? n : trimmed([](unsigned char b) { return b == '\r' || b == '\n'; });
}

class BodyDecoder {
public:
    BodyDecoder(DataBuffer& out, bool unicodeEscapes)
        : m_out(ToBytes{out}), m_unicodeEscapes(unicodeEscapes) {}

    // Decodes the first `n` characters of `text`, the content of a line; escapes may look
    // further. False when a soft line break ends it.
    bool decodeLine(std::string_view text, std::size_t n);

    void putBreak() {
        m_out.put('\r');
        m_out.put('\n');
    }
    bool finish() { return m_out.finish(); }

private:
    std::size_t decodeEscape(std::string_view text, std::size_t n);
    bool putReference(std::string_view digits);

    StagingWriter<ToBytes, kBlockBytes> m_out;
    bool m_unicodeEscapes;
};

bool BodyDecoder::decodeLine(std::string_view text, std::size_t n) {
    for (std::size_t i = 0; i < n;) {
        const auto done = contentcoding::kernels().unescape(text.data() + i, n - i, kUnescapes,
                                                            m_out.next(), m_out.room());
        m_out.advance(done.written);
        i += done.read;
        if (done.read > 0) continue;
        if (i == n - 1) return false;
        i += decodeEscape(text.substr(i), n - i);
    }
    return true;
}

// Decodes what starts with "=", of which `n` characters belong to the line's content; returns how
// many it took. A malformed escape is the character "=" alone.
std::size_t BodyDecoder::decodeEscape(std::string_view text, std::size_t n) {
    const unsigned char high = digitAt(text, 1), low = digitAt(text, 2);
    if (high == kNoHexDigit || low == kNoHexDigit) {
        m_out.put(text[0]);
        return 1;
    }
    const auto byte = static_cast<unsigned char>(high << 4 | low);
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
constexpr Unescapes kDkimUnescapes = [] {
    Unescapes unescapes =
        unescapesExcept(byteClass([](unsigned char b) { return b != '=' && !isBlankOrBreak(b); }));
    for (unsigned int c = 0x80; c < 0x100; ++c)
        contentcoding::setDigit(unescapes, c, c & 0x7F);
    return unescapes;
}();

}  // namespace

bool ContentCoding::encodeQuotedPrintable(const void* data, unsigned int len,
                                          StringBuffer& out) const {
    if (!data || len == 0) return true;
    if (!out.expectNumBytes(len)) return false;
    return encodeBody({data, len}, m_lineLength, ToText{out}, WhenRefused::kGoOn);
}

char* ContentCoding::encodeQuotedPrintable(const void* data, unsigned int len,
                                           unsigned int* outLen) const {
    if (!outLen) return nullptr;
    *outLen = 0;
    if (!data || len == 0) return nullptr;
    StringBuffer text;
    if (!text.expectNumBytes(len)) return nullptr;
    // What could be held is returned, as the interface has it.
    (void)encodeBody({data, len}, m_lineLength, ToText{text}, WhenRefused::kGoOn);
    return text.extractString(outLen);
}

bool ContentCoding::encodeQpToOutput(const void* data, unsigned int len, _zqOutput& out,
                                     _zqIoParams& ioParams, LogBase& log) const {
    if (!data || len == 0) return true;
    return encodeBody({data, len}, m_lineLength, ToOutput{out, ioParams, log}, WhenRefused::kStop);
}

bool ContentCoding::decodeQuotedPrintable(const char* text, unsigned int len,
                                          DataBuffer& out) const {
    if (!text || len == 0) return false;
    const void* const nul = std::memchr(text, '\0', len);
    std::string_view rest(
        text, nul ? static_cast<std::size_t>(static_cast<const char*>(nul) - text) : len);
    if (rest.empty()) return false;
    BodyDecoder decoder(out, m_qpDecodeUnicodeEscapes);
    while (!rest.empty()) {
        const std::size_t content = std::min(rest.find('\n'), rest.size());
        const bool broken = content < rest.size();
        const bool hard = decoder.decodeLine(rest, trimmedSize(rest.substr(0, content)));
        if (broken && hard) decoder.putBreak();
        rest.remove_prefix(broken ? content + 1 : content);
    }
    return decoder.finish();
}

bool ContentCoding::encodeDkimQuotedPrintable(const void* data, unsigned int len,
                                              StringBuffer& out) const {
    if (!data || len == 0) return true;
    if (!out.expectNumBytes(len)) return false;
    return encodeDkim({data, len}, m_lineLength, ToText{out});
}

bool ContentCoding::decodeDkimQuotedPrintable(const char* text, unsigned int len, DataBuffer& out) {
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
