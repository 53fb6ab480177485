#include "codec/QuotedPrintable.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <optional>

#include "codec/Alphabet.h"
#include "codec/EscapedLines.h"
#include "codec/Streams.h"
#include "support/Ascii.h"

namespace contentcoding::quoted_printable {
namespace {

constexpr std::size_t kShortestLine = 10;
constexpr std::size_t kLongestLine = 76;
constexpr std::string_view kCrLf = "\r\n";

// ---- Encoding ----

// Bytes that pass unchanged in the middle of a line; a blank does not at the end of one.
constexpr ByteClass kKept =
    byteClass([](unsigned char b) { return isBlank(b) || (b > 32 && b < 127 && b != '='); });

constexpr EscapeRules kLineRules = {.kept = kKept, .crlfAware = true};
constexpr EscapeRules kBinaryRules = {.kept = kKept};

// "." alone ends an SMTP message, and "From " starts one in an mbox file. The blank of that may
// have been escaped.
bool startsMessageLine(std::string_view text) {
    if (text[0] != 'F') return text[0] == '.';
    return text.starts_with("From ") || text.starts_with("From=20");
}

class Rules {
public:
    static constexpr bool kHasHardBreaks = true;

    explicit Rules(const Format& format) : m_format(format) {
        // Without a call, which would be a part of a short text's time.
        const std::string_view lineEnd = format.lineEnd;
        if (lineEnd.size() > 0) m_soft[m_softSize++] = lineEnd[0];
        if (lineEnd.size() > 1) m_soft[m_softSize++] = lineEnd[1];
        const std::size_t columns = format.columns;
        m_fullLine = columns == 0 ? kLargestSize : std::max(columns, kShortestLine) - 1;
    }

    Transfer escape(const unsigned char* p, std::size_t n, bool isEnd, char* text, std::size_t room,
                    unsigned char& held) const {
        switch (m_format.newlines) {
            case Newlines::kText:
                return escapeText(p, n, isEnd, text, room, held);
            case Newlines::kBinary:
                return escapeBinary(p, n, isEnd, text, room, held);
            default:
                return escapeLines(p, n, isEnd, text, room, held);
        }
    }

    // A line has room for the "=" of a soft break.
    Cut cut(std::string_view text, std::size_t line, std::size_t column, bool isEnd) const {
        if (column == 0 && m_format.protectLineStarts && startsMessageLine(text))
            return {0, Cut::End::kEscape};
        const std::size_t room = m_fullLine - column;
        if (line < text.size() && line <= room) return {line, Cut::End::kHard};
        if (text.size() > room || (text.size() == room && isEnd))
            return {wholeUnits(text, room), Cut::End::kSoft};
        constexpr std::size_t kAhead = EscapedLines<Rules>::kLookAhead;
        return {isEnd ? text.size() : wholeUnits(text, text.size() - kAhead), Cut::End::kNone};
    }

    std::string_view softBreak() const { return {m_soft, m_softSize}; }
    std::string_view hardBreak() const { return {m_soft + 1, m_softSize - 1}; }
    std::size_t columnAfterSoftBreak() const { return 0; }

private:
    // Where the text goes on, the last byte may be a blank or a CR before a line end, and the one
    // before it too. It was written as if the text ended: that is taken back.
    static void holdBack(const unsigned char* p, Transfer& done, unsigned char& held) {
        const std::size_t n = done.read;
        if (n == 0) return;
        const bool endsInCr = p[n - 1] == '\r';
        if (!endsInCr && !isBlank(p[n - 1])) return;
        const bool blankToo = endsInCr && n > 1 && isBlank(p[n - 2]);
        held = blankToo ? 2 : 1;
        done.read -= held;
        done.written -= kEscapeChars + (blankToo ? 1 : 0);
    }

    static Transfer escapeLines(const unsigned char* p, std::size_t n, bool isEnd, char* text,
                                std::size_t room, unsigned char& held) {
        Transfer done = kernels().escape(p, n, kLineRules, text, room);
        if (done.read == n && !isEnd) holdBack(p, done, held);
        return done;
    }

    // Only the last byte of all is at the end of a line.
    static Transfer escapeBinary(const unsigned char* p, std::size_t n, bool isEnd, char* text,
                                 std::size_t room, unsigned char& held) {
        Transfer done = kernels().escape(p, n, kBinaryRules, text, room - kEscapeChars);
        if (done.read < n || n == 0 || !isBlank(p[n - 1])) return done;
        --done.written;
        if (isEnd) {
            writeEscape(p[n - 1], text + done.written);
            done.written += kEscapeChars;
        } else {
            --done.read;
            held = 1;
        }
        return done;
    }

