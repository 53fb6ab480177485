#include "contentcoding/base32.hpp"

#include <algorithm>

#include "codec/Alphabet.h"
#include "codec/Groups.h"
#include "codec/Straight.h"

namespace contentcoding::base32 {
namespace {

constexpr std::size_t kGroupBytes = 5;
constexpr std::size_t kGroupChars = 8;
constexpr unsigned int kDigitBits = 5;
constexpr unsigned int kGroupBits = 40;
constexpr unsigned char kLastDigit = 31;
constexpr char kPad = '=';

constexpr contentcoding::Alphabet kStandardDigits(kBase32Alphabet);
constexpr contentcoding::Alphabet kHexDigits("0123456789ABCDEFGHIJKLMNOPQRSTUV");
static_assert(kStandardDigits.value('7') == kLastDigit && kHexDigits.value('V') == kLastDigit);

// The values of digits, with letters of both cases.
constexpr auto BASE32_TABLE = kStandardDigits.anyCase().values;
constexpr auto kHexValues = kHexDigits.anyCase().values;

unsigned char valueOf(unsigned char c, Alphabet alphabet) {
    return alphabet == Alphabet::kHex ? kHexValues[c] : BASE32_TABLE[c];
}

constexpr bool isLowerCase(unsigned char c) { return c >= 'a' && c <= 'z'; }

void encodeGroups(Alphabet alphabet, const unsigned char* bytes, std::size_t groups, char* text) {
    kernels().encodeBase32(bytes, groups, text);
    if (alphabet == Alphabet::kStandard) return;
    std::for_each(text, text + groups * kGroupChars,
                  [](char& c) { c = kHexDigits.digits[kStandardDigits.value(c)]; });
}

// How many digits carry so many bytes.
constexpr std::size_t digitsFor(std::size_t bytes) {
    return (bytes * 8 + kDigitBits - 1) / kDigitBits;
}

// Writes a short group: its digits, and pads for the others.
std::size_t encodeRest(Alphabet alphabet, const unsigned char* bytes, std::size_t count,
                       char* text) {
    unsigned char padded[kGroupBytes] = {};
    std::copy_n(bytes, count, padded);
    encodeGroups(alphabet, padded, 1, text);
    const std::size_t digits = digitsFor(count);
    std::fill_n(text + digits, kGroupChars - digits, kPad);
    return kGroupChars;
}

// How many bytes a group carries. Pads are looked for where a shorter group would have its first.
unsigned int bytesOf(unsigned int pads) {
    const auto isDigit = [pads](unsigned int place) { return (pads >> place & 1) == 0; };
    if (isDigit(7)) return 5;
    if (isDigit(5)) return 4;
    if (isDigit(4)) return 3;
    return isDigit(2) ? 2 : 1;
}

}  // namespace

// ---- Encoding ----

Encoder::Encoder(const Format& format)
    : m_lines(linesOf(format.columns, format.lineEnd, kGroupChars)),
      m_alphabet(format.alphabet),
      m_padded(format.padded) {}

bool Encoder::write(Bytes piece, Window& out) {
    return writeWholeGroups(piece, m_held, [&](const unsigned char* bytes, std::size_t groups) {
        return writeGroups<kGroupBytes, kGroupChars>(
            bytes, groups, m_lines, out, [this](const unsigned char* p, std::size_t n, char* text) {
                encodeGroups(m_alphabet, p, n, text);
            });
    });
}

bool Encoder::end(Window& out) {
    if (m_held.count > 0) {
        const std::span<char> room = out.room(kGroupChars);
        if (room.empty()) return false;
        const std::size_t n = encodeRest(m_alphabet, m_held.bytes, m_held.count, room.data());
        out.wrote(m_padded ? n : digitsFor(m_held.count));
        m_lines.column += kGroupChars;
        m_held = {};
    }
    return endLine(m_lines, out);
}

bool Encoder::feedSink(Bytes piece, detail::SinkRef sink) {
    return throughSink(sink, [&](Window& out) { return write(piece, out); });
}

bool Encoder::finishSink(detail::SinkRef sink) {
    return throughSink(sink, [&](Window& out) { return end(out); });
}

std::size_t encodedSize(std::size_t n, const Format& format) noexcept {
    const std::size_t rest = n % kGroupBytes;
    const std::size_t tail = rest == 0 ? 0 : format.padded ? kGroupChars : digitsFor(rest);
    return sizeInLines(saturatingAdd(saturatingMultiply(n / kGroupBytes, kGroupChars), tail),
                       linesOf(format.columns, format.lineEnd, kGroupChars));
}

std::size_t encodeStraight(Bytes bytes, char* text) {
    return contentcoding::encodeStraight<kGroupBytes, kGroupChars>(
        bytes, text,
        [](const unsigned char* p, std::size_t n, char* to) {
            kernels().encodeBase32(p, n, to);
            return n;
        },
        [](const unsigned char* p, std::size_t n, char* to) {
            return encodeRest(Alphabet::kStandard, p, n, to);
        });
}

// The encoder asks for room for a whole group at the end too.
void encodeTo(detail::Growth out, Bytes bytes, const Format& format) {
    const bool isPlain =
        format.alphabet == Alphabet::kStandard && format.padded && format.columns == 0;
    if (isPlain && bytes.size() <= kLongestStraight &&
        appendStraight(out, encodedSize(bytes.size()),
                       [&](char* text) { return encodeStraight(bytes, text); }))
        return;
    const std::size_t slack = format.padded ? 0 : kGroupChars;
    encodeAll(Encoder(format), bytes, saturatingAdd(encodedSize(bytes.size(), format), slack), out);
}

Result<std::size_t> encodeInto(Room room, Bytes bytes, const Format& format) {
    if (room.size() < encodedSize(bytes.size(), format)) return Error{Fault::kNoRoom, 0};
    return encodeAllInto(Encoder(format), bytes, room);
}

// ---- Decoding ----

Result<void> Decoder::write(Bytes piece, Window& out) {
    Error error;
    std::string_view text = piece.text();
    while (!text.empty()) {
        std::size_t single = 1;
        const bool mayStart = m_count == 0 && (!m_isPadded || m_accept.concatenated);
        if (mayStart && m_accept.alphabet == Alphabet::kStandard && text.size() >= kGroupChars) {
            const std::span<char> room = out.room(kGroupBytes);
            if (room.empty()) return Error{Fault::kStopped, m_offset};
            const std::size_t groups =
                std::min(text.size() / kGroupChars, room.size() / kGroupBytes);
            const std::size_t done = kernels().decodeBase32(text.data(), groups, bytesAt(room));
            out.wrote(done * kGroupBytes);
            text.remove_prefix(done * kGroupChars);
            m_offset += done * kGroupChars;
            if (done > 0) m_isPadded = false;
            if (done == groups) continue;
            single = kGroupChars;
        }
        for (const char c : text.substr(0, single)) {
            if (!takeOne(static_cast<unsigned char>(c), out, error)) return error;
        }
        text.remove_prefix(std::min(single, text.size()));
    }
    return {};
}

bool Decoder::takeOne(unsigned char c, Window& out, Error& error) {
    const unsigned char value = valueOf(c, m_accept.alphabet);
    bool taken = true;
    if (value != kNoDigit && (m_accept.anyCase || !isLowerCase(c))) {
        taken = takeDigit(value, out, error);
    } else if (c == kPad) {
        taken = takePad(out, error);
    } else if (m_accept.whiteSpace && isWhiteSpace(c)) {
        // skipped
    } else if (m_accept.foreign) {
        const unsigned char low = c & 0x7F, lowValue = valueOf(low, m_accept.alphabet);
        taken = low == kPad ? takePad(out, error)
                            : takeDigit(lowValue == kNoDigit ? kLastDigit : lowValue, out, error);
    } else if (m_isPadded && !m_accept.concatenated) {
        return fail({Fault::kAfterEnd, m_offset}, error);
    } else {
        return fail({value == kNoDigit ? Fault::kForeignCharacter : Fault::kLowerCase, m_offset},
                    error);
    }
    ++m_offset;
    return taken;
}

bool Decoder::takeDigit(unsigned char value, Window& out, Error& error) {
    if (m_pads != 0 && !m_accept.foreign) return fail({Fault::kPadding, m_offset}, error);
    if (m_isPadded && !m_accept.concatenated) return fail({Fault::kAfterEnd, m_offset}, error);
    m_bits = m_bits << kDigitBits | value;
    m_lastDigit = m_offset;
    return ++m_count == kGroupChars ? endGroup(out, error) : true;
}

bool Decoder::takePad(Window& out, Error& error) {
    if (m_accept.padding == Padding::kForbidden || (m_count == 0 && !m_accept.foreign))
        return fail({Fault::kPadding, m_offset}, error);
    if (m_isPadded && !m_accept.concatenated) return fail({Fault::kAfterEnd, m_offset}, error);
    if (isCut() && !m_accept.cutGroup) return fail({Fault::kCutGroup, m_lastDigit}, error);
    m_bits <<= kDigitBits;
    m_pads = static_cast<unsigned char>(m_pads | 1u << m_count);
    return ++m_count == kGroupChars ? endGroup(out, error) : true;
}

// Whether the last digit belongs to no byte.
bool Decoder::isCut() const {
    return m_pads == 0 && (m_count == 1 || m_count == 3 || m_count == 6);
}

// Writes the bytes of a group that is whole, or the last one.
bool Decoder::endGroup(Window& out, Error& error) {
    const unsigned int pads = m_pads | (0xFFu << m_count & 0xFF);
    const std::uint64_t bits = m_bits << kDigitBits * (kGroupChars - m_count);
    const unsigned int n = bytesOf(pads);
    const std::uint64_t left = bits & ((std::uint64_t{1} << (kGroupBits - 8 * n)) - 1);
    if (left != 0 && !m_accept.leftoverBits)
        return fail({Fault::kLeftoverBits, m_lastDigit}, error);
    const std::span<char> room = out.room(kGroupBytes);
    if (room.empty()) return fail({Fault::kStopped, m_offset}, error);
    for (unsigned int i = 0; i < n; ++i)
        room[i] = static_cast<char>(bits >> (kGroupBits - 8 * (i + 1)));
    out.wrote(n);
    m_isPadded = pads != 0;
    m_bits = m_count = m_pads = 0;
    return true;
}

Result<void> Decoder::end(Window& out) {
    Error error;
    if (m_count > 0) {
        if (isCut() && !m_accept.cutGroup) return Error{Fault::kCutGroup, m_lastDigit};
        const bool isHalfPadded = m_pads != 0 && !m_accept.foreign;
        if (isHalfPadded || m_accept.padding == Padding::kRequired)
            return Error{Fault::kPadding, m_offset};
        if (!endGroup(out, error)) return error;
    }
    // Not assigned as a whole: what was just written in small parts would be read in large ones,
    // for which a processor waits as long as a short call takes.
    m_offset = 0;
    m_isPadded = false;
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
                                                                   kernels().decodeBase32);
}

// The decoder asks for room for a whole group at the end too.
Result<void> decodeTo(detail::Growth out, Bytes text, const Accept& accept) {
    // A padded text is not one of whole groups.
    if (accept.alphabet == Alphabet::kStandard && text.size() <= kLongestStraight &&
        !text.text().ends_with('=') &&
        appendStraight(out, maxDecodedSize(text.size()),
                       [&](char* bytes) { return decodeStraight(text, bytes); }))
        return {};
    return decodeAll(Decoder(accept), text, maxDecodedSize(text.size()) + kGroupBytes, out);
}

Result<std::size_t> decodeInto(Room room, Bytes text, const Accept& accept) {
    return decodeAllInto(Decoder(accept), text, room);
}

}  // namespace contentcoding::base32
