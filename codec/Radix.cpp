#include <algorithm>
#include <array>
#include <cassert>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <string_view>

#include "codec/Bytes.h"
#include "codec/ContentCoding.h"
#include "codec/StagingWriter.h"
#include "support/BufferAccess.h"

namespace {

using contentcoding::BufferAccess;
using contentcoding::byteClass;
using contentcoding::ByteClass;
using contentcoding::kBase32Alphabet;
using contentcoding::kEdaAlphabet;
using contentcoding::loadBigEndian;
using contentcoding::StagingWriter;
using contentcoding::ToBytes;
using contentcoding::ToText;

constexpr unsigned int kMaxSize = std::numeric_limits<unsigned int>::max();

constexpr bool isWhiteSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

template <std::size_t N>
constexpr unsigned char at(const char (&alphabet)[N], std::size_t i) {
    return static_cast<unsigned char>(alphabet[i]);
}

// ---- Base32 ----

constexpr unsigned int kBase32GroupBytes = 5;
constexpr unsigned int kBase32GroupChars = 8;
constexpr unsigned int kBase32FlushChars = 390;
constexpr unsigned int kBase32FlushBytes = 394;
constexpr unsigned char kBase32Pad = 32;

// The value of the character whose low seven bits are the index; 255 for one without a value,
// which then counts as 31.
constexpr auto BASE32_TABLE = [] {
    std::array<unsigned char, 128> values{};
    values.fill(255);
    for (unsigned char v = 0; v < 32; ++v) {
        values[at(kBase32Alphabet, v)] = v;
        if (v < 26) values[at(kBase32Alphabet, v) + ('a' - 'A')] = v;
    }
    values['='] = kBase32Pad;
    return values;
}();
static_assert(BASE32_TABLE['z'] == 25 && BASE32_TABLE['7'] == 31 && BASE32_TABLE['1'] == 255);

// How many digits carry `bytes` bytes.
constexpr unsigned int base32Digits(unsigned int bytes) { return (bytes * 8 + 4) / 5; }

// How many bytes a group carries. Pads are looked for where a shorter group would have its first.
unsigned int base32Bytes(const unsigned char (&values)[kBase32GroupChars]) {
    if (values[7] != kBase32Pad) return 5;
    if (values[5] != kBase32Pad) return 4;
    if (values[4] != kBase32Pad) return 3;
    return values[2] != kBase32Pad ? 2 : 1;
}

// ---- Base58 ----

constexpr char b58digits_ordered[59] = "123456789ABCDEFGHJKLMNPQRSTUVWXYZabcdefghijkmnopqrstuvwxyz";

constexpr auto zq_b58digits_map = [] {
    std::array<std::int32_t, 128> values{};
    values.fill(-1);
    for (std::int32_t v = 0; v < 58; ++v)
        values[at(b58digits_ordered, static_cast<std::size_t>(v))] = v;
    return values;
}();
static_assert(zq_b58digits_map['z'] == 57 && zq_b58digits_map['0'] == -1);

struct Wide {
    std::uint64_t high, low;
};

// a * b + c, which two words always hold.
Wide multiplyAdd(std::uint64_t a, std::uint64_t b, std::uint64_t c) {
#ifdef __SIZEOF_INT128__
    __extension__ using Number = unsigned __int128;
    const Number product = Number{a} * b + c;
    return {static_cast<std::uint64_t>(product >> 64), static_cast<std::uint64_t>(product)};
#else
    constexpr std::uint64_t kHalf = 0xFFFFFFFF;
    const std::uint64_t low = (a & kHalf) * (b & kHalf) + (c & kHalf);
    const std::uint64_t cross = (a >> 32) * (b & kHalf) + (low >> 32) + (c >> 32);
    const std::uint64_t middle = (a & kHalf) * (b >> 32) + (cross & kHalf);
    return {(a >> 32) * (b >> 32) + (cross >> 32) + (middle >> 32), middle << 32 | (low & kHalf)};
#endif
}

constexpr unsigned int kWordBytes = 8;
constexpr unsigned int kLimbDigits = 10;
constexpr std::size_t kWordsAtOnce = 4;
constexpr std::size_t kSmallWords = 8;  // more are shifted in, several at a time
constexpr std::ptrdiff_t kBytesAtOnce = kWordsAtOnce * kWordBytes;

constexpr std::uint64_t powerOf58(unsigned int exponent) {
    std::uint64_t power = 1;
    while (exponent-- > 0)
        power *= 58;
    return power;
}

// A number in base 58 is held in limbs of ten digits: 58^10 is just below 2^59.
constexpr std::uint64_t kLimb = powerOf58(kLimbDigits);
static_assert(kLimb >> 58 == 1);

// Division of two words by kLimb, whose quotient fits in one, with the reciprocal of the
// normalised divisor (N. Moeller, T. Granlund, Improved division by invariant integers, 2011).
constexpr unsigned int kShift = 5;
constexpr std::uint64_t kNormal = kLimb << kShift;

// (2^128 - 1) / kNormal - 2^64, by long division, bit by bit.
constexpr std::uint64_t kReciprocal = [] {
    std::uint64_t quotient = 0, rest = ~kNormal;
    for (int i = 0; i < 64; ++i) {
        const bool carry = rest >> 63 != 0;
        rest = rest << 1 | 1;
        const bool fits = carry || rest >= kNormal;
        quotient = quotient << 1 | std::uint64_t{fits};
        if (fits) rest -= kNormal;
    }
    return quotient;
}();

// Replaces high by the remainder of (high, low) and returns the quotient. high < kLimb.
std::uint64_t divideByLimb(std::uint64_t& high, std::uint64_t low) {
    const std::uint64_t u1 = high << kShift | low >> (64 - kShift), u0 = low << kShift;
    const Wide q = multiplyAdd(kReciprocal, u1, u0);
    std::uint64_t quotient = q.high + u1 + 1;
    std::uint64_t rest = u0 - quotient * kNormal;
    // As often as not, so it is done without a branch.
    const std::uint64_t tooMuch = 0 - std::uint64_t{rest > q.low};
    quotient += tooMuch;
    rest += tooMuch & kNormal;
    if (rest >= kNormal) {
        ++quotient;
        rest -= kNormal;
    }
    high = rest >> kShift;
    return quotient;
}

// A number of words or limbs, the least significant one first, with room for a given count: not on
// the heap for what addresses and keys take.
class BigNumber {
public:
    explicit BigNumber(std::uint64_t capacity) {
        if (capacity <= kSmall) {
            m_words = m_small;
        } else if (capacity <= std::numeric_limits<std::size_t>::max() / sizeof(std::uint64_t)) {
            m_large.reset(new (std::nothrow) std::uint64_t[static_cast<std::size_t>(capacity)]);
            m_words = m_large.get();
        }
    }
    BigNumber(const BigNumber&) = delete;
    BigNumber& operator=(const BigNumber&) = delete;
    explicit operator bool() const { return m_words != nullptr; }
    std::size_t size() const { return m_size; }
    std::uint64_t operator[](std::size_t i) const { return m_words[i]; }