    // Line by line, so that the coder sees the end of each, whatever its form.
    static Transfer escapeText(const unsigned char* p, std::size_t n, bool isEnd, char* text,
                               std::size_t room, unsigned char& held) {
        Transfer done{0, 0};
        while (done.read < n && room - done.written > kEscapeRoom) {
            const unsigned char* const line = p + done.read;
            // More than fits is not looked at; a byte is one character at least.
            const std::size_t shown = std::min(n - done.read, room - done.written);
            const void* const lf = std::memchr(line, '\n', shown);
            std::size_t content = shown, lineEnd = 0;
            if (lf) {
                content = static_cast<std::size_t>(static_cast<const unsigned char*>(lf) - line);
                lineEnd = content > 0 && line[content - 1] == '\r' ? 2 : 1;
                content -= lineEnd - 1;
            }
            const bool isLast = lf || (isEnd && shown == n - done.read);
            const std::size_t left = room - done.written - kCrLf.size();
            char* const to = text + done.written;
            Transfer part = kernels().escape(line, content, kLineRules, to, left);
            if (part.read == content && !isLast) holdBack(line, part, held);
            done.read += part.read;
            done.written += part.written;
            if (part.read < content) {
                // Held back in the middle: it is seen again, with what follows it.
                if (done.read + held < n) held = 0;
                break;
            }
            if (lf) {
                kCrLf.copy(text + done.written, kCrLf.size());
                done.read += lineEnd;
                done.written += kCrLf.size();
            }
        }
        return done;
    }

