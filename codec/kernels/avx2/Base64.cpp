#include <cstdint>
#include <cstring>

#include "codec/kernels/avx2/Avx2.h"
#include "codec/kernels/avx2/Ops.h"
#include "codec/kernels/scalar/Scalar.h"

namespace contentcoding::avx2 {
namespace {

constexpr std::size_t kBlockGroups = 8;  // 24 bytes, 32 characters
constexpr std::size_t kBlockBytes = 24;
constexpr std::size_t kBlockChars = 32;

// ---- Encoding ----

// Whether the values 0 to 61 have their usual digits; the two loads overlap.
inline bool isUsual(const char* alphabet) {
    constexpr const char* kUsual = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    const __m256i same =
        _mm256_and_si256(_mm256_cmpeq_epi8(load32(alphabet), load32(kUsual)),
                         _mm256_cmpeq_epi8(load32(alphabet + 30), load32(kUsual + 30)));
    return movemask(same) == ~0u;
}

// What is added to a value to get its digit. Values 0 to 25 use entry 0, 26 to 51 entry 1, and a
// value v from 52 up entry v - 50.
__m256i digitOffsets(const char* alphabet) {
    constexpr char kLower = 'a' - 26, kDigit = static_cast<char>('0' - 52);
    __m128i offsets = _mm_setr_epi8('A', kLower, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit,
                                    kDigit, kDigit, kDigit, kDigit, 0, 0, 0, 0);
    offsets = _mm_insert_epi8(offsets, alphabet[62] - 62, 12);
    return broadcast128(_mm_insert_epi8(offsets, alphabet[63] - 63, 13));
}

void encodeBlock(const unsigned char* bytes, __m256i offsets, char* text) {
    // 12 bytes for each half, of which this takes the first 12 and the last 12:
    //   bytes 0 1 2 3 4 5 6 7 8 9 10 11 .. .. .. ..  |  .. .. .. .. 12 13 14 ... 23
    const __m256i in = join(load16(bytes), load16(bytes + 8));
    // Each group as two 16-bit numbers, which are stored low byte first:
    //   aaaaaabb bbbbcccc ccdddddd  ->  aaaaaabb'bbbbcccc  bbbbcccc'ccdddddd
    const __m256i groups = _mm256_shuffle_epi8(
        in, _mm256_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10,  //
                             5, 4, 6, 5, 8, 7, 9, 8, 11, 10, 12, 11, 14, 13, 15, 14));
    // The high half of a product with 2^(16-k) is a shift down by k, here by 10 and by 6:
    //   aaaaaa00'00000000  ->  00000000'00aaaaaa    0000cccc'cc000000  ->  00000000'00cccccc
    const __m256i ac = _mm256_mulhi_epu16(_mm256_and_si256(groups, _mm256_set1_epi32(0x0FC0FC00)),
                                          _mm256_set1_epi32(0x04000040));
    // The low half of a product with 2^k is a shift up by k, here by 4 and by 8:
    //   000000bb'bbbb0000  ->  00bbbbbb'00000000    00000000'00dddddd  ->  00dddddd'00000000
    const __m256i bd = _mm256_mullo_epi16(_mm256_and_si256(groups, _mm256_set1_epi32(0x003F03F0)),
                                          _mm256_set1_epi32(0x01000010));
    // In memory: 00aaaaaa 00bbbbbb 00cccccc 00dddddd.
    const __m256i values = _mm256_or_si256(ac, bd);
    // 0 to 51 give 0 and 52 to 63 give 1 to 12; from 26 up one more, as a mask is -1.
    const __m256i entry =
        _mm256_sub_epi8(_mm256_subs_epu8(values, splat(51)), _mm256_cmpgt_epi8(values, splat(25)));
    store32(_mm256_add_epi8(values, _mm256_shuffle_epi8(offsets, entry)), text);
}

// Reads and writes exactly those groups; the last block overlaps the one before.
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

// For lines of 17 to 24 groups with a break of two characters, as mail has them: three blocks each.
// The last block may go beyond the end of the line, where the break and the next line overwrite it.
// Stops when fewer than the 24 groups of three blocks are left, so that no block leaves the input
// or the text. Returns how many groups were encoded: whole lines.
std::size_t encodeMailLines(const unsigned char* bytes, std::size_t groups,
                            const Base64Format& format, __m256i offsets, char* text) {
    std::uint16_t lineBreak = 0;
    std::memcpy(&lineBreak, format.lineBreak, sizeof lineBreak);
    std::size_t done = 0;
    for (; groups - done >= 3 * kBlockGroups; done += format.lineGroups) {
        encodeBlock(bytes, offsets, text);
        encodeBlock(bytes + kBlockBytes, offsets, text + kBlockChars);
        encodeBlock(bytes + 2 * kBlockBytes, offsets, text + 2 * kBlockChars);
        bytes += format.lineGroups * 3;
        text += format.lineGroups * 4;
        std::memcpy(text, &lineBreak, sizeof lineBreak);
        text += sizeof lineBreak;
    }
    return done;
}

// ---- Decoding ----

// Sixteen bytes for a shuffle.
struct ShuffleTable {
    unsigned char entry[16];
};

// Entry L has bit H for each digit 0xHL. No digit has an H above 7.
constexpr ShuffleTable digitTable(const char (&lastTwo)[3]) {
    ShuffleTable digits{};
    const auto add = [&digits](char first, char last) {
        for (char c = first; c <= last; ++c) {
            unsigned char& entry = digits.entry[c & 0x0F];
            entry = static_cast<unsigned char>(entry | 1 << (c >> 4));
        }
    };
    add('A', 'Z');
    add('a', 'z');
    add('0', '9');
    add(lastTwo[0], lastTwo[0]);
    add(lastTwo[1], lastTwo[1]);
    return digits;
}

// Entry H is what is added to the digit 0xHL to get its value. The digit of 63 shares its H with
// others, and has entry H + 8.
constexpr ShuffleTable offsetTable(const char (&lastTwo)[3]) {
    ShuffleTable offsets{};
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

constexpr ShuffleTable kDigitTables[] = {digitTable("+/"), digitTable("-_")};
constexpr ShuffleTable kOffsetTables[] = {offsetTable("+/"), offsetTable("-_")};
static_assert(Base64Values::kStandard == 0 && Base64Values::kUrlSafe == 1);

struct DecodeTables {
    __m256i digits, offsets, last;
};

DecodeTables tablesFor(Base64Values::Alphabet alphabet) {
    return {broadcast128(load16(kDigitTables[alphabet].entry)),
            broadcast128(load16(kOffsetTables[alphabet].entry)),
            splat(alphabet == Base64Values::kStandard ? '/' : '_')};
}

// The values of 32 characters; `digits` has zeros for those that are not digits.
__m256i valuesOfDigits(__m256i chars, const DecodeTables& tables, __m256i& digits) {
    const __m256i bits = broadcast128(
        _mm_setr_epi8(1, 2, 4, 8, 16, 32, 64, static_cast<char>(0x80), 0, 0, 0, 0, 0, 0, 0, 0));
    const __m256i high = _mm256_and_si256(_mm256_srli_epi16(chars, 4), splat(0x0F));
    // The first shuffle goes by the low half, and gives 0 for characters from 0x80 up.
    digits = _mm256_and_si256(_mm256_shuffle_epi8(tables.digits, chars),
                              _mm256_shuffle_epi8(bits, high));
    const __m256i isLast = _mm256_and_si256(_mm256_cmpeq_epi8(chars, tables.last), splat(8));
    return _mm256_add_epi8(chars,
                           _mm256_shuffle_epi8(tables.offsets, _mm256_or_si256(high, isLast)));
}

std::uint32_t nonDigits(__m256i digits) { return movemask(isEqual(digits, 0)); }

// The 12 bytes of the 16 values in each half, followed by zeros.
__m256i pack(__m256i values) {
    // Neighbours times 64 and 1, added:  00aaaaaa 00bbbbbb  ->  0000aaaa'aabbbbbb
    const __m256i pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi32(0x01400140));
    // Two of these times 4096 and 1, added:  00000000'aaaaaabb'bbbbcccc'ccdddddd
    const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
    // Numbers are stored low byte first. The three bytes of each, highest first:
    //   ccdddddd bbbbcccc aaaaaabb 00000000  ->  aaaaaabb bbbbcccc ccdddddd
    return _mm256_shuffle_epi8(
        groups, broadcast128(_mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12,  //
                                           kZero, kZero, kZero, kZero)));
}

