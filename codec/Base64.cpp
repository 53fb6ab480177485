#include "codec/Base64.h"

#include <algorithm>
#include <cstring>

#include "codec/Alphabet.h"
#include "codec/Bytes.h"
#include "codec/Groups.h"
#include "codec/Straight.h"

// The alphabets of RFC 4648, sections 4 and 5: the digit of value v is entry v.
constexpr char _base64_table[65] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char _modBase64_table[65] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

namespace contentcoding::base64 {
namespace {

constexpr std::size_t kGroupBytes = 3;
constexpr std::size_t kQuantumChars = 4;
constexpr char kPad = '=';

// The decode table of the class covers these characters only.
constexpr char kFirstChar = '+';
constexpr char kLastChar = 'z';
constexpr std::size_t kTableSize = kLastChar - kFirstChar + 1;

constexpr contentcoding::Alphabet kStandardDigits(_base64_table);
constexpr contentcoding::Alphabet kUrlSafeDigits(_modBase64_table);

constexpr auto tableOf(const contentcoding::Alphabet<64>& alphabet) {
    std::array<unsigned char, kTableSize> values{};
    for (std::size_t i = 0; i < kTableSize; ++i) {
        const unsigned char value = alphabet.values[kFirstChar + i];
        values[i] = value == kNoDigit ? kBase64Skipped : value;
    }
    return values;
}

constexpr auto kUrlSafeTable = tableOf(kUrlSafeDigits);

}  // namespace
}  // namespace contentcoding::base64

constexpr std::array<unsigned char, 80> _base64DecodeTable =
    contentcoding::base64::tableOf(contentcoding::base64::kStandardDigits);
static_assert(_base64DecodeTable['+' - '+'] == 62 && _base64DecodeTable['z' - '+'] == 51);
static_assert(_base64DecodeTable['-' - '+'] == contentcoding::kBase64Skipped);

