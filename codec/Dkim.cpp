#include "contentcoding/dkim.hpp"

#include <algorithm>

#include "codec/Alphabet.h"
#include "codec/Bytes.h"
#include "codec/EscapedLines.h"
#include "codec/Streams.h"
#include "support/Ascii.h"

namespace contentcoding::dkim {
namespace {

constexpr std::size_t kShortestLine = 10;

// ---- Encoding ----

constexpr EscapeRules kEscapes = {
    .kept = byteClass([](unsigned char b) { return b > 32 && b < 127 && b != '=' && b != ';'; })};

class Rules {
public:
    static constexpr bool kHasHardBreaks = false;

    Rules(std::size_t columns, bool isLegacy)
        : m_fullLine(columns == 0 && !isLegacy ? kLargestSize
                                               : std::max(columns, kShortestLine) - isLegacy),
          m_isLegacy(isLegacy) {}

    static Transfer escape(const unsigned char* p, std::size_t n, bool, char* text,
                           std::size_t room, unsigned char&) {
        return kernels().escape(p, n, kEscapes, text, room);
    }

    Cut cut(std::string_view text, std::size_t, std::size_t column, bool isEnd) const {
        const std::size_t room = m_fullLine - column;
        const std::size_t shown = isEnd ? text.size() : text.size() - kAhead;
        if (m_isLegacy ? shown < room : shown <= room)
            return {wholeUnits(text, shown), Cut::End::kNone};
        return {m_isLegacy ? legacyLine(text, room) : wholeUnits(text, room), Cut::End::kSoft};
    }

    std::string_view softBreak() const { return m_isLegacy ? "=\r\n" : "\r\n "; }
    std::string_view hardBreak() const { return ""; }
    std::size_t columnAfterSoftBreak() const { return m_isLegacy ? 0 : 1; }

private:
    static constexpr std::size_t kAhead = EscapedLines<Rules>::kLookAhead;

    // A line goes on to the end of the unit that fills it, and past the CR of a CR LF after that.
    static std::size_t legacyLine(std::string_view text, std::size_t room) {
        std::size_t n = room;
        if (const std::size_t whole = wholeUnits(text, n); whole < n) n = whole + kEscapeChars;
        return n + (text.substr(n).starts_with("=0D=0A") ? kEscapeChars : 0);
    }

    std::size_t m_fullLine;
    bool m_isLegacy;
};

}  // namespace

bool Encoder::write(Bytes piece, Window& out) {
    const Rules rules(m_columns, m_isLegacy);
    return EscapedLines(m_state, rules).write(piece, out);
}

bool Encoder::end(Window& out) {
    const Rules rules(m_columns, m_isLegacy);
    return EscapedLines(m_state, rules).end(out);
}

bool Encoder::writeAll(Bytes bytes, Window& out) {
    const Rules rules(m_columns, m_isLegacy);
    return EscapedLines(m_state, rules).writeAll(bytes, out);
}

bool Encoder::feedSink(Bytes piece, detail::SinkRef sink) {
    return throughSink(sink, [&](Window& out) { return write(piece, out); });
}

bool Encoder::finishSink(detail::SinkRef sink) {
    return throughSink(sink, [&](Window& out) { return end(out); });
}

// Every byte an escape, and a break for each line, the shortest of which has 7 characters.
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

// White space means nothing.
constexpr UnescapeRules unescapeRules(unsigned char digitMask) {
    return {.kept = byteClass([](unsigned char b) { return b != '=' && !isWhiteSpace(b); }),
            .digitMask = digitMask};
}
constexpr UnescapeRules kUnescapes = unescapeRules(0xFF);
constexpr UnescapeRules kLegacyUnescapes = unescapeRules(0x7F);

constexpr ByteClass kAllowed =
    byteClass([](unsigned char b) { return (b > 32 && b < 127 && b != ';') || isWhiteSpace(b); });

}  // namespace