// Writes the 24 bytes of 32 values, and 4 more.
void storePacked(__m256i values, unsigned char* bytes) {
    const __m256i packed = pack(values);
    store16(lowHalf(packed), bytes);
    store16(highHalf(packed), bytes + 12);
}

// Writes the 24 bytes only.
void storePackedExact(__m256i values, unsigned char* bytes) {
    const __m256i packed =
        _mm256_permutevar8x32_epi32(pack(values), _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7));
    store16(lowHalf(packed), bytes);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(bytes + 16), highHalf(packed));
}

std::size_t trailingZeros(std::uint64_t bits) { return bits == 0 ? 64 : firstBit(bits); }

// Text that must follow what storePacked() is used for: 8 characters have room for 6 bytes, which
// the 4 that are too many go into.
constexpr std::size_t kSpareChars = 8;

struct Block {
    std::size_t chars;
    std::uint64_t nonDigits;  // a bit for each
};

// Stores what the next one or two blocks decode to, if all their characters are digits, and finds
// those that are not. The room is there: `left` characters from kBlockChars up have 24 bytes.
Block decodeBlock(const char* text, std::size_t left, const DecodeTables& tables,
                  unsigned char* bytes) {
    __m256i digits, more;
    const __m256i values = valuesOfDigits(load32(text), tables, digits);
    if (left < 2 * kBlockChars + kSpareChars) {
        storePackedExact(values, bytes);
        return {kBlockChars, nonDigits(digits)};
    }
    storePacked(values, bytes);
    storePacked(valuesOfDigits(load32(text + kBlockChars), tables, more), bytes + kBlockBytes);
    if (nonDigits(_mm256_min_epu8(digits, more)) == 0) return {2 * kBlockChars, 0};
    return {2 * kBlockChars, nonDigits(digits) | std::uint64_t{nonDigits(more)} << kBlockChars};
}