    // The most limbs that shiftIn needs beyond those that the number has before.
    template <std::size_t Count>
    static constexpr std::size_t kGrowth = Count * 64 / 58 + 1;

    // In limbs: puts words behind the number, the most significant one first.
    template <std::size_t Count>
    void shiftIn(std::array<std::uint64_t, Count> words) {
        grow(kGrowth<Count>);
        wave<Count>(
            [&](std::uint64_t& limb, std::size_t k) { words[k] = divideByLimb(limb, words[k]); });
        trim();
    }

    // In limbs: the number of few words, the most significant one first, which are used up.
    template <std::size_t Most>
    void divide(std::array<std::uint64_t, Most>& words, std::size_t count) {
        for (std::size_t first = 0; first < count;) {
            std::uint64_t rest = 0;
            for (std::size_t i = first; i < count; ++i)
                words[i] = divideByLimb(rest, words[i]);
            m_words[m_size++] = rest;
            while (first < count && words[first] == 0)
                ++first;
        }
    }

    // In words: multiplies by `factor` and adds, for each of the addends.
    template <std::size_t Count>
    void multiplyAdd(std::uint64_t factor, std::array<std::uint64_t, Count> addends) {
        grow(Count);
        wave<Count>([&](std::uint64_t& word, std::size_t k) {
            const Wide product = ::multiplyAdd(word, factor, addends[k]);
            word = product.low;
            addends[k] = product.high;
        });
        trim();
    }

private:
    static constexpr std::size_t kSmall = 16;

