#include <immintrin.h>

#include <cstdint>
#include <cstring>

#include "codec/kernels/avx2/Avx2.h"
#include "codec/kernels/scalar/Scalar.h"

namespace contentcoding::avx2 {
namespace {

constexpr std::size_t kBlockGroups = 8;  // 24 bytes, 32 characters
constexpr std::size_t kBlockBytes = 24;
constexpr std::size_t kBlockChars = 32;

// What a shuffle writes a zero for.
constexpr char kZero = static_cast<char>(0x80);

__m128i load16(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
__m256i load32(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }

// The same 16 bytes in both halves.
__m256i twice(__m128i half) { return _mm256_broadcastsi128_si256(half); }

// ---- Encoding ----

// Whether the values 0 to 61 have their usual digits. The two loads overlap.
inline bool isUsual(const char* alphabet) {
    constexpr const char* kUsual = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    const __m256i same =
        _mm256_and_si256(_mm256_cmpeq_epi8(load32(alphabet), load32(kUsual)),
                         _mm256_cmpeq_epi8(load32(alphabet + 30), load32(kUsual + 30)));
    return _mm256_movemask_epi8(same) == -1;
}

// What is to be added to a value to get its digit: entry 0 for 0 to 25, entry 1 for 26 to 51, and
// the entry 2 to 13 that is the value less 50 for the others.
__m256i digitOffsets(const char* alphabet) {
    constexpr char kLower = 'a' - 26, kDigit = static_cast<char>('0' - 52);
    __m128i offsets = _mm_setr_epi8('A', kLower, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit,
                                    kDigit, kDigit, kDigit, kDigit, 0, 0, 0, 0);
    offsets = _mm_insert_epi8(offsets, alphabet[62] - 62, 12);
    return twice(_mm_insert_epi8(offsets, alphabet[63] - 63, 13));
}

void encodeBlock(const unsigned char* bytes, __m256i offsets, char* text) {
    // 12 bytes for each half: the low ones of the first load, the high ones of the second.
    const __m256i in =
        _mm256_inserti128_si256(_mm256_castsi128_si256(load16(bytes)), load16(bytes + 8), 1);
    // Of each group, as 16-bit numbers:  bbbbcccc aaaaaabb  ccdddddd bbbbcccc
    const __m256i groups = _mm256_shuffle_epi8(
        in, _mm256_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10,  //
                             5, 4, 6, 5, 8, 7, 9, 8, 11, 10, 12, 11, 14, 13, 15, 14));
    // The first number's high six bits go down by 10, the second's middle ones by 6:
    //   aaaaaabb bbbbcccc  ->  00000000 00aaaaaa    bbbbcccc ccdddddd  ->  00000000 00cccccc
    const __m256i ac = _mm256_mulhi_epu16(_mm256_and_si256(groups, _mm256_set1_epi32(0x0FC0FC00)),
                                          _mm256_set1_epi32(0x04000040));
    // The middle of the first goes up by 4, the second's low six bits by 8:
    //   aaaaaabb bbbbcccc  ->  00bbbbbb 00000000    bbbbcccc ccdddddd  ->  00dddddd 00000000
    const __m256i bd = _mm256_mullo_epi16(_mm256_and_si256(groups, _mm256_set1_epi32(0x003F03F0)),
                                          _mm256_set1_epi32(0x01000010));
    const __m256i values = _mm256_or_si256(ac, bd);
    const __m256i entry = _mm256_sub_epi8(_mm256_subs_epu8(values, _mm256_set1_epi8(51)),
                                          _mm256_cmpgt_epi8(values, _mm256_set1_epi8(25)));
    const __m256i digits = _mm256_add_epi8(values, _mm256_shuffle_epi8(offsets, entry));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(text), digits);
}

// Exactly the groups that there are; the last block overlaps the one before.
void encodeGroups(const unsigned char* bytes, std::size_t groups, const char* alphabet,
                  __m256i offsets, char* text) {
    if (groups < kBlockGroups) {
        scalar::encodeGroups(bytes, groups, alphabet, text);
        return;
    }
    for (; groups > kBlockGroups; groups -= kBlockGroups) {
        encodeBlock(bytes, offsets, text);
        bytes += kBlockBytes;
        text += kBlockChars;
    }
    const std::size_t again = kBlockGroups - groups;
    encodeBlock(bytes - again * 3, offsets, text - again * 4);
}

// ---- Decoding ----

// Sixteen bytes for a shuffle.
struct Entries {
    unsigned char entry[16];
};

// A bit for each high half of a character (of a digit below 8), by its low half.
constexpr Entries membersOf(const char (&lastTwo)[3]) {
    Entries members{};
    const auto add = [&members](char first, char last) {
        for (char c = first; c <= last; ++c) {
            unsigned char& entry = members.entry[c & 0x0F];
            entry = static_cast<unsigned char>(entry | 1 << (c >> 4));
        }
    };
    add('A', 'Z');
    add('a', 'z');
    add('0', '9');
    add(lastTwo[0], lastTwo[0]);
    add(lastTwo[1], lastTwo[1]);
    return members;
}

// What is to be added to a digit to get its value, by the high half; that for 63 shares its high
// half with others, and is 8 further on.
constexpr Entries offsetsOf(const char (&lastTwo)[3]) {
    Entries offsets{};
    const auto set = [&offsets](char digit, int value) {
        offsets.entry[digit >> 4] = static_cast<unsigned char>(value - digit);
    };
    set(lastTwo[0], 62);
    offsets.entry[8 + (lastTwo[1] >> 4)] = static_cast<unsigned char>(63 - lastTwo[1]);
    set('0', 52);
    set('A', 0);
    set('P', 15);
    set('a', 26);
    set('p', 41);
    return offsets;
}

constexpr Entries kMembers[] = {membersOf("+/"), membersOf("-_")};
constexpr Entries kOffsets[] = {offsetsOf("+/"), offsetsOf("-_")};
static_assert(Base64Values::kStandard == 0 && Base64Values::kUrlSafe == 1);

struct Digits {
    __m256i members, offsets, last;
};

// The last one of the alphabet has an entry of its own, 8 further on.
Digits digitsOf(Base64Values::Alphabet alphabet) {
    return {twice(load16(kMembers[alphabet].entry)), twice(load16(kOffsets[alphabet].entry)),
            _mm256_set1_epi8(alphabet == Base64Values::kStandard ? '/' : '_')};
}

// The values of 32 characters; `members` has zeros for those that are no digits.
__m256i valuesOf(__m256i chars, const Digits& digits, __m256i& members) {
    const __m256i bits = twice(
        _mm_setr_epi8(1, 2, 4, 8, 16, 32, 64, static_cast<char>(0x80), 0, 0, 0, 0, 0, 0, 0, 0));
    const __m256i high = _mm256_and_si256(_mm256_srli_epi16(chars, 4), _mm256_set1_epi8(0x0F));
    // The shuffle goes by the low half, and gives 0 for characters from 0x80 up.
    members = _mm256_and_si256(_mm256_shuffle_epi8(digits.members, chars),
                               _mm256_shuffle_epi8(bits, high));
    const __m256i isLast =
        _mm256_and_si256(_mm256_cmpeq_epi8(chars, digits.last), _mm256_set1_epi8(8));
    return _mm256_add_epi8(chars,
                           _mm256_shuffle_epi8(digits.offsets, _mm256_or_si256(high, isLast)));
}

// A bit for each character that is no digit.
unsigned int othersIn(__m256i members) {
    return static_cast<unsigned int>(
        _mm256_movemask_epi8(_mm256_cmpeq_epi8(members, _mm256_setzero_si256())));
}

// The 12 bytes of the 16 values in each half.
__m256i packed(__m256i values) {
    // 00aaaaaa 00bbbbbb  ->  0000aaaa aabbbbbb, then two of these  ->  aaaaaabb bbbbcccc ccdddddd
    const __m256i pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi32(0x01400140));
    const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
    // Their three bytes, most significant first.
    return _mm256_shuffle_epi8(groups, twice(_mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12,
                                                           kZero, kZero, kZero, kZero)));
}

