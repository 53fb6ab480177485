#include "contentcoding/eda.hpp"

#include <algorithm>
#include <array>

#include "codec/Alphabet.h"
#include "codec/Groups.h"
#include "codec/Straight.h"

namespace contentcoding::eda {
namespace {

constexpr std::size_t kGroupBytes = 2;
constexpr std::size_t kGroupChars = 3;
constexpr unsigned int kBase = 43;

// So many characters are taken one by one where the kernel stops: more than the group that it
// stopped at, as one bad group is often followed by others.
constexpr std::size_t kSingleChars = 16 * kGroupChars;

constexpr unsigned int kLargestGroup = 0xFFFF;
constexpr unsigned int kLargestByte = 0xFF;

constexpr contentcoding::Alphabet kDigits(kEdaAlphabet);

// Characters between the first and the last of the alphabet that are not in it count as 0, all
// others as "(", the first one.
constexpr auto kAnyValues = [] {
    std::array<unsigned char, 256> values = kDigits.values;
    for (unsigned int c = 0; c < 256; ++c) {
        const bool isBetween = c >= '(' && c <= 'Z';
        if (values[c] == kNoDigit) values[c] = isBetween ? 0 : kDigits.value('(');
    }
    return values;
}();
static_assert(kAnyValues['a'] == 36 && kAnyValues['Z'] == 35 && kAnyValues['@'] == 0);

const unsigned char* valuesOf(const Accept& accept) {
    return accept.foreign ? kAnyValues.data() : kDigits.values.data();
}

// Writes a last byte that is alone.
std::size_t encodeRest(const unsigned char* bytes, std::size_t, char* text) {
    text[0] = kEdaAlphabet[bytes[0] / kBase];
    text[1] = kEdaAlphabet[bytes[0] % kBase];
    return kGroupChars - 1;
}

}  // namespace

// ---- Encoding ----

bool Encoder::write(Bytes piece, Window& out) {
    detail::Lines noLines = linesOf(0, "", kGroupChars);
    return writeWholeGroups(piece, m_held, [&](const unsigned char* bytes, std::size_t groups) {
        return writeGroups<kGroupBytes, kGroupChars>(bytes, groups, noLines, out,
                                                     kernels().encodeEda);
    });
}

bool Encoder::end(Window& out) {
    if (m_held.count == 0) return true;
    const std::span<char> room = out.room(kGroupChars);
    if (room.empty()) return false;
    out.wrote(encodeRest(m_held.bytes, m_held.count, room.data()));
    m_held = {};
    return true;
}

bool Encoder::feedSink(Bytes piece, detail::SinkRef sink) {
    return throughSink(sink, [&](Window& out) { return write(piece, out); });
}

bool Encoder::finishSink(detail::SinkRef sink) {
    return throughSink(sink, [&](Window& out) { return end(out); });
}

std::size_t encodedSize(std::size_t n, const Format&) noexcept {
    return saturatingAdd(saturatingMultiply(n / kGroupBytes, kGroupChars), n % kGroupBytes * 2);
}

std::size_t encodeStraight(Bytes bytes, char* text) {
    return contentcoding::encodeStraight<kGroupBytes, kGroupChars>(
        bytes, text,
        [](const unsigned char* p, std::size_t n, char* to) {
            kernels().encodeEda(p, n, to);
            return n;
        },
        encodeRest);
}

// The encoder asks for room for a whole group at the end too.
void encodeTo(detail::Growth out, Bytes bytes, const Format& format) {
    if (bytes.size() <= kLongestStraight &&
        appendStraight(out, encodedSize(bytes.size()),
                       [&](char* text) { return encodeStraight(bytes, text); }))
        return;
    encodeAll(Encoder(format), bytes, saturatingAdd(encodedSize(bytes.size()), 1), out);
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
        if (m_count == 0 && text.size() >= kGroupChars) {
            const std::span<char> room = out.room(kGroupBytes);
            if (room.empty()) return Error{Fault::kStopped, m_offset};
            const std::size_t groups =
                std::min(text.size() / kGroupChars, room.size() / kGroupBytes);
            const std::size_t done = kernels().decodeEda(text.data(), groups, bytesAt(room));
            out.wrote(done * kGroupBytes);
            text.remove_prefix(done * kGroupChars);
            m_offset += done * kGroupChars;
            if (done == groups) continue;
            single = kSingleChars;
        }
        for (const char c : text.substr(0, single)) {
            if (!takeOne(static_cast<unsigned char>(c), out, error)) return error;
        }
        text.remove_prefix(std::min(single, text.size()));
    }
    return {};
}

bool Decoder::takeOne(unsigned char c, Window& out, Error& error) {
    const unsigned char value = valuesOf(m_accept)[c];
    if (value == kNoDigit) return fail({Fault::kForeignCharacter, m_offset}, error);
    if (m_count == 0) m_start = m_offset;
    m_value = m_value * kBase + value;
    ++m_offset;
    return ++m_count == kGroupChars ? endGroup(out, error) : true;
}

// Writes the bytes of a group that is whole, or the last one.
bool Decoder::endGroup(Window& out, Error& error) {
    const bool isWhole = m_count == kGroupChars;
    if (m_value > (isWhole ? kLargestGroup : kLargestByte) && !m_accept.foreign)
        return fail({Fault::kGroupTooLarge, m_start}, error);
    const std::span<char> room = out.room(kGroupBytes);
    if (room.empty()) return fail({Fault::kStopped, m_offset}, error);
    std::size_t n = 0;
    if (isWhole) room[n++] = static_cast<char>(m_value >> 8);
    room[n++] = static_cast<char>(m_value);
    out.wrote(n);
    m_value = m_count = 0;
    return true;
}

Result<void> Decoder::end(Window& out) {
    Error error;
    if (m_count == 1 && !m_accept.foreign) return Error{Fault::kCutGroup, m_start};
    if (m_count == kGroupChars - 1) {
        if (!endGroup(out, error)) return error;
    }
    m_value = m_count = 0;
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
                                                                   kernels().decodeEda);
}

// The decoder asks for room for a whole group at the end too.
Result<void> decodeTo(detail::Growth out, Bytes text, const Accept& accept) {
    if (text.size() <= kLongestStraight &&
        appendStraight(out, maxDecodedSize(text.size()),
                       [&](char* bytes) { return decodeStraight(text, bytes); }))
        return {};
    return decodeAll(Decoder(accept), text, maxDecodedSize(text.size()) + 1, out);
}

Result<std::size_t> decodeInto(Room room, Bytes text, const Accept& accept) {
    return decodeAllInto(Decoder(accept), text, room);
}

}  // namespace contentcoding::eda