    void grow(std::size_t n) {
        std::fill_n(m_words + m_size, n, 0);
        m_size += n;
    }
    void trim() {
        while (m_size > 0 && m_words[m_size - 1] == 0)
            --m_size;
    }

    // Takes each of `Count` steps through all words, the carries of one behind those of the one
    // before, so that the processor has several carries to work on at a time.
    template <std::size_t Count, class Step>
    void wave(Step step) {
        const auto some = [&](std::size_t i) {
            for (std::size_t k = 0; k < Count; ++k)
                if (k <= i && i - k < m_size) step(m_words[i - k], k);
        };
        std::size_t i = 0;
        for (; i + 1 < Count; ++i)
            some(i);
        for (; i < m_size; ++i)
            for (std::size_t k = 0; k < Count; ++k)
                step(m_words[i - k], k);
        for (; i < m_size + Count - 1; ++i)
            some(i);
    }

    std::uint64_t m_small[kSmall];
    std::unique_ptr<std::uint64_t[]> m_large;
    std::uint64_t* m_words = nullptr;
    std::size_t m_size = 0;
};

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

constexpr unsigned char kNoDigit58 = 0xFF;

constexpr auto kBase58Value = [] {
    std::array<unsigned char, 256> values{};
    values.fill(kNoDigit58);
    for (std::size_t c = 0; c < zq_b58digits_map.size(); ++c) {
        if (zq_b58digits_map[c] >= 0) values[c] = static_cast<unsigned char>(zq_b58digits_map[c]);
    }
    return values;
}();

// The value of ten digits at most, which are gathered in `all`: above kHighestFound when one is
// none.
constexpr unsigned int kHighestFound = 63;
std::uint64_t valueOf(std::string_view digits, unsigned int& all) {
    std::uint64_t value = 0;
    for (const char c : digits) {
        const unsigned int digit = kBase58Value[static_cast<unsigned char>(c)];
        value = value * 58 + digit;
        all |= digit;
    }
    return value;
}

// Null when all characters are digits; else what is wrong with the first that is not.
const char* faultIn(std::string_view digits) {
    for (const char c : digits) {
        const auto code = static_cast<unsigned char>(c);
        if (code >= zq_b58digits_map.size()) return "base58 decode error 1";
        if (zq_b58digits_map[code] < 0) return "base58 decode error 2";
    }
    return nullptr;
}

// ---- Ascii85 ----

constexpr unsigned int kAscii85GroupBytes = 4;
constexpr unsigned int kAscii85GroupChars = 5;
constexpr unsigned int kAscii85FlushAbove = 255;
constexpr char kFirstDigit85 = '!';
constexpr std::uint32_t kLastDigit85 = 84;

// The largest number whose product with 85 fits in 32 bits.
constexpr std::uint32_t kLargestHead85 = 50529027;
static_assert(kLargestHead85 == 0xFFFFFFFF / 85);

constexpr ByteClass kAllowedIn85 = byteClass([](unsigned char b) {
    return (b >= '!' && b <= 'u') || b == 'z' || isWhiteSpace(static_cast<char>(b));
});

// What is left of the text without white space in front and without its frame; false when it has
// a character outside the alphabet.
bool unframe85(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    if (text.starts_with("<~")) text.remove_prefix(2);
    const std::size_t n = contentcoding::runLength(
        reinterpret_cast<const unsigned char*>(text.data()), text.size(), kAllowedIn85);
    const bool ended = n == text.size() || text.substr(n).starts_with("~>");
    text = text.substr(0, n);
    return ended;
}

// Takes up to five characters that are no white space; returns how many there were.
unsigned int takeGroup85(std::string_view& text, std::uint32_t (&digits)[kAscii85GroupChars]) {
    unsigned int n = 0;
    while (n < kAscii85GroupChars && !text.empty()) {
        if (!isWhiteSpace(text[0]))
            digits[n++] = static_cast<std::uint32_t>(text[0] - kFirstDigit85);
        text.remove_prefix(1);
    }
    return n;
}

// ---- EDA ----

constexpr unsigned int kEdaBase = sizeof kEdaAlphabet - 1;
constexpr unsigned int kEdaFlushAbove = 250;
static_assert(kEdaBase == 43);

// Characters between the first and the last of the alphabet that are not in it count as 0, all
// others as "(", the first one.
constexpr auto kEdaValue = [] {
    std::array<unsigned char, 256> values{};
    values.fill(36);
    for (unsigned int c = '('; c <= 'Z'; ++c)
        values[c] = 0;
    for (unsigned char v = 0; v < kEdaBase; ++v)
        values[at(kEdaAlphabet, v)] = v;
    return values;
}();
static_assert(kEdaValue['('] == 36 && kEdaValue['Z'] == 35 && kEdaValue['@'] == 0);

unsigned int edaValue(char c) { return kEdaValue[static_cast<unsigned char>(c)]; }

}  // namespace