void store16(__m128i bytes, unsigned char* to) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), bytes);
}

// Writes the 24 bytes of 32 values, and 4 more.
void pack(__m256i values, unsigned char* bytes) {
    const __m256i halves = packed(values);
    store16(_mm256_castsi256_si128(halves), bytes);
    store16(_mm256_extracti128_si256(halves, 1), bytes + 12);
}

// Writes exactly the 24 bytes.
void packExactly(__m256i values, unsigned char* bytes) {
    const __m256i together =
        _mm256_permutevar8x32_epi32(packed(values), _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7));
    store16(_mm256_castsi256_si128(together), bytes);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(bytes + 16), _mm256_extracti128_si256(together, 1));
}

std::size_t trailingZeros(std::uint64_t bits) {
    return bits == 0 ? 64 : static_cast<std::size_t>(__builtin_ctzll(bits));
}

// Text that is to follow what is decoded by pack(), for the room of the 4 bytes.
constexpr std::size_t kSpareChars = 8;

// Lines that are as long as the one before and end like that: as many as there are.
class Lines {
public:
    // The line was `length` digits, and `end` are the others behind them.
    Lines(std::size_t length, const char* end, std::size_t endSize)
        : m_length(length), m_size(length + endSize), m_endMask(~0u >> (32 - 8 * endSize)) {
        std::memcpy(&m_end, end, sizeof m_end);
    }

    static constexpr std::size_t kLongestEnd = 4;

