#include "codec/Ascii85.h"

#include <algorithm>

#include "codec/Alphabet.h"
#include "codec/Bytes.h"
#include "codec/Groups.h"
#include "codec/Straight.h"

namespace contentcoding::ascii85 {
namespace {

constexpr std::size_t kGroupBytes = 4;
constexpr std::size_t kGroupChars = 5;
constexpr std::uint32_t kBase = 85;
constexpr char kFirstDigit = '!';
constexpr unsigned char kLastDigit = 84;
constexpr std::string_view kZeros = "z", kOpen = "<~", kClose = "~>";

// The largest number whose product with 85 fits in 32 bits.
constexpr std::uint32_t kLargestHead = 50529027;
static_assert(kLargestHead == 0xFFFFFFFF / kBase);

constexpr bool isDigit(unsigned char c) { return c >= '!' && c <= 'u'; }

constexpr ByteClass kAccepted =
    byteClass([](unsigned char c) { return isDigit(c) || c == 'z' || isWhiteSpace(c); });

// A frame's end of two characters fits in a line.
detail::Lines linesOf(const Format& format) {
    const std::size_t columns = format.columns == 0 ? 0 : std::max<std::size_t>(format.columns, 2);
    return contentcoding::linesOf(columns, format.lineEnd, 1);
}

// Writes the five digits of a group, or "z"; returns how many characters that are.
std::size_t encodeGroup(const unsigned char* bytes, char* text) {
    if (kernels().encodeAscii85(bytes, 1, text) == 1) return kGroupChars;
    return kZeros.copy(text, kZeros.size());
}

// How many of the groups stand in front of the first one of zeros.
std::size_t groupsBeforeZeros(const unsigned char* bytes, std::size_t groups) {
    std::size_t n = 0;
    while (n < groups && loadBigEndian(bytes + n * kGroupBytes, kGroupBytes) != 0)
        ++n;
    return n;
}

// Writes the first digits of a short group, which counts as padded with zero bytes: one more than
// it has bytes. It is never abbreviated: "z" would decode to four bytes.
std::size_t encodeRest(const unsigned char* bytes, std::size_t count, char* text) {
    unsigned char padded[kGroupBytes] = {};
    char digits[kGroupChars];
    std::fill_n(digits, kGroupChars, kFirstDigit);
    std::copy_n(bytes, count, padded);
    kernels().encodeAscii85(padded, 1, digits);
    std::copy_n(digits, count + 1, text);
    return count + 1;
}

}  // namespace

bool isAllAccepted(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    if (text.starts_with(kOpen)) text.remove_prefix(kOpen.size());
    const std::size_t n =
        runLength(reinterpret_cast<const unsigned char*>(text.data()), text.size(), kAccepted);
    return n == text.size() || text.substr(n).starts_with(kClose);
}

// ---- Encoding ----

Encoder::Encoder(const Format& format) : m_lines(linesOf(format)), m_framed(format.framed) {}

bool Encoder::putInLines(std::string_view text, Window& out) {
    while (!text.empty()) {
        const std::string_view part = text.substr(0, m_lines.columns - m_lines.column);
        if (!out.put(part)) return false;
        text.remove_prefix(part.size());
        m_lines.column += part.size();
        if (m_lines.column == m_lines.columns && !endLine(m_lines, out)) return false;
    }
    return true;
}

bool Encoder::begin(Window& out) {
    if (m_hasBegun) return true;
    m_hasBegun = true;
    return !m_framed || putInLines(kOpen, out);
}

bool Encoder::write(Bytes piece, Window& out) {
    return begin(out) &&
           writeWholeGroups(piece, m_held, [&](const unsigned char* bytes, std::size_t groups) {
               return writeGroups(bytes, groups, out);
           });
}

// A group is one unit, whether it is five characters or one. What fits in the line and has no group
// of zeros is written where it ends up.
bool Encoder::writeGroups(const unsigned char* bytes, std::size_t groups, Window& out) {
    while (groups > 0) {
        const std::span<char> room = out.room(kGroupChars);
        if (room.empty()) return false;
        const std::size_t fit = std::min(
            {groups, room.size() / kGroupChars, (m_lines.columns - m_lines.column) / kGroupChars});
        std::size_t n = kernels().encodeAscii85(bytes, fit, room.data());
        if (n > 0) {
            out.wrote(n * kGroupChars);
            m_lines.column += n * kGroupChars;
            if (m_lines.column == m_lines.columns && !endLine(m_lines, out)) return false;
        } else {
            char text[kGroupChars];
            if (!putInLines({text, encodeGroup(bytes, text)}, out)) return false;
            n = 1;
        }
        bytes += n * kGroupBytes;
        groups -= n;
    }
    return true;
}

bool Encoder::end(Window& out) {
    if (!begin(out)) return false;
    if (m_held.count > 0) {
        if (out.room(kGroupChars).empty()) return false;
        char text[kGroupChars];
        const std::size_t n = encodeRest(m_held.bytes, m_held.count, text);
        if (!putInLines({text, n}, out)) return false;
        m_held = {};
    }
    m_hasBegun = false;
    if (m_framed) {
        const bool fits = m_lines.columns - m_lines.column >= kClose.size();
        if ((!fits && !endLine(m_lines, out)) || !putInLines(kClose, out)) return false;
    }
    return endLine(m_lines, out);
}

bool Encoder::feedSink(Bytes piece, detail::SinkRef sink) {
    return throughSink(sink, [&](Window& out) { return write(piece, out); });
}

bool Encoder::finishSink(detail::SinkRef sink) {
    return throughSink(sink, [&](Window& out) { return end(out); });
}

// With a frame, one line more may be cut short.
std::size_t maxEncodedSize(std::size_t n, const Format& format) noexcept {
    const std::size_t rest = n % kGroupBytes;
    const std::size_t frame = format.framed ? kOpen.size() + kClose.size() : 0;
    const std::size_t tail = frame + (rest == 0 ? 0 : rest + 1);
    const detail::Lines lines = linesOf(format);
    const std::size_t all =
        sizeInLines(saturatingAdd(saturatingMultiply(n / kGroupBytes, kGroupChars), tail), lines);
    return format.framed ? saturatingAdd(all, lines.end.size()) : all;
}

std::size_t encodeStraight(Bytes bytes, char* text) {
    return contentcoding::encodeStraight<kGroupBytes, kGroupChars>(
        bytes, text, kernels().encodeAscii85, encodeRest);
}

// The encoder asks for room for a whole group at the end too.
void encodeTo(detail::Growth out, Bytes bytes, const Format& format) {
    const std::size_t most = maxEncodedSize(bytes.size(), format);
    if (!format.framed && format.columns == 0 && bytes.size() <= kLongestStraight &&
        appendStraight(out, most + kGroupChars,
                       [&](char* text) { return encodeStraight(bytes, text); }))
        return;
    encodeAll(Encoder(format), bytes, saturatingAdd(most, kGroupChars), out);
}

Result<std::size_t> encodeInto(Room room, Bytes bytes, const Format& format) {
    return encodeAllInto(Encoder(format), bytes, room);
}

// ---- Decoding ----

Result<void> Decoder::write(Bytes piece, Window& out) {
    Error error;
    std::string_view text = piece.text();
    while (!text.empty()) {
        if (m_state == State::kEnded && m_accept.foreign) {
            m_offset += text.size();
            return {};
        }
        // Text without a frame may start with whole groups.
        if (m_state == State::kStart && m_accept.framed != Frame::kRequired && text[0] != '<' &&
            isDigit(static_cast<unsigned char>(text[0])))
            m_state = State::kInside;
        std::size_t single = 1;
        if (m_state == State::kInside && m_count == 0 && text.size() >= kGroupChars) {
            if (!decodeGroups(text, out, error)) return error;
            single = std::min(kGroupChars, text.size());
        }
        for (std::size_t i = 0; i < single; ++i) {
            if (!takeOne(static_cast<unsigned char>(text[i]), out, error)) return error;
        }
        text.remove_prefix(single);
    }
    return {};
}

// Takes whole groups off the text, as many as have nothing special about them.
bool Decoder::decodeGroups(std::string_view& text, Window& out, Error& error) {
    while (text.size() >= kGroupChars) {
        const std::span<char> room = out.room(kGroupBytes);
        if (room.empty()) return fail({Fault::kStopped, m_offset}, error);
        const std::size_t groups = std::min(text.size() / kGroupChars, room.size() / kGroupBytes);
        std::size_t done = kernels().decodeAscii85(text.data(), groups, bytesAt(room));
        if (!m_accept.longZeros) done = groupsBeforeZeros(bytesAt(room), done);
        out.wrote(done * kGroupBytes);
        text.remove_prefix(done * kGroupChars);
        m_offset += done * kGroupChars;
        if (done > 0) m_isSpaced = false;
        if (done < groups) break;
    }
    return true;
}

bool Decoder::takeOne(unsigned char c, Window& out, Error& error) {
    bool taken = true;
    if (m_state == State::kClosing) {
        if (c != '>') return fail({Fault::kForeignCharacter, m_offset - 1}, error);
        m_state = State::kEnded;
        taken = endGroup(out, error);
    } else if (c == '~') {
        taken = takeTilde(error);
    } else if (m_state == State::kOpening && m_accept.framed == Frame::kRequired) {
        return fail({Fault::kFrame, m_groupStart}, error);
    } else if (m_accept.whiteSpace && isWhiteSpace(c)) {
        if (m_state == State::kOpening) m_state = State::kInside;
        m_isSpaced = m_state == State::kInside;
    } else if (m_state != State::kEnded) {
        taken = takeDigit(c, out, error);
    } else if (!m_accept.foreign) {
        return fail({Fault::kAfterEnd, m_offset}, error);
    }
    ++m_offset;
    return taken;
}

// A "~" after "<" opens the frame; any other may close it.
bool Decoder::takeTilde(Error& error) {
    if (m_state == State::kOpening) {
        m_state = State::kInside;
        m_count = 0;
        return true;
    }
    if (m_state == State::kEnded)
        return m_accept.foreign || fail({Fault::kAfterEnd, m_offset}, error);
    const bool isUnopened = m_state == State::kStart && m_accept.framed == Frame::kRequired;
    if (m_accept.framed == Frame::kForbidden || isUnopened)
        return fail({Fault::kFrame, m_offset}, error);
    m_state = State::kClosing;
    return true;
}

bool Decoder::takeDigit(unsigned char c, Window& out, Error& error) {
    if (m_state == State::kStart) {
        const bool mayOpen = c == '<' && m_accept.framed != Frame::kForbidden;
        if (!mayOpen && m_accept.framed == Frame::kRequired)
            return fail({Fault::kFrame, m_offset}, error);
        m_state = mayOpen ? State::kOpening : State::kInside;
    } else {
        m_state = State::kInside;
    }
    if (c == 'z' && m_count == 0 && !(m_accept.foreign && m_isSpaced))
        return putGroup(0, kGroupBytes, out, error);
    if (!isDigit(c) && (c != 'z' || !m_accept.foreign))
        return fail({Fault::kForeignCharacter, m_offset}, error);
    if (m_count == 0) m_groupStart = m_offset;
    m_lastDigit = m_offset;
    m_digits[m_count] = static_cast<unsigned char>(c - kFirstDigit);
    return ++m_count == kGroupChars ? endGroup(out, error) : true;
}

// Writes the bytes of a group that is whole, or the last one, whose missing digits count as 84.
bool Decoder::endGroup(Window& out, Error& error) {
    const unsigned int n = m_count;
    if (n == 0) return true;
    if (n == 1 && !m_accept.foreign) return fail({Fault::kCutGroup, m_groupStart}, error);
    // Blocks that are due are handed over before a fault is reported.
    if (out.room(kGroupBytes).empty()) return fail({Fault::kStopped, m_offset}, error);
    std::fill(m_digits + n, m_digits + kGroupChars, kLastDigit);
    const std::uint32_t head =
        ((m_digits[0] * kBase + m_digits[1]) * kBase + m_digits[2]) * kBase + m_digits[3];
    const std::uint32_t last = m_digits[4];
    if (head > kLargestHead || head * kBase > 0xFFFFFFFF - last) {
        m_overflow = {head > kLargestHead, n < kGroupChars};
        return fail({Fault::kGroupTooLarge, m_groupStart}, error);
    }
    const std::uint32_t value = head * kBase + last;
    if (n == kGroupChars) {
        if (value == 0 && !m_accept.longZeros)
            return fail({Fault::kForeignCharacter, m_groupStart}, error);
    } else if (!m_accept.leftoverBits) {
        std::uint32_t power = 1;
        for (unsigned int i = n; i < kGroupChars; ++i)
            power *= kBase;
        const std::uint32_t written = value & ~(0xFFFFFFFFu >> 8 * (n - 1));
        if (written / power != value / power)
            return fail({Fault::kLeftoverBits, m_lastDigit}, error);
    }
    return putGroup(value, n - 1, out, error);
}

// The first bytes of a number.
bool Decoder::putGroup(std::uint32_t value, unsigned int size, Window& out, Error& error) {
    const std::span<char> room = out.room(kGroupBytes);
    if (room.empty()) return fail({Fault::kStopped, m_offset}, error);
    for (unsigned int i = 0; i < size; ++i)
        room[i] = static_cast<char>(value >> (24 - 8 * i));
    out.wrote(size);
    m_count = 0;
    m_isSpaced = false;
    return true;
}

Result<void> Decoder::end(Window& out) {
    Error error;
    if (m_state == State::kClosing) return Error{Fault::kFrame, m_offset};
    if (m_accept.framed == Frame::kRequired && m_state != State::kEnded)
        return Error{Fault::kFrame, m_state == State::kOpening ? m_groupStart : m_offset};
    if (!endGroup(out, error)) return error;
    m_state = State::kStart;
    m_isSpaced = false;
    m_offset = 0;
    return {};
}

Result<void> Decoder::feedSink(Bytes piece, detail::SinkRef sink) {
    return throughSink(sink, [&](Window& out) { return write(piece, out); });
}

Result<void> Decoder::finishSink(detail::SinkRef sink) {
    return throughSink(sink, [&](Window& out) { return end(out); });
}

std::size_t decodeStraight(Bytes text, char* bytes) {
    return contentcoding::decodeStraight<kGroupChars, kGroupBytes>(text, bytes,
                                                                   kernels().decodeAscii85);
}

// What has no "z" needs no more room than this; the decoder asks for that of a whole group at the
// end too.
Result<void> decodeTo(detail::Growth out, Bytes text, const Accept& accept) {
    const std::size_t bytes = text.size() / kGroupChars * kGroupBytes;
    const bool isRefused =
        accept.framed == Frame::kRequired ||
        (!accept.longZeros && text.text().find("!!!!!") != std::string_view::npos);
    if (text.size() <= kLongestStraight && !isRefused &&
        appendStraight(out, bytes, [&](char* to) { return decodeStraight(text, to); }))
        return {};
    return decodeAll(Decoder(accept), text, bytes + 2 * kGroupBytes, out);
}

Result<std::size_t> decodeInto(Room room, Bytes text, const Accept& accept) {
    return decodeAllInto(Decoder(accept), text, room);
}

}  // namespace contentcoding::ascii85
