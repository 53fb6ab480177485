#include "codec/mail/HeaderWriter.h"

#include <algorithm>
#include <array>
#include <cassert>

#include "codec/kernels/Kernels.h"
#include "contentcoding/base64.hpp"
#include "contentcoding/charset.hpp"
#include "support/Ascii.h"
#include "support/Graphemes.h"
#include "support/charset/Utf8.h"

namespace contentcoding::mail {
namespace {

// RFC 2047, section 2.
constexpr std::size_t kLongestWord = 75;
// "=?", "?Q?" and "?=".
constexpr std::size_t kFrame = 7;

// Too short for some words; no value needs a limit below it.
constexpr std::size_t kShortestLine = 40;

// More of them at once are kept inside encoded words: lines have to be broken somewhere.
constexpr std::size_t kMostBlanks = 20;

// A label that leaves room for text in a word.
constexpr std::size_t kLongestLabel = 20;

// A first word for which there is less room, beyond its frame, starts on a line of its own.
constexpr std::size_t kLeastText = 12;

constexpr std::string_view kUtf8 = "utf-8";

// What is written under a label: not the larger charset that it is read as.
std::string_view writtenAs(std::string_view label) {
    return equalIgnoringCase(label, "gb2312") ? "euc-cn" : label;
}

std::string converted(std::string_view text, std::string_view label) {
    return charset::fromUtf8(text, writtenAs(label))->text;
}

constexpr bool isVisible(unsigned char b) { return b > 0x20 && b < 0x7F; }

// What may stand as it is in a context, outside of encoded words and in the text of Q words. In a
// phrase these are atoms (RFC 5322, section 3.2.3), and the characters of RFC 2047, section 5 (3).
struct Allowed {
    ByteClass plain, inQ;
};
constexpr Allowed kInText = {byteClass(isVisible), byteClass([](unsigned char b) {
                                 return isVisible(b) && !isOneOf(b, "=?_");
                             })};
constexpr Allowed kInPhrase = {
    byteClass(
        [](unsigned char b) { return isAlphanumeric(b) || isOneOf(b, "!#$%&'*+-/=?^_`{|}~"); }),
    byteClass([](unsigned char b) { return isAlphanumeric(b) || isOneOf(b, "!*+-/"); })};
constexpr Allowed kInComment = {
    byteClass([](unsigned char b) { return isVisible(b) && !isOneOf(b, "()\\"); }),
    byteClass([](unsigned char b) { return isVisible(b) && !isOneOf(b, "()\\\"=?_"); })};

const Allowed& allowedIn(header::Context context) {
    switch (context) {
        case header::Context::kPhrase:
            return kInPhrase;
        case header::Context::kComment:
            return kInComment;
        case header::Context::kText:
            break;
    }
    return kInText;
}

}  // namespace

// A word and the spaces before it.
struct HeaderWriter::Token {
    std::size_t blanks = 0;  // before the text
    std::string_view text;   // with more spaces if it is to be encoded
    bool isEncoded = false;
};

std::string_view wellFormedText(Bytes utf8, std::string& replaced) {
    if (isWellFormed(utf8.text())) return utf8.text();
    replaced = charset::toUtf8(utf8, kUtf8, charset::Malformed::kReplace)->text;
    return replaced;
}

HeaderWriter::HeaderWriter(const header::Encoding& options, std::string& out)
    : m_options(options),
      m_lineLength(options.lineLength == 0 ? std::string::npos
                                           : std::max(options.lineLength, kShortestLine)),
      m_out(out),
      m_column(options.column) {}

bool HeaderWriter::needsEncoding(std::string_view word) const {
    const ByteClass& plain = allowedIn(m_options.context).plain;
    return !std::all_of(word.begin(), word.end(), [&](char c) {
        return plain[static_cast<unsigned char>(c)];
    }) || word.find("=?") != word.npos;
}

// Takes the next word off the text. Spaces that would not be read as they are belong to it.
bool HeaderWriter::nextToken(std::string_view& left, bool isFirst, Token& token) const {
    if (left.empty()) return false;
    const std::size_t blanks = std::min(left.find_first_not_of(' '), left.size());
    std::size_t end = std::min(left.find(' ', blanks), left.size());
    const std::string_view word = left.substr(blanks, end - blanks);
    const bool endsInSpaces = left.find_first_not_of(' ', end) == left.npos;
    if (endsInSpaces) end = left.size();
    const std::size_t most = m_options.context == header::Context::kPhrase ? 1 : kMostBlanks;
    const bool keepsSpaces = blanks > most || blanks + word.size() >= m_lineLength;
    token.isEncoded =
        (isFirst && blanks > 0) || end > blanks + word.size() || keepsSpaces || needsEncoding(word);
    const std::size_t outside = isFirst ? 0 : keepsSpaces ? 1 : blanks;
    token.blanks = isFirst && !m_isEmpty ? 1 : outside;
    token.text = left.substr(outside, end - outside);
    left.remove_prefix(end);
    return true;
}

void HeaderWriter::text(std::string_view utf8, std::size_t after) {
    m_after = after;
    std::string_view left = utf8;
    const char* run = nullptr;  // where the words that are encoded together start
    std::size_t blanks = 0;     // before these
    Token token;
    for (const char* next = left.data(); nextToken(left, next == utf8.data(), token);
         next = left.data()) {
        if (token.isEncoded) {
            if (!run) blanks = token.blanks;
            if (!run) run = token.text.data();
            continue;
        }
        if (run) encoded(blanks, {run, static_cast<std::size_t>(next - run)});
        run = nullptr;
        plain(token.blanks, token.text);
    }
    if (run) encoded(blanks, {run, static_cast<std::size_t>(utf8.data() + utf8.size() - run)});
    m_after = 0;
}

void HeaderWriter::words(std::string_view utf8, std::size_t after) {
    m_after = after;
    m_mayBreakFirst = false;
    encoded(m_isEmpty ? 0 : 1, utf8);
    m_mayBreakFirst = true;
    m_after = 0;
}

// How much of the line is free after the spaces.
std::size_t HeaderWriter::space(std::size_t blanks) const {
    if (m_lineLength == std::string::npos) return m_lineLength;
    return m_lineLength - std::min(m_lineLength, m_column + blanks + m_after);
}

// Line ends stand before spaces only.
void HeaderWriter::newLine(std::size_t& blanks) {
    m_out.append(m_options.lineEnd);
    m_column = 0;
    blanks = std::max<std::size_t>(blanks, 1);
}

void HeaderWriter::whole(std::string_view item) { plain(m_isEmpty ? 0 : 1, item); }

void HeaderWriter::glue(std::string_view characters) {
    m_out.append(characters);
    m_column += characters.size();
}

void HeaderWriter::plain(std::size_t blanks, std::string_view word) {
    if (word.size() > space(blanks) && m_column > 0) newLine(blanks);
    m_out.append(blanks, ' ');
    m_column += blanks;
    glue(word);
    m_isEmpty = false;
}

// ---- Encoded words ----

// The charset of the words for a text: the one asked for, if it has all of the text.
std::string_view HeaderWriter::charsetFor(std::string_view text) const {
    if (equalIgnoringCase(m_options.charset, kUtf8)) return kUtf8;
    const std::string_view label = m_options.charset;
    const bool isLabel =
        label.size() <= kLongestLabel && std::all_of(label.begin(), label.end(), [](char c) {
            return isAlphanumeric(static_cast<unsigned char>(c)) || c == '-' || c == '_';
        });
    // Half of the readers have a yen sign and an overline there.
    const bool isAmbiguous =
        equalIgnoringCase(label, "shift_jis") && text.find_first_of("\\~") != text.npos;
    const bool fits = isLabel && !isAmbiguous && charset::fromUtf8(text, writtenAs(label));
    return fits ? label : kUtf8;
}

std::size_t HeaderWriter::sizeOf(std::string_view bytes, bool isQ) const {
    if (!isQ) return base64::encodedSize(bytes.size());
    const ByteClass& kept = allowedIn(m_options.context).inQ;
    std::size_t size = 0;
    for (const char c : bytes)
        size += c == ' ' || kept[static_cast<unsigned char>(c)] ? 1u : 3u;
    return size;
}

bool HeaderWriter::usesQ(std::string_view bytes, std::string_view charset) const {
    if (m_options.scheme != header::Scheme::kShorter) return m_options.scheme == header::Scheme::kQ;
    // RFC 1468 has B for it, and readers expect that of its relatives.
    constexpr std::string_view kShifting = "iso-2022-";
    return !equalIgnoringCase(charset.substr(0, kShifting.size()), kShifting) &&
           sizeOf(bytes, true) <= sizeOf(bytes, false);
}

// How much of the text makes a word of at most `room` characters; 0 if nothing does. Some readers
// drop what follows a padded B word, so these end after a multiple of 3 bytes where they can.
HeaderWriter::Cut HeaderWriter::cut(std::string_view text, std::string_view charset, bool isQ,
                                    std::size_t room, Unit unit) const {
    const std::size_t frame = kFrame + charset.size();
    Cut best, unpadded;
    std::size_t bytes = 0, size = 0;
    for (std::size_t end = 0; end < text.size();) {
        const std::string_view left = text.substr(end);
        const std::size_t n =
            unit == Unit::kCharacter ? firstOfUtf8(left).length : clusterLength(left, kLongestWord);
        end += n;
        if (charset == kUtf8) {
            bytes += n;
            size = isQ ? size + sizeOf(left.substr(0, n), true) : base64::encodedSize(bytes);
        } else {
            // Shift states make the size of a text differ from that of its parts.
            const std::string piece = converted(text.substr(0, end), charset);
            bytes = piece.size();
            size = sizeOf(piece, isQ);
        }
        if (frame + size > room) return !isQ && unpadded.size > 0 ? unpadded : best;
        best = {end, bytes % 3 != 0};
        if (!best.isPadded) unpadded = best;
    }
    return best;
}

void HeaderWriter::word(std::string_view bytes, std::string_view charset, bool isQ) {
    assert(bytes.size() <= kLongestWord);
    const std::size_t before = m_out.size();
    m_out.append("=?").append(charset).append(isQ ? "?Q?" : "?B?");
    if (isQ) {
        // As the kernel does it, but for texts that are shorter than its set-up is worth.
        const ByteClass& kept = allowedIn(m_options.context).inQ;
        std::array<char, kEscapeChars * kLongestWord> text;
        char* to = text.data();
        for (const char c : bytes) {
            const auto b = static_cast<unsigned char>(c);
            if (kept[b] || c == ' ') {
                *to++ = c == ' ' ? '_' : c;
            } else {
                writeEscape(b, to);
                to += kEscapeChars;
            }
        }
        m_out.append(text.data(), to);
    } else {
        base64::append(m_out, bytes);
    }
    m_out.append("?=");
    m_column += m_out.size() - before;
}

void HeaderWriter::encoded(std::size_t blanks, std::string_view text) {
    const std::string_view charset = charsetFor(text);
    const bool isUtf8 = charset == kUtf8;
    const bool prefersQ = isUtf8 ? usesQ(text, charset) : usesQ(converted(text, charset), charset);
    while (!text.empty()) {
        std::size_t room = std::min(space(blanks), kLongestWord);
        bool isQ = prefersQ;
        Cut next = cut(text, charset, isQ, room, Unit::kCluster);
        const bool isShort = room < kFrame + charset.size() + kLeastText;
        const bool isBad = isShort || (!isQ && next.isPadded && !m_isEmpty);
        const bool mayBreak = m_column > 0 && (m_mayBreakFirst || !m_isEmpty);
        if (mayBreak && (next.size == 0 || (isBad && next.size < text.size()))) {
            newLine(blanks);
            room = std::min(space(blanks), kLongestWord);
            next = cut(text, charset, isQ, room, Unit::kCluster);
        }
        if (next.isPadded && !isQ && next.size < text.size() &&
            m_options.scheme == header::Scheme::kShorter) {
            const Cut quoted = cut(text, charset, true, room, Unit::kCluster);
            isQ = quoted.size > 0;
            if (isQ) next = quoted;
        }
        // A cluster may be too long for a word.
        if (next.size == 0) next = cut(text, charset, isQ, room, Unit::kCharacter);
        // A label that leaves no room for a character.
        if (next.size == 0) next.size = firstOfUtf8(text).length;
        m_out.append(blanks, ' ');
        m_column += blanks;
        const std::string_view piece = text.substr(0, next.size);
        if (isUtf8)
            word(piece, charset, isQ);
        else
            word(converted(piece, charset), charset, isQ);
        text.remove_prefix(next.size);
        m_isEmpty = false;
        blanks = 1;
    }
}

}  // namespace contentcoding::mail