    Transfer decode(const char* text, std::size_t n, const Digits& digits,
                    unsigned char* bytes) const {
        Transfer done{0, 0};
        while (n - done.read >= m_size + kSpareChars) {
            const char* const line = text + done.read;
            unsigned char* const to = bytes + done.written;
            std::uint32_t end = 0;
            std::memcpy(&end, line + m_length, sizeof end);
            // The last block overlaps the one before.
            const std::size_t last = m_length - kBlockChars;
            __m256i members, all;
            const __m256i lastValues = valuesOf(load32(line + last), digits, all);
            for (std::size_t i = 0; i < last; i += kBlockChars) {
                pack(valuesOf(load32(line + i), digits, members), to + i / 4 * 3);
                all = _mm256_min_epu8(all, members);
            }
            pack(lastValues, to + last / 4 * 3);
            if (((end ^ m_end) & m_endMask) != 0 || othersIn(all) != 0) break;
            done.read += m_size;
            done.written += m_length / 4 * 3;
        }
        return done;
    }

private:
    std::size_t m_length, m_size;
    std::uint32_t m_end = 0, m_endMask;
};

}  // namespace

void encodeBase64(const unsigned char* bytes, std::size_t groups, const Base64Format& format,
                  char* text) {
    if (!isUsual(format.alphabet)) {
        scalar::encodeBase64(bytes, groups, format, text);
        return;
    }
    const __m256i offsets = digitOffsets(format.alphabet);
    const std::size_t inLine = format.lineGroups;
    if (inLine > 2 * kBlockGroups && inLine <= 3 * kBlockGroups && format.breakSize == 2) {
        // The lines of mail. Their last blocks go beyond the end of the line, where more follows.
        std::uint16_t lineBreak = 0;
        std::memcpy(&lineBreak, format.lineBreak, sizeof lineBreak);
        for (; groups >= 3 * kBlockGroups; groups -= inLine) {
            encodeBlock(bytes, offsets, text);
            encodeBlock(bytes + kBlockBytes, offsets, text + kBlockChars);
            encodeBlock(bytes + 2 * kBlockBytes, offsets, text + 2 * kBlockChars);
            bytes += inLine * 3;
            text += inLine * 4;
            std::memcpy(text, &lineBreak, sizeof lineBreak);
            text += sizeof lineBreak;
        }
    }
    for (; groups >= inLine; groups -= inLine) {
        encodeGroups(bytes, inLine, format.alphabet, offsets, text);
        bytes += inLine * 3;
        text += inLine * 4;
        std::memcpy(text, format.lineBreak, format.breakSize);
        text += format.breakSize;
    }
    encodeGroups(bytes, groups, format.alphabet, offsets, text);
}

// A block is always packed whole. What is behind its first character that is no digit is written
// again, or unspecified: the room is there, for the characters read are 32.
Transfer decodeBase64(const char* text, std::size_t n, const Base64Values& values,
                      unsigned char* bytes) {
    if (values.alphabet == Base64Values::kOther)
        return scalar::decodeBase64(text, n, values, bytes);
    const Digits digits = digitsOf(values.alphabet);
    Transfer done{0, 0};
    std::size_t line = 0;  // where it starts
    while (n - done.read >= kBlockChars) {
        const char* const p = text + done.read;
        unsigned char* const to = bytes + done.written;
        __m256i members;
        std::uint64_t others = 0;
        std::size_t block = kBlockChars;
        if (n - done.read >= 2 * kBlockChars + kSpareChars) {
            __m256i members2;
            pack(valuesOf(load32(p), digits, members), to);
            pack(valuesOf(load32(p + kBlockChars), digits, members2), to + kBlockBytes);
            block = 2 * kBlockChars;
            if (othersIn(_mm256_min_epu8(members, members2)) != 0)
                others = othersIn(members) | std::uint64_t{othersIn(members2)} << kBlockChars;
        } else {
            packExactly(valuesOf(load32(p), digits, members), to);
            others = othersIn(members);
        }
        if (others == 0) {
            done.read += block;
            done.written += block / 4 * 3;
            continue;
        }
        const std::size_t run = trailingZeros(others), whole = run / 4;
        done.written += whole * 3;
        if (run % 4 != 0) {
            done.read += whole * 4;
            const Transfer one = scalar::decodeQuantum(text + done.read, n - done.read, values,
                                                       bytes + done.written);
            if (one.read == 0) return done;
            done.read += one.read;
            done.written += one.written;
            continue;
        }
        const std::size_t skipped = trailingZeros(~(others >> run));
        const std::size_t length = done.read + run - line;
        done.read += run + skipped;
        if (p[run] != '\r' && p[run] != '\n') continue;
        line = done.read;
        if (skipped > Lines::kLongestEnd || run + Lines::kLongestEnd > block) continue;
        if (length < kBlockChars || length % 4 != 0) continue;
        const Transfer more = Lines(length, p + run, skipped)
                                  .decode(text + line, n - line, digits, bytes + done.written);
        done.read += more.read;
        done.written += more.written;
        line = done.read;
    }
    const Transfer rest =
        scalar::decodeBase64(text + done.read, n - done.read, values, bytes + done.written);
    return {done.read + rest.read, done.written + rest.written};
}

}  // namespace contentcoding::avx2