unsigned int ContentCoding::computeBase32Size(unsigned int n) {
    return (n + (kBase32GroupBytes - 1)) / kBase32GroupBytes * kBase32GroupChars;
}

bool ContentCoding::encodeBase32_noCrLf(const unsigned char* data, unsigned int len,
                                        StringBuffer& out) {
    assert(BufferAccess::isApart(out, data, len));
    if (!data) return true;
    const auto& kernels = contentcoding::kernels();
    const auto putRest = [&](char* chars) {
        unsigned char group[kBase32GroupBytes] = {};
        std::memcpy(group, data, len);
        kernels.encodeBase32(group, 1, chars);
        std::fill(chars + base32Digits(len), chars + kBase32GroupChars, '=');
    };
    // All at once, where there is room; else in blocks, as many as there is room for.
    const unsigned int whole = len / kBase32GroupBytes,
                       groups = whole + (len % kBase32GroupBytes > 0 ? 1 : 0);
    char* const room = groups <= kMaxSize / kBase32GroupChars
                           ? BufferAccess::appendUninitialized(out, groups * kBase32GroupChars)
                           : nullptr;
    if (room) {
        kernels.encodeBase32(data, whole, room);
        data += std::size_t{whole} * kBase32GroupBytes;
        len %= kBase32GroupBytes;
        if (len > 0) putRest(room + std::size_t{whole} * kBase32GroupChars);
        return true;
    }
    StagingWriter<ToText, kBase32FlushChars + kBase32GroupChars> text(ToText{out});
    while (len >= kBase32GroupBytes) {  // as many groups as lead to a flush
        const unsigned int n =
            std::min(len / kBase32GroupBytes, kBase32FlushChars / kBase32GroupChars + 1);
        kernels.encodeBase32(data, n, text.extend(n * kBase32GroupChars));
        data += std::size_t{n} * kBase32GroupBytes;
        len -= n * kBase32GroupBytes;
        if (!text.flushAbove(kBase32FlushChars)) return false;
    }
    if (len > 0) putRest(text.extend(kBase32GroupChars));
    return text.finish();
}

namespace {

constexpr std::size_t kFirstGroups = 512;
constexpr std::size_t kGrowth = 8;

// Decodes whole groups from the start of `text`, which it moves past them, straight into `out`: up
// to about the first other character, or until memory is short. After the first, a part is at most
// eight times what was decoded before it: text that may be white space has little room reserved.
void decodeLeadingGroups(const char*& text, const char* end, DataBuffer& out) {
    std::size_t decoded = 0;
    while (true) {
        const std::size_t groups =
            std::min(static_cast<std::size_t>(end - text) / kBase32GroupChars,
                     std::max(kFirstGroups, decoded * kGrowth));
        if (groups == 0 || groups >= kMaxSize / kBase32GroupBytes) return;
        // Room for a group more: what follows the last part seldom needs a larger array.
        const auto most = static_cast<unsigned int>((groups + 1) * kBase32GroupBytes);
        const unsigned int before = out.getSize();
        unsigned char* const room = BufferAccess::appendUninitialized(out, most);
        if (!room) return;
        const std::size_t done = contentcoding::kernels().decodeBase32(text, groups, room);
        BufferAccess::shrinkTo(out, before + static_cast<unsigned int>(done * kBase32GroupBytes));
        text += done * kBase32GroupChars;
        decoded += done;
        if (groups < kFirstGroups || done < groups / 2) return;
    }
}

}  // namespace

