#include "contentcoding/base16.hpp"

#include "codec/Alphabet.h"
#include "codec/Groups.h"
#include "support/Ascii.h"

namespace contentcoding::base16 {
namespace {

constexpr std::size_t kGroupBytes = 1;
constexpr std::size_t kGroupChars = 2;

constexpr contentcoding::Alphabet kUpperDigits(HexDigits);
constexpr contentcoding::Alphabet kLowerDigits("0123456789abcdef");
static_assert(kNoHexDigit == kNoDigit);

const unsigned char* valuesOf(const Accept& accept) {
    if (accept.anyCase) return kHexDigitValue.data();
    return accept.upperCase ? kUpperDigits.values.data() : kLowerDigits.values.data();
}

// Decodes pairs of digits up to the first one that is none; returns how many there were.
std::size_t decodePairs(const char* text, std::size_t pairs, const unsigned char* values,
                        char* bytes) {
    for (std::size_t i = 0; i < pairs; ++i, text += kGroupChars) {
        const unsigned int high = values[static_cast<unsigned char>(text[0])];
        const unsigned int low = values[static_cast<unsigned char>(text[1])];
        if ((high | low) > 0x0F) return i;
        bytes[i] = static_cast<char>(high << 4 | low);
    }
    return pairs;
}

}  // namespace

// ---- Encoding ----

Encoder::Encoder(const Format& format)
    : m_lines(linesOf(format.columns, format.lineEnd, kGroupChars)),
      m_upperCase(format.upperCase) {}

bool Encoder::write(Bytes piece, Window& out) {
    const char* const digits = m_upperCase ? kUpperDigits.digits : kLowerDigits.digits;
    return writeGroups<kGroupBytes, kGroupChars>(
        piece.data(), piece.size(), m_lines, out,
        [digits](const unsigned char* bytes, std::size_t n, char* text) {
            for (std::size_t i = 0; i < n; ++i) {
                text[i * kGroupChars] = digits[bytes[i] >> 4];
                text[i * kGroupChars + 1] = digits[bytes[i] & 0x0F];
            }
        });
}

bool Encoder::end(Window& out) { return endLine(m_lines, out); }

bool Encoder::feedSink(Bytes piece, detail::SinkRef sink) {
    return throughSink(sink, [&](Window& out) { return write(piece, out); });
}

bool Encoder::finishSink(detail::SinkRef sink) {
    return throughSink(sink, [&](Window& out) { return end(out); });
}

std::size_t encodedSize(std::size_t n, const Format& format) noexcept {
    return sizeInLines(saturatingMultiply(n, kGroupChars),
                       linesOf(format.columns, format.lineEnd, kGroupChars));
}

void encodeTo(detail::Growth out, Bytes bytes, const Format& format) {
    encodeAll(Encoder(format), bytes, encodedSize(bytes.size(), format), out);
}

Result<std::size_t> encodeInto(Room room, Bytes bytes, const Format& format) {
    if (room.size() < encodedSize(bytes.size(), format)) return Error{Fault::kNoRoom, 0};
    return encodeAllInto(Encoder(format), bytes, room);
}

// ---- Decoding ----

Decoder::Decoder(const Accept& accept) : m_accept(accept), m_values(valuesOf(accept)) {}

Result<void> Decoder::write(Bytes piece, Window& out) {
    Error error;
    std::string_view text = piece.text();
    while (!text.empty()) {
        std::size_t single = 1;
        if (!m_hasHigh && text.size() >= kGroupChars) {
            const std::span<char> room = out.room(kGroupBytes);
            if (room.empty()) return Error{Fault::kStopped, m_offset};
            const std::size_t pairs = std::min(text.size() / kGroupChars, room.size());
            const std::size_t done = decodePairs(text.data(), pairs, m_values, room.data());
            out.wrote(done);
            text.remove_prefix(done * kGroupChars);
            m_offset += done * kGroupChars;
            if (done == pairs) continue;
            single = kGroupChars;
        }
        for (const char c : text.substr(0, single)) {
            if (!takeOne(static_cast<unsigned char>(c), out, error)) return error;
        }
        text.remove_prefix(single);
    }
    return {};
}

bool Decoder::takeOne(unsigned char c, Window& out, Error& error) {
    const unsigned char value = m_values[c];
    if (value == kNoDigit) {
        if (!m_accept.foreign && !(m_accept.whiteSpace && isWhiteSpace(c)))
            return fail(
                {kHexDigitValue[c] == kNoHexDigit ? Fault::kForeignCharacter : Fault::kLowerCase,
                 m_offset},
                error);
    } else if (m_hasHigh) {
        if (!out.put(static_cast<char>(m_high << 4 | value)))
            return fail({Fault::kStopped, m_offset}, error);
        m_hasHigh = false;
    } else {
        m_high = value;
        m_lastDigit = m_offset;
        m_hasHigh = true;
    }
    ++m_offset;
    return true;
}

Result<void> Decoder::end(Window&) {
    if (m_hasHigh) return Error{Fault::kCutGroup, m_lastDigit};
    *this = Decoder(m_accept);
    return {};
}

Result<void> Decoder::feedSink(Bytes piece, detail::SinkRef sink) {
    return throughSink(sink, [&](Window& out) { return write(piece, out); });
}

Result<void> Decoder::finishSink(detail::SinkRef sink) {
    return throughSink(sink, [&](Window& out) { return end(out); });
}

Result<void> decodeTo(detail::Growth out, Bytes text, const Accept& accept) {
    return decodeAll(Decoder(accept), text, maxDecodedSize(text.size()), out);
}

Result<std::size_t> decodeInto(Room room, Bytes text, const Accept& accept) {
    return decodeAllInto(Decoder(accept), text, room);
}

}  // namespace contentcoding::base16