// Lines of the length and with the end that the line before had. They are decoded first and checked
// afterwards, so that no work waits for the place where a line ends.
class RepeatedLines {
public:
    // The line had `length` digits, and `end` are the other characters after them.
    RepeatedLines(std::size_t length, const char* end, std::size_t endSize)
        : m_length(length), m_size(length + endSize), m_endMask(~0u >> (32 - 8 * endSize)) {
        std::memcpy(&m_end, end, sizeof m_end);
    }

    static constexpr std::size_t kLongestEnd = 4;
    static bool canHave(std::size_t length, std::size_t endSize) {
        return length >= kBlockChars && length % 4 == 0 && endSize <= kLongestEnd;
    }

    // Decodes as many such lines as there are.
    Transfer decode(const char* text, std::size_t n, const DecodeTables& tables,
                    unsigned char* bytes) const {
        Transfer done{0, 0};
        while (n - done.read >= m_size + kSpareChars) {
            const char* const line = text + done.read;
            unsigned char* const to = bytes + done.written;
            std::uint32_t end = 0;
            std::memcpy(&end, line + m_length, sizeof end);
            // The last block overlaps the one before.
            const std::size_t last = m_length - kBlockChars;
            __m256i digits, all;
            const __m256i lastValues = valuesOfDigits(load32(line + last), tables, all);
            for (std::size_t i = 0; i < last; i += kBlockChars) {
                storePacked(valuesOfDigits(load32(line + i), tables, digits), to + i / 4 * 3);
                all = _mm256_min_epu8(all, digits);
            }
            storePacked(lastValues, to + last / 4 * 3);
            if (((end ^ m_end) & m_endMask) != 0 || nonDigits(all) != 0) break;
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
        const std::size_t done = encodeMailLines(bytes, groups, format, offsets, text);
        bytes += done * 3;
        text += done * 4 + done / inLine * format.breakSize;
        groups -= done;
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

// A block is decoded whole. What follows its first character that is not a digit is written again
// later, or left as unspecified contents.
Transfer decodeBase64(const char* text, std::size_t n, const Base64Values& values,
                      unsigned char* bytes) {
    if (values.alphabet == Base64Values::kOther)
        return scalar::decodeBase64(text, n, values, bytes);
    const DecodeTables tables = tablesFor(values.alphabet);
    Transfer done{0, 0};
    std::size_t line = 0;  // where the current line starts
    while (n - done.read >= kBlockChars) {
        const char* const p = text + done.read;
        const Block block = decodeBlock(p, n - done.read, tables, bytes + done.written);
        if (block.nonDigits == 0) {
            done.read += block.chars;
            done.written += block.chars / 4 * 3;
            continue;
        }
        const std::size_t run = firstBit(block.nonDigits), whole = run / 4;
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
        const std::size_t skipped = trailingZeros(~(block.nonDigits >> run));
        const std::size_t length = done.read + run - line;
        done.read += run + skipped;
        if (p[run] != '\r' && p[run] != '\n') continue;
        line = done.read;
        const bool endIsInBlock = run + RepeatedLines::kLongestEnd <= block.chars;
        if (!endIsInBlock || !RepeatedLines::canHave(length, skipped)) continue;
        const Transfer lines = RepeatedLines(length, p + run, skipped)
                                   .decode(text + line, n - line, tables, bytes + done.written);
        done.read += lines.read;
        done.written += lines.written;
        line = done.read;
    }
    const Transfer rest =
        scalar::decodeBase64(text + done.read, n - done.read, values, bytes + done.written);
    return {done.read + rest.read, done.written + rest.written};
}

}  // namespace contentcoding::avx2