bool ContentCoding::decodeBase32(const char* text, DataBuffer& out, LogBase&) {
    assert(BufferAccess::isApart(out, text, zqStrLen(text)));
    if (!text) return true;
    const char* const end = text + std::strlen(text);
    decodeLeadingGroups(text, end, out);
    StagingWriter<ToBytes, kBase32FlushBytes + kBase32GroupBytes> bytes(ToBytes{out});
    while (true) {
        // Whole groups of digits, as many as lead to a flush.
        const std::size_t toFlush = (kBase32FlushBytes - bytes.held()) / kBase32GroupBytes + 1;
        const std::size_t left = static_cast<std::size_t>(end - text) / kBase32GroupChars;
        const std::size_t done = contentcoding::kernels().decodeBase32(
            text, std::min(toFlush, left), reinterpret_cast<unsigned char*>(bytes.next()));
        bytes.extend(static_cast<unsigned int>(done * kBase32GroupBytes));
        text += done * kBase32GroupChars;
        if (!bytes.flushAbove(kBase32FlushBytes)) return false;
        if (done == toFlush) continue;

        unsigned char values[kBase32GroupChars];
        unsigned int n = 0;
        for (; n < kBase32GroupChars && text != end; ++text) {
            if (!isWhiteSpace(*text))
                values[n++] = BASE32_TABLE[static_cast<unsigned char>(*text) & 0x7F];
        }
        if (n == 0) return bytes.finish();
        std::fill(values + n, values + kBase32GroupChars, kBase32Pad);  // missing at the end only
        std::uint64_t bits = 0;
        for (const unsigned char value : values)
            bits = bits << 5 | (value & 31u);
        const unsigned int kept = base32Bytes(values);
        char* const group = bytes.extend(kept);
        for (unsigned int i = 0; i < kept; ++i)
            group[i] = static_cast<char>(bits >> (8 * (kBase32GroupBytes - 1 - i)));
        if (!bytes.flushAbove(kBase32FlushBytes)) return false;
    }
}

bool ContentCoding::encodeBase58(const void* data, unsigned int len, StringBuffer& out, LogBase&) {
    assert(BufferAccess::isApart(out, data, len));
    if (!data || len == 0) return true;
    const auto* bytes = static_cast<const unsigned char*>(data);
    const unsigned char* const end = bytes + len;
    const unsigned char* const first =
        std::find_if(bytes, end, [](unsigned char b) { return b != 0; });
    const auto zeros = static_cast<std::size_t>(first - bytes);
    bytes = first;

    // log(256) / log(58) is below 1.38; one limb more holds what rounding takes.
    const std::uint64_t left = len - zeros;
    BigNumber number(left * 138 / 100 / kLimbDigits + 1 + BigNumber::kGrowth<kWordsAtOnce>);
    if (!number) return false;
    const unsigned int head = left % kWordBytes;
    std::array<std::uint64_t, kSmallWords> small;
    if (left <= sizeof small) {
        std::size_t n = 0;
        if (head > 0) small[n++] = loadBigEndian(bytes, head);
        for (bytes += head; bytes != end; bytes += kWordBytes)
            small[n++] = loadBigEndian(bytes, kWordBytes);
        number.divide(small, n);
    } else {
        if (head > 0) number.shiftIn<1>({loadBigEndian(bytes, head)});
        for (bytes += head; (end - bytes) % kBytesAtOnce != 0; bytes += kWordBytes)
            number.shiftIn<1>({loadBigEndian(bytes, kWordBytes)});
        for (; bytes != end; bytes += kBytesAtOnce) {
            std::array<std::uint64_t, kWordsAtOnce> words;
            for (std::size_t i = 0; i < kWordsAtOnce; ++i)
                words[i] = loadBigEndian(bytes + i * kWordBytes, kWordBytes);
            number.shiftIn(words);
        }
    }

    // The first limb has no zeros in front.
    char firstDigits[kLimbDigits] = {};
    std::size_t skipped = kLimbDigits, limbs = number.size();
    if (limbs > 0) {
        writeDigits(number[--limbs], firstDigits);
        skipped = 0;
        while (firstDigits[skipped] == b58digits_ordered[0])
            ++skipped;
    }
    const std::uint64_t size = zeros + (kLimbDigits - skipped) + std::uint64_t{limbs} * kLimbDigits;
    if (size > kMaxSize) return false;
    char* next = BufferAccess::appendUninitialized(out, static_cast<unsigned int>(size));
    if (!next) return false;
    next = std::fill_n(next, zeros, b58digits_ordered[0]);
    next = std::copy(firstDigits + skipped, firstDigits + kLimbDigits, next);
    for (; limbs > 0; next += kLimbDigits)
        writeDigits(number[--limbs], next);
    return true;
}