namespace contentcoding::base64 {
namespace {

// ---- What characters mean ----

constexpr Base64Values charValues(const unsigned char* table, Base64Values::Alphabet alphabet) {
    Base64Values values{{}, alphabet};
    std::fill(std::begin(values.entry), std::end(values.entry), kBase64Skipped);
    for (std::size_t i = 0; i < kTableSize; ++i)
        if (table[i] < 64) values.entry[kFirstChar + i] = table[i];
    for (const char c : {'.', kPad})
        values.entry[static_cast<unsigned char>(c)] = kBase64Skipped;
    return values;
}

constexpr Base64Values kStandardValues =
    charValues(_base64DecodeTable.data(), Base64Values::kStandard);
constexpr Base64Values kUrlSafeValues = charValues(kUrlSafeTable.data(), Base64Values::kUrlSafe);
constexpr Base64Values kEitherValues = [] {
    Base64Values values = charValues(_base64DecodeTable.data(), Base64Values::kOther);
    values.entry[static_cast<unsigned char>('-')] = 62;
    values.entry[static_cast<unsigned char>('_')] = 63;
    return values;
}();

const Base64Values& valuesOf(Alphabet alphabet) {
    switch (alphabet) {
        case Alphabet::kUrlSafe:
            return kUrlSafeValues;
        case Alphabet::kEither:
            return kEitherValues;
        default:
            return kStandardValues;
    }
}

constexpr bool isSpace(unsigned char c) { return isWhiteSpace(c) || c == '\f'; }

// What an alphabet's texts are made of but for padding, without white space and with it.
struct Classes {
    ByteClass digits, spaced;
};

constexpr Classes classesOf(const Base64Values& values) {
    return {byteClass([&](unsigned char c) { return values.entry[c] != kBase64Skipped; }),
            byteClass(
                [&](unsigned char c) { return values.entry[c] != kBase64Skipped || isSpace(c); })};
}

constexpr Classes kClasses[] = {classesOf(kStandardValues), classesOf(kUrlSafeValues),
                                classesOf(kEitherValues)};
static_assert(static_cast<int>(Alphabet::kStandard) == 0 &&
              static_cast<int>(Alphabet::kUrlSafe) == 1 &&
              static_cast<int>(Alphabet::kEither) == 2);

constexpr std::size_t lineGroupsOf(std::size_t columns) {
    return columns == 0 ? kNoLines : std::max<std::size_t>(columns / kQuantumChars, 1);
}

}  // namespace

constexpr ByteClass kText = byteClass([](unsigned char c) {
    return kStandardValues.entry[c] != kBase64Skipped || c == kPad || isWhiteSpace(c);
});
constexpr ByteClass kInRange = byteClass([](unsigned char c) {
    return (c >= kFirstChar && c <= kLastChar && c != kPad) || isWhiteSpace(c);
});

Base64Values valuesOf(const unsigned char* table) {
    const bool urlSafe = std::equal(kUrlSafeTable.begin(), kUrlSafeTable.end(), table);
    return charValues(table, urlSafe ? Base64Values::kUrlSafe : Base64Values::kOther);
}

const Base64Values& standardValues() { return kStandardValues; }

// ---- Encoding ----

Encoder::Encoder(const Format& format)
    : m_digits(format.alphabet == Alphabet::kUrlSafe ? _modBase64_table : _base64_table),
      m_lineEnd(format.columns > 0 ? format.lineEnd.substr(0, kLongestLineEnd) : ""),
      m_lineGroups(lineGroupsOf(format.columns)),
      m_padded(format.padded) {}

Encoder::Encoder(const char* digits, std::size_t lineGroups, std::string_view lineBreak)
    : m_digits(digits), m_lineEnd(lineBreak), m_lineGroups(lineGroups), m_endsLastLine(false) {}

bool Encoder::write(Bytes piece, Window& out) {
    return writeWholeGroups(piece, m_held, [&](const unsigned char* bytes, std::size_t groups) {
        return writeGroups(bytes, groups, out);
    });
}

// A group and the line end that may follow it are one unit: a block ends after both. A call of the
// kernel writes whole lines where a line starts, else up to its end.
bool Encoder::writeGroups(const unsigned char* bytes, std::size_t groups, Window& out) {
    const auto encode = kernels().encodeBase64;
    const std::size_t unit = kQuantumChars + m_lineEnd.size();
    while (groups > 0) {
        const std::span<char> room = out.room(unit);
        if (room.empty()) return false;
        std::size_t lines = 0;
        if (m_column == 0 && m_lineGroups <= groups)
            lines = std::min(groups / m_lineGroups,
                             room.size() / (m_lineGroups * kQuantumChars + m_lineEnd.size()));
        std::size_t n = lines * m_lineGroups;
        if (lines > 0) {
            encode(bytes, n, {m_digits, m_lineGroups, m_lineEnd.data(), m_lineEnd.size()},
                   room.data());
            out.wrote(n * kQuantumChars + lines * m_lineEnd.size());
        } else {
            const std::size_t fit = (room.size() - unit) / kQuantumChars + 1;
            n = std::min({groups, fit, m_lineGroups - m_column});
            encode(bytes, n, {m_digits, kNoLines, "", 0}, room.data());
            m_lineEnd.copy(room.data() + n * kQuantumChars, m_lineEnd.size());
            m_column += n;
            const bool isFull = m_column == m_lineGroups;
            out.wrote(n * kQuantumChars + (isFull ? m_lineEnd.size() : 0));
            if (isFull) m_column = 0;
        }
        bytes += n * kGroupBytes;
        groups -= n;
    }
    return true;
}

// Writes the quantum of the 1 or 2 bytes after the last whole group.
std::size_t Encoder::writeTail(const unsigned char* bytes, std::size_t count, char* text) const {
    const unsigned int first = bytes[0], second = count == 2 ? bytes[1] : 0u;
    text[0] = m_digits[first >> 2];
    text[1] = m_digits[(first & 0x03) << 4 | second >> 4];
    if (count == 1 && !m_padded) return 2;
    text[2] = count == 2 ? m_digits[(second & 0x0F) << 2] : kPad;
    if (!m_padded) return 3;
    text[3] = kPad;
    return kQuantumChars;
}

bool Encoder::end(Window& out) {
    char text[kQuantumChars + kLongestLineEnd];
    std::size_t n = m_held.count > 0 ? writeTail(m_held.bytes, m_held.count, text) : 0;
    if (m_endsLastLine && m_column + m_held.count > 0)
        n += m_lineEnd.copy(text + n, m_lineEnd.size());
    m_column = 0;
    m_held.count = 0;
    return out.put({text, n});
}

Encoder::Sizes Encoder::sizesOf(std::size_t n) const {
    const std::size_t groups = n / kGroupBytes, rest = n - groups * kGroupBytes;
    Sizes sizes{saturatingMultiply(groups, kQuantumChars), 0};
    bool lineIsOpen = n > 0;
    if (groups >= m_lineGroups) {
        const std::size_t lines = groups / m_lineGroups;
        lineIsOpen = rest > 0 || lines * m_lineGroups < groups;
        sizes.groups = saturatingAdd(sizes.groups, saturatingMultiply(lines, m_lineEnd.size()));
    }
    if (rest > 0) sizes.tail = m_padded ? kQuantumChars : rest + 1;
    if (m_endsLastLine && lineIsOpen) sizes.tail += m_lineEnd.size();
    return sizes;
}

void Encoder::encodeAll(Bytes bytes, const Sizes& sizes, char* text) const {
    const std::size_t groups = bytes.size() / kGroupBytes;
    const std::size_t rest = bytes.size() - groups * kGroupBytes;
    kernels().encodeBase64(bytes.data(), groups,
                           {m_digits, m_lineGroups, m_lineEnd.data(), m_lineEnd.size()}, text);
    text += sizes.groups;
    const std::size_t tail = rest > 0 ? writeTail(bytes.end() - rest, rest, text) : 0;
    if (sizes.tail > tail) m_lineEnd.copy(text + tail, m_lineEnd.size());
}

bool Encoder::feedSink(Bytes piece, detail::SinkRef sink) {
    return throughSink(sink, [&](Window& out) { return write(piece, out); });
}

bool Encoder::finishSink(detail::SinkRef sink) {
    return throughSink(sink, [&](Window& out) { return end(out); });
}

std::size_t encodedSize(std::size_t n, const Format& format) noexcept {
    return Encoder(format).sizesOf(n).all();
}

void encodeTo(detail::Growth out, Bytes bytes, const Format& format) {
    const Encoder encoder(format);
    const auto sizes = encoder.sizesOf(bytes.size());
    // What is too much is left to the container to refuse.
    char* const text = out.resize(out.container, saturatingAdd(out.size, sizes.all()));
    encoder.encodeAll(bytes, sizes, text + out.size);
}

Result<std::size_t> encodeInto(Room room, Bytes bytes, const Format& format) {
    const Encoder encoder(format);
    const auto sizes = encoder.sizesOf(bytes.size());
    if (room.size() < sizes.all()) return Error{Fault::kNoRoom, 0};
    encoder.encodeAll(bytes, sizes, room.data());
    return sizes.all();
}

// ---- Decoding ----

namespace {

// Input and output of one part fit in the first cache.
constexpr std::size_t kPartChars = 16384;

}  // namespace

Decoder::Decoder(const Accept& accept) : m_accept(accept), m_values(&valuesOf(accept.alphabet)) {}

// How much of the text, from its start, the kernel can take: digits, and what is skipped.
std::size_t Decoder::acceptable(std::string_view text) const {
    const auto* const p = reinterpret_cast<const unsigned char*>(text.data());
    if (m_accept.foreign)
        return kernels().lengthUntil(p, text.size(), m_accept.concatenated ? kPad : '\0', kPad);
    const Classes& classes = kClasses[static_cast<int>(m_accept.alphabet)];
    return runLength(p, text.size(), m_accept.whiteSpace ? classes.spaced : classes.digits);
}

Result<void> Decoder::write(Bytes piece, Window& out) {
    std::string_view text = piece.text();
    while (!text.empty() && !m_isOver) {
        if (m_digits == 0 && m_pads == 0 && !m_isPadded && !writeBulk(text, out)) return m_error;
        if (!text.empty()) {
            if (!takeOne(static_cast<unsigned char>(text[0]), out)) return m_error;
            text.remove_prefix(1);
        }
    }
    return {};
}

// Decodes text in which there are only digits and what is skipped, from the start of a group on: a
// part at a time, by the kernel, which leaves three digits at most.
bool Decoder::writeBulk(std::string_view& text, Window& out) {
    const std::size_t most = maxDecodedSize(text.size());
    const std::span<char> room = out.room(std::min(most, Window::kMostAsked));
    if (room.empty() && most > 0) return fail(Fault::kStopped, m_offset);
    const std::size_t fits = room.size() / kGroupBytes * kQuantumChars + kQuantumChars - 1;
    const std::size_t part = std::min(std::min(text.size(), kPartChars), fits);
    const std::size_t run = acceptable(text.substr(0, part));
    out.wrote(decodeRun(text.substr(0, run), room.data()));
    text.remove_prefix(run);
    return true;
}

// Decodes what acceptable() found; returns how many bytes there are.
std::size_t Decoder::decodeRun(std::string_view text, char* bytes) {
    const auto done = kernels().decodeBase64(text.data(), text.size(), *m_values,
                                             reinterpret_cast<unsigned char*>(bytes));
    for (std::size_t i = done.read; i < text.size(); ++i) {
        const unsigned char value = m_values->entry[static_cast<unsigned char>(text[i])];
        if (value == kBase64Skipped) continue;
        m_bits = m_bits << 6 | value;
        m_lastDigit = m_offset + i;
        ++m_digits;
    }
    m_offset += text.size();
    return done.written;
}

std::size_t Decoder::decodeDigits(std::string_view text, char* to) {
    const std::size_t n = decodeRun(text, to);
    cutGroup();
    return n + writeGroup(to + n);
}

std::size_t Decoder::decodeAnything(Bytes bytes, char* to) {
    const std::string_view text = bytes.text();
    if (text.size() <= kPartChars) return decodeDigits(text.substr(0, acceptable(text)), to);
    SpanWindow window({to, maxDecodedSize(text.size())});
    // Nothing is refused: there is room.
    (void)(write(bytes, window) && end(window) && window.finish());
    return window.size();
}

bool Decoder::fail(Fault fault, std::uint64_t offset) {
    m_error = {fault, offset};
    return false;
}

bool Decoder::takeOne(unsigned char c, Window& out) {
    const unsigned char value = m_values->entry[c];
    if (value != kBase64Skipped) {
        if (m_pads > 0) return fail(Fault::kPadding, m_offset);
        if (m_isPadded && !m_accept.concatenated) return fail(Fault::kAfterEnd, m_offset);
        m_isPadded = false;
        m_bits = m_bits << 6 | value;
        m_lastDigit = m_offset;
        if (++m_digits == kQuantumChars && !endGroup(out)) return false;
    } else if (c == kPad) {
        if (!takePad(out)) return false;
    } else if (m_accept.foreign) {
        m_isOver = c == '\0' && !m_accept.concatenated;
    } else if (!m_accept.whiteSpace || !isSpace(c)) {
        return fail(m_isPadded ? Fault::kAfterEnd : Fault::kForeignCharacter, m_offset);
    }
    ++m_offset;
    return true;
}

bool Decoder::takePad(Window& out) {
    if (m_accept.foreign && !m_accept.concatenated) {
        m_isOver = true;
        return true;
    }
    if (m_digits == 1 && !m_accept.cutGroup) return fail(Fault::kCutGroup, m_lastDigit);
    if (m_accept.foreign) return endGroup(out);
    if (m_digits == 0 || m_accept.padding == Padding::kForbidden)
        return fail(Fault::kPadding, m_offset);
    if (m_digits + ++m_pads < static_cast<int>(kQuantumChars)) return true;
    m_isPadded = true;
    return endGroup(out);
}

// Writes the bytes of the group's digits, be they four or fewer.
bool Decoder::endGroup(Window& out) {
    const unsigned int bytes = m_digits * 6u / 8;
    cutGroup();
    if (m_cutBits != 0 && bytes > 0 && !m_accept.leftoverBits)
        return fail(Fault::kLeftoverBits, m_lastDigit);
    if (bytes > 0) {
        const std::span<char> room = out.room(bytes);
        if (room.empty()) return fail(Fault::kStopped, m_offset);
        out.wrote(writeGroup(room.data()));
    }
    m_bits = 0;
    m_digits = m_pads = 0;
    return true;
}

// Notes the bits of the group that complete no byte.
void Decoder::cutGroup() {
    const unsigned int left = m_digits * 6u % 8;
    m_cutBits = static_cast<unsigned char>((m_bits & ((1u << left) - 1)) << (8 - left));
}

std::size_t Decoder::writeGroup(char* bytes) {
    constexpr unsigned int kWordBytes = 4;
    const std::uint32_t bits = m_bits << (32 - m_digits * 6u) % 32;  // from the highest one on
    const unsigned int n = m_digits * 6u / 8;
    for (unsigned int i = 0; i < n; ++i)
        bytes[i] = static_cast<char>(bits >> (8 * (kWordBytes - 1 - i)));
    return n;
}

Result<void> Decoder::end(Window& out) {
    if (m_digits == 1 && !m_accept.cutGroup) return Error{Fault::kCutGroup, m_lastDigit};
    if (m_digits > 1 && !m_isOver && (m_pads > 0 || m_accept.padding == Padding::kRequired))
        return Error{Fault::kPadding, m_offset};
    if (!endGroup(out)) return m_error;
    m_offset = 0;
    m_isPadded = m_isOver = false;
    return {};
}

Result<void> Decoder::feedSink(Bytes piece, detail::SinkRef sink) {
    return throughSink(sink, [&](Window& out) { return write(piece, out); });
}

Result<void> Decoder::finishSink(detail::SinkRef sink) {
    return throughSink(sink, [&](Window& out) { return end(out); });
}

namespace {

// Whether the text is made of digits and the padding that is left out of `digits` then, so that a
// decoder has nothing to refuse and nothing to skip.
bool isSound(std::string_view text, const Accept& accept, std::string_view& digits) {
    digits = text.substr(0, text.find_last_not_of(kPad) + 1);
    const std::size_t pads = text.size() - digits.size(), rest = digits.size() % kQuantumChars;
    const bool isPadded = pads == (rest == 0 ? 0 : kQuantumChars - rest);
    const bool isRight = isPadded && accept.padding != Padding::kForbidden;
    const bool isBare = pads == 0 && accept.padding != Padding::kRequired;
    if (digits.empty() || rest == 1 || (rest > 0 && !isRight && !isBare) || (rest == 0 && pads > 0))
        return false;
    const Classes& classes = kClasses[static_cast<int>(accept.alphabet)];
    const auto* const p = reinterpret_cast<const unsigned char*>(digits.data());
    if (runLength(p, digits.size(), classes.digits) < digits.size()) return false;
    const unsigned int leftover = rest == 2 ? 0x0F : rest == 3 ? 0x03 : 0;
    return (valuesOf(accept.alphabet).entry[p[digits.size() - 1]] & leftover) == 0;
}

}  // namespace

Result<void> decodeTo(detail::Growth out, Bytes text, const Accept& accept) {
    std::string_view digits;
    if (text.size() <= kLongestStraight && isSound(text.text(), accept, digits)) {
        (void)appendStraight(out, maxDecodedSize(digits.size()),
                             [&](char* to) { return Decoder(accept).decodeDigits(digits, to); });
        return {};
    }
    return decodeAll(Decoder(accept), text, maxDecodedSize(text.size()), out);
}

Result<std::size_t> decodeInto(Room room, Bytes text, const Accept& accept) {
    return decodeAllInto(Decoder(accept), text, room);
}

}  // namespace contentcoding::base64