    const Format& m_format;
    std::size_t m_fullLine;
    char m_soft[5] = {'='};  // two more than there are: whoever copies it may read them
    std::size_t m_softSize = 1;
};

}  // namespace

bool Encoder::write(Bytes piece, Window& out) {
    const Rules rules(m_format);
    return EscapedLines(m_state, rules).write(piece, out);
}

bool Encoder::end(Window& out) {
    const Rules rules(m_format);
    return EscapedLines(m_state, rules).end(out);
}

bool Encoder::writeAll(Bytes bytes, Window& out) {
    const Rules rules(m_format);
    return EscapedLines(m_state, rules).writeAll(bytes, out);
}

bool Encoder::feedSink(Bytes piece, detail::SinkRef sink) {
    return throughSink(sink, [&](Window& out) { return write(piece, out); });
}

bool Encoder::finishSink(detail::SinkRef sink) {
    return throughSink(sink, [&](Window& out) { return end(out); });
}

// Every byte an escape, and a soft break for each line, the shortest of which has 7 characters.
std::size_t maxEncodedSize(std::size_t n, const Format& format) noexcept {
    const std::size_t chars = saturatingMultiply(n, kEscapeChars);
    const std::size_t columns = std::max(format.columns, kShortestLine);
    const std::size_t breaks = format.columns == 0 ? 0 : chars / (columns - kEscapeChars) + 1;
    return saturatingAdd(chars, saturatingMultiply(breaks, kEscapeChars));
}

void encodeTo(detail::Growth out, Bytes bytes, const Format& format) {
    encodeAll(Encoder(format), bytes, saturatingAdd(bytes.size(), bytes.size() / 8), out);
}

Result<std::size_t> encodeInto(Room room, Bytes bytes, const Format& format) {
    return encodeAllInto(Encoder(format), bytes, room);
}

// ---- Decoding ----

namespace {

// Text without line ends; escapes may be anywhere in it, the last one cut.
constexpr UnescapeRules kContentRules = {.kept =
                                             byteClass([](unsigned char b) { return b != '='; })};

constexpr bool isSpace(char c) { return isBlank(static_cast<unsigned char>(c)) || c == '\r'; }

std::size_t withoutSpace(std::string_view text, std::size_t most) {
    std::size_t n = text.size();
    while (n > 0 && text.size() - n < most && isSpace(text[n - 1]))
        --n;
    return n;
}

bool isDigit(char c) { return hexDigitValue(c) != kNoHexDigit; }
bool isLower(char c) { return c >= 'a' && c <= 'f'; }

}  // namespace

Decoder::Decoder(const Accept& accept) : m_accept(accept) {}

Result<void> Decoder::write(Bytes piece, Window& out) {
    std::string_view text = piece.text();
    while (m_pendingSize > 0 && !text.empty()) {
        // What was pending and some more; what stays pending of that may lie in the piece.
        char joined[sizeof m_pending + 64];
        std::memcpy(joined, m_pending, m_pendingSize);
        const std::size_t more = text.copy(joined + m_pendingSize, 64);
        std::string_view rest(joined, m_pendingSize + more);
        if (const auto done = decodeSpan(rest, false, out); !done) return done;
        if (rest.size() <= more) {
            text.remove_prefix(more - rest.size());
            m_pendingSize = 0;
        } else {
            text.remove_prefix(more);
            m_pendingSize = rest.copy(m_pending, sizeof m_pending);
        }
    }
    if (text.empty()) return {};
    if (const auto done = decodeSpan(text, false, out); !done) return done;
    m_pendingSize = text.copy(m_pending, sizeof m_pending);
    return {};
}

Result<void> Decoder::end(Window& out) {
    std::string_view last(m_pending, m_pendingSize);
    const auto done = decodeSpan(last, true, out);
    *this = Decoder(m_accept);
    return done;
}

// Decodes what can be: all, or all but white space at the end of the text, with a "=" before it, or
// an escape that is cut. That is what `text` is afterwards.
Result<void> Decoder::decodeSpan(std::string_view& text, bool isEnd, Window& out) {
    while (!text.empty()) {
        const std::size_t lf = std::min(text.find('\n'), text.size());
        const bool hasLf = lf < text.size();
        const std::string_view line = text.substr(0, lf);
        std::size_t content = withoutSpace(line, kLongestSpace);
        if (!hasLf && !isEnd) {
            // With a longer run of white space, its start is known to be text.
            if (content > 0 && line[content - 1] == '=')
                --content;
            else if (content == lf && content > 1 && line[content - 2] == '=' &&
                     isDigit(line[content - 1]))
                content -= 2;
            if (const auto done = decodeContent(line.substr(0, content), out); !done) return done;
            text.remove_prefix(content);
            return {};
        }
        const bool isSoft = content > 0 && line[content - 1] == '=';
        const std::size_t chars = content - (isSoft ? 1 : 0);
        if (const auto done = decodeContent(line.substr(0, chars), out); !done) return done;
        const auto ended = decodeLineEnd(line.substr(content), hasLf, isSoft, out);
        if (!ended) return ended;
        text.remove_prefix(lf + (hasLf ? 1 : 0));
    }
    return {};
}

// What stands between the last character of a line and its LF: the "=" of a soft break, and white
// space, of which a CR right before the LF belongs to the line end.
Result<void> Decoder::decodeLineEnd(std::string_view space, bool hasLf, bool isSoft, Window& out) {
    if (isSoft) {
        if (!hasLf && !m_accept.badEscapes) return Error{Fault::kBadEscape, m_offset};
        if (m_column >= kLongestLine && !m_accept.longLines)
            return Error{Fault::kLongLine, m_offset};
        ++m_offset;
    }
    const bool hasCr = hasLf && space.ends_with('\r');
    if (hasCr) space.remove_suffix(1);
    for (const char c : space) {
        if (c == '\r' && !m_accept.lineEnds) return Error{Fault::kLineEnd, m_offset};
        if (c != '\r' && !m_accept.trailingSpace) return Error{Fault::kTrailingSpace, m_offset};
        ++m_offset;
    }
    if (!hasLf) return {};
    if (!hasCr && !m_accept.lineEnds) return Error{Fault::kLineEnd, m_offset};
    m_offset += hasCr ? 2 : 1;
    m_column = 0;
    if (!isSoft && !out.put(m_accept.lineEnd)) return Error{Fault::kStopped, m_offset};
    return {};
}

// Decodes characters of one line that are known not to be its end.
Result<void> Decoder::decodeContent(std::string_view text, Window& out) {
    if (const auto checked = check(text); !checked) return checked;
    m_column += text.size();
    while (!text.empty()) {
        const std::span<char> room = out.room(Window::kMostAsked);
        if (room.empty()) return Error{Fault::kStopped, m_offset};
        const auto done = kernels().unescape(text.data(), text.size(), kContentRules, room.data(),
                                             room.size() - kOverwrite);
        out.wrote(done.written);
        text.remove_prefix(done.read);
        m_offset += done.read;
        if (done.read > 0) continue;
        if (!out.put(text[0])) return Error{Fault::kStopped, m_offset};  // a "=" without digits
        text.remove_prefix(1);
        ++m_offset;
    }
    return {};
}

// The first fault in an escape at `i`, of which there may be less than three characters.
std::optional<Error> Decoder::faultOfEscape(std::string_view text, std::size_t i) const {
    const bool isEscape = text.size() - i > 2 && isDigit(text[i + 1]) && isDigit(text[i + 2]);
    if (!isEscape) {
        if (m_accept.badEscapes) return {};
        return Error{Fault::kBadEscape, i};
    }
    if (m_accept.lowerCase || (!isLower(text[i + 1]) && !isLower(text[i + 2]))) return {};
    return Error{Fault::kLowerCase, i + (isLower(text[i + 1]) ? 1 : 2)};
}

// The first fault in characters of a line.
Result<void> Decoder::check(std::string_view text) const {
    const std::size_t limit = m_accept.longLines ? text.size() : kLongestLine - m_column;
    Error first{Fault::kLongLine, std::min(limit, text.size())};
    const std::size_t cr = m_accept.lineEnds ? text.npos : text.find('\r');
    if (cr < first.offset) first = {Fault::kLineEnd, cr};
    if (!m_accept.badEscapes || !m_accept.lowerCase) {
        for (std::size_t i = text.find('='); i < first.offset; i = text.find('=', i + 1)) {
            const auto fault = faultOfEscape(text, i);
            if (fault && fault->offset < first.offset) first = *fault;
        }
    }
    if (first.offset == text.size()) return {};
    first.offset += m_offset;
    return first;
}

Result<void> Decoder::feedSink(Bytes piece, detail::SinkRef sink) {
    return throughSink(sink, [&](Window& out) { return write(piece, out); });
}

Result<void> Decoder::finishSink(detail::SinkRef sink) {
    return throughSink(sink, [&](Window& out) { return end(out); });
}

std::size_t maxDecodedSize(std::size_t n, const Accept& accept) noexcept {
    return saturatingMultiply(n, std::max<std::size_t>(accept.lineEnd.size(), 1));
}

Result<void> decodeTo(detail::Growth out, Bytes text, const Accept& accept) {
    return decodeAll(Decoder(accept), text, text.size(), out);
}

Result<std::size_t> decodeInto(Room room, Bytes text, const Accept& accept) {
    return decodeAllInto(Decoder(accept), text, room);
}

// ---- Decoding as the class does ----

namespace {

constexpr unsigned char lowBits(char c) { return static_cast<unsigned char>(c) & 0x7F; }

// The value of the hexadecimal digit at `i`, or kNoHexDigit: also past the end.
unsigned char digitAt(std::string_view text, std::size_t i) {
    return i < text.size() ? kHexDigitValue[lowBits(text[i])] : kNoHexDigit;
}

constexpr ByteClass kNotEscaped = byteClass([](unsigned char b) { return (b & 0x7F) != '='; });

// Escapes of 0 and of 255 may be more than that.
constexpr UnescapeRules legacyRules(bool crlfAware, bool unicodeEscapes) {
    return {.kept = kNotEscaped,
            .signMask = 0x7F,
            .digitMask = 0x7F,
            .crlfAware = crlfAware,
            .stopsAtEscapedFf = true,
            .stopsAtZero = unicodeEscapes};
}

// For whole lines, and for the contents of one; each without and with escapes of characters.
constexpr UnescapeRules kLegacyLineRules[] = {legacyRules(true, false), legacyRules(true, true)};
constexpr UnescapeRules kLegacyContentRules[] = {legacyRules(false, false),
                                                 legacyRules(false, true)};

// How much of a line's content is decoded: without the white space at its end. A whole line of
// nothing else loses its line ends only.
std::size_t trimmedSize(std::string_view content, bool isWholeLine) {
    const auto trimmed = [content](auto dropped) {
        std::size_t n = content.size();
        while (n > 0 && dropped(lowBits(content[n - 1])))
            --n;
        return n;
    };
    const std::size_t n = trimmed(isWhiteSpace);
    if (n > 0 || !isWholeLine) return n;
    return trimmed([](unsigned char b) { return b == '\r' || b == '\n'; });
}

class LegacyDecoder {
public:
    LegacyDecoder(Window& out, bool unicodeEscapes)
        : m_out(out), m_unicodeEscapes(unicodeEscapes) {}