bool ContentCoding::decodeBase58(const char* text, DataBuffer& out, LogBase& log) {
    assert(BufferAccess::isApart(out, text, zqStrLen(text)));
    std::string_view digits(text ? text : "");
    const std::size_t zeros =
        std::min(digits.find_first_not_of(b58digits_ordered[0]), digits.size());
    digits.remove_prefix(zeros);
    const std::string_view all = digits;
    // log(58) / log(256) is below 0.733.
    BigNumber number(std::uint64_t{digits.size()} * 733 / 1000 / kWordBytes + 1 + kWordsAtOnce);
    if (!number) return false;
    unsigned int found = 0;
    const auto take = [&](std::size_t n) {
        const std::uint64_t value = valueOf(digits.substr(0, n), found);
        digits.remove_prefix(n);
        return value;
    };
    number.multiplyAdd<1>(kLimb, {take(digits.size() % kLimbDigits)});
    while (digits.size() / kLimbDigits % kWordsAtOnce != 0 && found <= kHighestFound)
        number.multiplyAdd<1>(kLimb, {take(kLimbDigits)});
    while (!digits.empty() && found <= kHighestFound) {
        std::array<std::uint64_t, kWordsAtOnce> limbs;
        for (std::uint64_t& limb : limbs)
            limb = take(kLimbDigits);
        number.multiplyAdd(kLimb, limbs);
    }
    if (found > kHighestFound) {
        log.LogError(faultIn(all));
        return false;
    }

    const std::size_t words = number.size();
    const std::uint64_t most = zeros + std::uint64_t{words} * kWordBytes;
    if (most > kMaxSize) return false;
    // Only the first word can start with zero bytes that are no part of the number.
    std::size_t skipped = 0;
    while (words > 0 && number[words - 1] >> (8 * (kWordBytes - 1 - skipped)) == 0)
        ++skipped;
    unsigned char* next =
        BufferAccess::appendUninitialized(out, static_cast<unsigned int>(most - skipped));
    if (!next) return true;  // as the interface has it
    next = std::fill_n(next, zeros, static_cast<unsigned char>(0));
    for (std::size_t i = words; i-- > 0; skipped = 0) {
        for (std::size_t at = skipped; at < kWordBytes; ++at)
            *next++ = static_cast<unsigned char>(number[i] >> (8 * (kWordBytes - 1 - at)));
    }
    return true;
}

bool ContentCoding::encodeAscii85(const void* data, unsigned int len, StringBuffer& out, LogBase&) {
    assert(BufferAccess::isApart(out, data, len));
    if (!data) return true;
    const auto* p = static_cast<const unsigned char*>(data);
    StagingWriter<ToText, kAscii85FlushAbove + kAscii85GroupChars> text(ToText{out});
    const auto encode = contentcoding::kernels().encodeAscii85;
    while (len >= kAscii85GroupBytes) {
        // As many groups as lead to a flush, unless one of zeros comes before.
        const unsigned int toFlush = (kAscii85FlushAbove - text.held()) / kAscii85GroupChars + 1;
        auto n = static_cast<unsigned int>(
            encode(p, std::min(len / kAscii85GroupBytes, toFlush), text.next()));
        text.extend(n * kAscii85GroupChars);
        if (n == 0) {
            *text.extend(1) = 'z';
            n = 1;
        }
        p += std::size_t{n} * kAscii85GroupBytes;
        len -= n * kAscii85GroupBytes;
        if (!text.flushAbove(kAscii85FlushAbove)) return false;
    }
    // A short group counts as padded with zero bytes and keeps one digit more than it has bytes. It
    // is never abbreviated: "z" would decode to four bytes.
    if (len > 0) {
        unsigned char padded[kAscii85GroupBytes] = {};
        char digits[kAscii85GroupChars];
        std::memcpy(padded, p, len);
        std::fill_n(digits, kAscii85GroupChars, kFirstDigit85);
        encode(padded, 1, digits);
        std::memcpy(text.extend(len + 1), digits, len + 1);
    }
    return text.finish();
}

