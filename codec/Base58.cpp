#include "codec/Base58.h"

#include <algorithm>
#include <vector>

#include "codec/Alphabet.h"
#include "codec/Bytes.h"
#include "codec/Streams.h"

namespace contentcoding::base58 {
namespace {

constexpr unsigned int kWordBytes = 8;
constexpr std::size_t kWordsAtOnce = 4;
constexpr std::size_t kSmallWords = 8;  // more are shifted in, several at a time
constexpr std::ptrdiff_t kBytesAtOnce = kWordsAtOnce * kWordBytes;

constexpr char b58digits_ordered[59] = "123456789ABCDEFGHJKLMNPQRSTUVWXYZabcdefghijkmnopqrstuvwxyz";
constexpr contentcoding::Alphabet kDigits(b58digits_ordered);
// The inverse: entry c is the value of the digit c, or kNoDigit.
constexpr auto zq_b58digits_map = kDigits.values;
static_assert(zq_b58digits_map['z'] == 57 && zq_b58digits_map['0'] == kNoDigit);
constexpr char kZero = b58digits_ordered[0];

// Digits have values up to this, and what they are gathered in by "or" too; what is not a digit has
// a value above it.
constexpr unsigned int kHighestFound = 63;

constexpr unsigned int kHalfDigits = kLimbDigits / 2;
constexpr auto kHalf = static_cast<std::uint32_t>(powerOf58(kHalfDigits));

// Writes five digits, none of which waits for another.
void writeHalf(std::uint32_t half, char* text) {
    std::uint32_t head = 0;
    for (unsigned int i = 0; i < kHalfDigits; ++i) {
        const std::uint32_t upTo =
            half / static_cast<std::uint32_t>(powerOf58(kHalfDigits - 1 - i));
        text[i] = b58digits_ordered[upTo - head * 58];
        head = upTo;
    }
}

// Writes the ten digits of a limb.
void writeDigits(std::uint64_t limb, char* text) {
    writeHalf(static_cast<std::uint32_t>(limb / kHalf), text);
    writeHalf(static_cast<std::uint32_t>(limb % kHalf), text + kHalfDigits);
}

bool putRepeated(char c, std::size_t count, Window& out) {
    while (count > 0) {
        const std::span<char> room = out.room(1);
        if (room.empty()) return false;
        const std::size_t n = std::min(count, room.size());
        std::fill_n(room.data(), n, c);
        out.wrote(n);
        count -= n;
    }
    return true;
}

}  // namespace

// ---- Encoding ----

ToText::ToText(Bytes bytes)
    : m_zeros(static_cast<std::size_t>(
          std::find_if(bytes.begin(), bytes.end(), [](unsigned char b) { return b != 0; }) -
          bytes.begin())),
      m_next(bytes.begin() + m_zeros),
      m_end(bytes.end()) {}

// log(256) / log(58) is below 1.38; one limb more holds what rounding takes.
std::uint64_t ToText::workSize() const {
    const auto left = static_cast<std::uint64_t>(m_end - m_next);
    return BigNumber::workSize(left * 138 / 100 / kLimbDigits + 1 +
                               BigNumber::kGrowth<kWordsAtOnce>);
}

Result<void> ToText::convert(std::uint64_t* work) {
    m_number.workIn(work);
    const auto left = static_cast<std::size_t>(m_end - m_next);
    const unsigned int head = left % kWordBytes;
    std::array<std::uint64_t, kSmallWords> small;
    const unsigned char* next = m_next;
    if (left <= sizeof small) {
        std::size_t n = 0;
        if (head > 0) small[n++] = loadBigEndian(next, head);
        for (next += head; next != m_end; next += kWordBytes)
            small[n++] = loadBigEndian(next, kWordBytes);
        m_number.divide(small, n);
    } else {
        if (head > 0) m_number.shiftIn<1>({loadBigEndian(next, head)});
        for (next += head; (m_end - next) % kBytesAtOnce != 0; next += kWordBytes)
            m_number.shiftIn<1>({loadBigEndian(next, kWordBytes)});
        for (; next != m_end; next += kBytesAtOnce) {
            std::array<std::uint64_t, kWordsAtOnce> words;
            for (std::size_t i = 0; i < kWordsAtOnce; ++i)
                words[i] = loadBigEndian(next + i * kWordBytes, kWordBytes);
            m_number.shiftIn(words);
        }
    }
    // The first limb has no zeros in front.
    if (m_number.size() > 0) {
        writeDigits(m_number[m_number.size() - 1], m_first);
        m_skipped = 0;
        while (m_first[m_skipped] == kZero)
            ++m_skipped;
    }
    return {};
}

std::uint64_t ToText::size() const {
    return m_zeros + std::uint64_t{m_number.size()} * kLimbDigits -
           (m_number.size() > 0 ? m_skipped : 0);
}

bool ToText::write(Window& out) const {
    if (!putRepeated(kZero, m_zeros, out)) return false;
    if (!out.put({m_first + m_skipped, kLimbDigits - m_skipped})) return false;
    for (std::size_t limbs = m_number.size(); limbs > 1; --limbs) {
        const std::span<char> room = out.room(kLimbDigits);
        if (room.empty()) return false;
        writeDigits(m_number[limbs - 2], room.data());
        out.wrote(kLimbDigits);
    }
    return true;
}

std::size_t maxEncodedSize(std::size_t n, const Format&) noexcept {
    return saturatingAdd(saturatingMultiply(n / 50, 69), n % 50 * 69 / 50 + 1);
}

// ---- Decoding ----

ToBytes::ToBytes(Bytes text, const Accept& accept) : m_accept(accept), m_text(text.text()) {
    m_digits = m_text;
    while (!m_digits.empty() && (m_digits[0] == kZero || isSkipped(m_digits[0]))) {
        if (m_digits[0] == kZero) ++m_zeros;
        m_digits.remove_prefix(1);
    }
    m_count = m_digits.size();
    if (m_accept.whiteSpace)
        m_count -= static_cast<std::size_t>(std::count_if(m_digits.begin(), m_digits.end(),
                                                          [this](char c) { return isSkipped(c); }));
}

bool ToBytes::isSkipped(char c) const {
    return m_accept.whiteSpace && isWhiteSpace(static_cast<unsigned char>(c));
}

// log(58) / log(256) is below 0.733.
std::uint64_t ToBytes::workSize() const {
    if (m_accept.maxSize > 0 && m_text.size() > m_accept.maxSize) return 0;
    return BigNumber::workSize(std::uint64_t{m_count} * 733 / 1000 / kWordBytes + 1 + kWordsAtOnce);
}

// Takes ten digits at most; what they have in common with what is not a digit is gathered in
// `found`.
std::uint64_t ToBytes::takeValue(std::size_t count, unsigned int& found) {
    std::uint64_t value = 0;
    std::size_t read = 0;
    const bool skips = m_accept.whiteSpace;
    for (; count > 0; ++read) {
        const char c = m_digits[read];
        if (skips && isSkipped(c)) continue;
        const unsigned int digit = zq_b58digits_map[static_cast<unsigned char>(c)];
        value = value * 58 + digit;
        found |= digit;
        --count;
    }
    m_digits.remove_prefix(read);
    return value;
}

Result<void> ToBytes::convert(std::uint64_t* work) {
    if (m_accept.maxSize > 0 && m_text.size() > m_accept.maxSize)
        return Error{Fault::kTooLong, m_accept.maxSize};
    m_number.workIn(work);
    const std::string_view all = m_digits;
    unsigned int found = 0;
    std::size_t limbs = m_count / kLimbDigits;
    m_number.multiplyAdd<1>(kLimb, {takeValue(m_count % kLimbDigits, found)});
    for (; limbs % kWordsAtOnce != 0 && found <= kHighestFound; --limbs)
        m_number.multiplyAdd<1>(kLimb, {takeValue(kLimbDigits, found)});
    for (; limbs > 0 && found <= kHighestFound; limbs -= kWordsAtOnce) {
        std::array<std::uint64_t, kWordsAtOnce> values;
        for (std::uint64_t& value : values)
            value = takeValue(kLimbDigits, found);
        m_number.multiplyAdd(kLimb, values);
    }
    if (found > kHighestFound) return faultIn(all);
    // Only the first word can start with zero bytes that are not part of the number.
    const std::size_t words = m_number.size();
    while (words > 0 && m_number[words - 1] >> (8 * (kWordBytes - 1 - m_skipped)) == 0)
        ++m_skipped;
    return {};
}

// The first of the characters that is not a digit.
Error ToBytes::faultIn(std::string_view digits) const {
    const auto bad = std::find_if(digits.begin(), digits.end(), [this](char c) {
        return zq_b58digits_map[static_cast<unsigned char>(c)] == kNoDigit && !isSkipped(c);
    });
    return {Fault::kForeignCharacter, m_text.size() - static_cast<std::size_t>(digits.end() - bad)};
}

std::uint64_t ToBytes::size() const {
    return m_zeros + std::uint64_t{m_number.size()} * kWordBytes - m_skipped;
}

bool ToBytes::write(Window& out) const {
    if (!putRepeated('\0', m_zeros, out)) return false;
    unsigned int skipped = m_skipped;
    for (std::size_t i = m_number.size(); i-- > 0; skipped = 0) {
        char bytes[kWordBytes];
        for (unsigned int at = 0; at < kWordBytes; ++at)
            bytes[at] = static_cast<char>(m_number[i] >> (8 * (kWordBytes - 1 - at)));
        if (!out.put({bytes + skipped, kWordBytes - skipped})) return false;
    }
    return true;
}

// ---- Both ----

namespace {

// The memory to work in is a container, too: it throws when memory is short.
template <class Conversion>
Result<void> convertTo(detail::Growth container, Conversion& conversion) {
    std::vector<std::uint64_t> work(static_cast<std::size_t>(conversion.workSize()));
    const auto done = conversion.convert(work.empty() ? nullptr : work.data());
    if (!done) return done;
    GrowingWindow out(container);
    out.expect(conversion.size());
    (void)(conversion.write(out) && out.finish());
    return {};
}

template <class Conversion>
Result<std::size_t> convertInto(Room room, Conversion& conversion) {
    const Work work(conversion.workSize());
    if (!work) return Error{Fault::kNoRoom, 0};
    if (const auto done = conversion.convert(work.get()); !done) return done.error();
    SpanWindow out(room);
    if (conversion.size() > room.size() || !conversion.write(out) || !out.finish())
        return Error{Fault::kNoRoom, 0};
    return out.size();
}

}  // namespace

void encodeTo(detail::Growth out, Bytes bytes, const Format&) {
    ToText text(bytes);
    (void)convertTo(out, text);  // all bytes have a text
}

Result<std::size_t> encodeInto(Room room, Bytes bytes, const Format&) {
    ToText text(bytes);
    return convertInto(room, text);
}

Result<void> decodeTo(detail::Growth out, Bytes text, const Accept& accept) {
    ToBytes bytes(text, accept);
    return convertTo(out, bytes);
}

Result<std::size_t> decodeInto(Room room, Bytes text, const Accept& accept) {
    ToBytes bytes(text, accept);
    return convertInto(room, bytes);
}

}  // namespace contentcoding::base58