    bool decode(std::string_view text);

private:
    // What the kernel reads and writes of the text, and whether it had room for it.
    struct Part {
        std::size_t read;
        bool wasFull;
    };
    Part unescape(std::string_view text, const UnescapeRules (&rules)[2]);
    std::size_t decodeLine(std::string_view text, bool isWhole);
    bool decodeContent(std::string_view text, std::size_t n);
    std::size_t decodeEscape(std::string_view text, std::size_t n);
    bool putReference(std::string_view digits);
    void put(std::string_view text) { m_ok = m_out.put(text) && m_ok; }

    Window& m_out;
    bool m_unicodeEscapes;
    bool m_ok = true;
};

// Most lines end in what a decoder need not look at; what is left of others goes the long way.
bool LegacyDecoder::decode(std::string_view text) {
    for (std::string_view rest = text; !rest.empty() && m_ok;) {
        const Part part = unescape(rest, kLegacyLineRules);
        rest.remove_prefix(part.read);
        if (part.wasFull || rest.empty()) continue;
        const bool isWhole = rest.size() == text.size() || rest.data()[-1] == '\n';
        rest.remove_prefix(decodeLine(rest, isWhole));
    }
    return m_ok;
}

LegacyDecoder::Part LegacyDecoder::unescape(std::string_view text,
                                            const UnescapeRules (&rules)[2]) {
    const std::span<char> room = m_out.room(Window::kMostAsked);
    m_ok = m_ok && !room.empty();
    if (!m_ok) return {text.size(), true};
    const std::size_t most = room.size() - kOverwrite;
    const auto done =
        kernels().unescape(text.data(), text.size(), rules[m_unicodeEscapes], room.data(), most);
    m_out.wrote(done.written);
    return {done.read, done.written == most};
}

// Decodes what is left of a line; returns how much of the text that was.
std::size_t LegacyDecoder::decodeLine(std::string_view text, bool isWhole) {
    const std::size_t content = std::min(text.find('\n'), text.size());
    const bool hard = decodeContent(text, trimmedSize(text.substr(0, content), isWhole));
    if (content == text.size()) return content;
    if (hard) put(kCrLf);
    return content + 1;
}

// Decodes the first `n` characters of `text`, the content of a line; escapes may look further.
// False when a soft line break ends it.
bool LegacyDecoder::decodeContent(std::string_view text, std::size_t n) {
    for (std::size_t i = 0; i < n;) {
        if (i == n - 1 && !kNotEscaped[static_cast<unsigned char>(text[i])]) return false;
        const std::size_t read = unescape(text.substr(i, n - i), kLegacyContentRules).read;
        i += read;
        if (read > 0) continue;
        i += decodeEscape(text.substr(i), n - i);
    }
    return true;
}

// Decodes an escape that may be more than that, of which `n` characters belong to the line's
// content; returns how many it took.
std::size_t LegacyDecoder::decodeEscape(std::string_view text, std::size_t n) {
    const auto byte = static_cast<unsigned char>(digitAt(text, 1) << 4 | digitAt(text, 2));
    const auto putByte = [this](unsigned int b) {
        const char c = static_cast<char>(b);
        put({&c, 1});
    };
    const auto isF = [](char c) { return lowBits(c) == 'F'; };
    if (byte == 0xFF && n > 6 && std::all_of(text.begin() + 3, text.begin() + 7, isF)) {
        // "=FFFFFF" and the digits of one byte, wherever they stand.
        const auto valueAt = [text](std::size_t i) {
            const unsigned char value = digitAt(text, i);
            return value == kNoHexDigit ? 0u : value;
        };
        putByte(valueAt(7) << 4 | valueAt(8));
        return 9;
    }
    if (byte == 0 && m_unicodeEscapes && n > 7 && lowBits(text[7]) == ';' &&
        putReference(text.substr(3, 4)))
        return 8;
    putByte(byte);
    return kEscapeChars;
}

// "&#" number ";" for hexadecimal digits, here whole bytes; false when they are not digits.
bool LegacyDecoder::putReference(std::string_view digits) {
    unsigned int number = 0;
    for (const char c : digits) {
        const unsigned char value = hexDigitValue(c);
        if (value == kNoHexDigit) return false;
        number = number << 4 | value;
    }
    char reference[2 + std::numeric_limits<unsigned short>::digits10 + 1 + 1] = {'&', '#'};
    char* const end = std::to_chars(reference + 2, std::end(reference) - 1, number).ptr;
    *end = ';';
    put({reference, static_cast<std::size_t>(end + 1 - reference)});
    return true;
}

}  // namespace

bool decodeLegacy(std::string_view text, bool unicodeEscapes, Window& out) {
    return LegacyDecoder(out, unicodeEscapes).decode(text);
}

}  // namespace contentcoding::quoted_printable