bool ContentCoding::decodeAscii85(const StringBuffer& text, DataBuffer& out, LogBase& log) {
    std::string_view rest = text.view();
    if (!unframe85(rest)) {
        log.LogError("Invalid ascii85 input: char not in ascii85 alphabet.");
        return false;
    }
    StagingWriter<ToBytes, kAscii85FlushAbove + kAscii85GroupBytes> bytes(ToBytes{out});
    while (!rest.empty()) {
        const unsigned int toFlush = (kAscii85FlushAbove - bytes.held()) / kAscii85GroupBytes + 1;
        const auto groups = static_cast<unsigned int>(contentcoding::kernels().decodeAscii85(
            rest.data(), std::min<std::size_t>(rest.size() / kAscii85GroupChars, toFlush),
            reinterpret_cast<unsigned char*>(bytes.next())));
        if (groups > 0) {
            bytes.extend(groups * kAscii85GroupBytes);
            rest.remove_prefix(std::size_t{groups} * kAscii85GroupChars);
        } else if (rest[0] == 'z') {
            std::memset(bytes.extend(kAscii85GroupBytes), 0, kAscii85GroupBytes);
            rest.remove_prefix(1);
        } else {
            std::uint32_t d[kAscii85GroupChars];
            const unsigned int n = takeGroup85(rest, d);
            if (n == 0) break;  // white space at the end
            const bool whole = n == kAscii85GroupChars;
            std::fill(d + n, d + kAscii85GroupChars, kLastDigit85);
            const std::uint32_t head = ((d[0] * 85 + d[1]) * 85 + d[2]) * 85 + d[3];
            if (head > kLargestHead85) {
                log.LogError(whole ? "Invalid ascii85 input: integer overflow."
                                   : "Invalid ascii85 input in final chunk: integer overflow.");
                return false;
            }
            if (head * 85 > 0xFFFFFFFF - d[4]) {
                log.LogError(whole ? "Invalid ascii85 input: integer overflow.."
                                   : "Invalid ascii85 input in final chunk: integer overflow..");
                return false;
            }
            const std::uint32_t value = head * 85 + d[4];
            char* const group = bytes.extend(n - 1);
            for (unsigned int i = 0; i < n - 1; ++i)
                group[i] = static_cast<char>(value >> (24 - 8 * i));
        }
        if (!bytes.flushAbove(kAscii85FlushAbove)) return false;
    }
    return bytes.finish();
}

bool ContentCoding::encodeEda(const void* data, unsigned int len, StringBuffer& out) {
    assert(BufferAccess::isApart(out, data, len));
    if (!data) return true;
    const auto* p = static_cast<const unsigned char*>(data);
    StagingWriter<ToText, kEdaFlushAbove + 3> text(ToText{out});
    while (len >= 2) {  // as many groups as lead to a flush
        const unsigned int groups = std::min(len / 2, kEdaFlushAbove / 3 + 1);
        contentcoding::kernels().encodeEda(p, groups, text.extend(groups * 3));
        p += std::size_t{groups} * 2;
        len -= groups * 2;
        (void)text.flushAbove(kEdaFlushAbove);  // this coder does not look at its destination
    }
    if (len > 0) {
        char* const digits = text.extend(2);
        digits[0] = kEdaAlphabet[*p / kEdaBase];
        digits[1] = kEdaAlphabet[*p % kEdaBase];
    }
    (void)text.finish();
    return true;
}

bool ContentCoding::decodeEda(const char* text, unsigned int len, DataBuffer& out) {
    assert(BufferAccess::isApart(out, text, len));
    if (!text) return true;
    const auto take = [&text, &len] {
        const unsigned int value =
            (edaValue(text[0]) * kEdaBase + edaValue(text[1])) * kEdaBase + edaValue(text[2]);
        text += 3;
        len -= 3;
        return value;
    };
    if (unsigned char* bytes = BufferAccess::appendUninitialized(out, len / 3 * 2)) {
        while (len >= 3) {
            const unsigned int value = take();
            *bytes++ = static_cast<unsigned char>(value >> 8);
            *bytes++ = static_cast<unsigned char>(value);
        }
    }
    while (len >= 3)  // without room for all, as many as there is room for
        out.appendUint16_be(static_cast<unsigned short>(take()));
    if (len == 2)
        out.appendChar(
            static_cast<unsigned char>(edaValue(text[0]) * kEdaBase + edaValue(text[1])));
    return true;
}