Result<void> Decoder::write(Bytes piece, Window& out) {
    std::string_view text = piece.text();
    while (m_pendingSize > 0 && !text.empty()) {
        char joined[sizeof m_pending + 1];
        std::memcpy(joined, m_pending, m_pendingSize);
        const std::size_t more = text.copy(joined + m_pendingSize, 1);
        std::string_view rest(joined, m_pendingSize + more);
        if (const auto done = decodeSpan(rest, false, out); !done) return done;
        text.remove_prefix(more);
        m_pendingSize = static_cast<unsigned char>(rest.copy(m_pending, sizeof m_pending));
    }
    if (text.empty()) return {};
    if (const auto done = decodeSpan(text, false, out); !done) return done;
    if (!text.empty())
        m_pendingSize = static_cast<unsigned char>(text.copy(m_pending, sizeof m_pending));
    return {};
}

Result<void> Decoder::end(Window& out) {
    std::string_view last(m_pending, m_pendingSize);
    Result<void> done;
    if (!last.empty()) done = decodeSpan(last, true, out);
    m_pendingSize = 0;
    m_offset = 0;
    return done;
}

// Decodes all but an escape that is cut at the end of the text, which it leaves there.
Result<void> Decoder::decodeSpan(std::string_view& text, bool isEnd, Window& out) {
    const std::size_t n = isEnd ? text.size() : wholeUnits(text, text.size());
    if (const auto checked = check(text.substr(0, n)); !checked) return checked;
    for (std::size_t i = 0; i < n;) {
        const std::span<char> room = out.room(Window::kMostAsked);
        if (room.empty()) return Error{Fault::kStopped, m_offset};
        const auto done =
            kernels().unescape(text.data() + i, n - i, m_isLegacy ? kLegacyUnescapes : kUnescapes,
                               room.data(), room.size() - kOverwrite);
        out.wrote(done.written);
        i += done.read;
        m_offset += done.read;
        if (done.read > 0) continue;
        if (!out.put('=')) return Error{Fault::kStopped, m_offset};  // not an escape
        ++i;
        ++m_offset;
    }
    text.remove_prefix(n);
    return {};
}

// The first fault in a text without an escape that is cut, but for its end.
Result<void> Decoder::check(std::string_view text) const {
    const bool anyEscape = m_accept.badEscapes && m_accept.lowerCase;
    if (anyEscape && m_accept.foreign) return {};
    std::size_t fine = text.size();
    Fault fault = Fault::kForeignCharacter;
    if (!m_accept.foreign)
        fine = runLength(reinterpret_cast<const unsigned char*>(text.data()), fine, kAllowed);
    for (std::size_t i = anyEscape ? fine : text.find('='); i < fine; i = text.find('=', i + 1)) {
        const auto isDigit = [&](std::size_t at) {
            return at < text.size() && hexDigitValue(text[at]) != kNoHexDigit;
        };
        if (!isDigit(i + 1) || !isDigit(i + 2)) {
            if (m_accept.badEscapes) continue;
            fine = i;
            fault = Fault::kBadEscape;
        } else if (!m_accept.lowerCase) {
            for (const std::size_t at : {i + 1, i + 2}) {
                if (text[at] < 'a' || at >= fine) continue;
                fine = at;
                fault = Fault::kLowerCase;
            }
        }
    }
    if (fine == text.size()) return {};
    return Error{fault, m_offset + fine};
}

Result<void> Decoder::feedSink(Bytes piece, detail::SinkRef sink) {
    return throughSink(sink, [&](Window& out) { return write(piece, out); });
}

Result<void> Decoder::finishSink(detail::SinkRef sink) {
    return throughSink(sink, [&](Window& out) { return end(out); });
}

Result<void> decodeTo(detail::Growth out, Bytes text, const Accept& accept) {
    return decodeAll(Decoder(accept), text, text.size(), out);
}

Result<std::size_t> decodeInto(Room room, Bytes text, const Accept& accept) {
    return decodeAllInto(Decoder(accept), text, room);
}

}  // namespace contentcoding::dkim
