#include <immintrin.h>

#include "codec/kernels/Avx2.h"
#include "codec/kernels/Scalar.h"

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
bool isUsual(const char* alphabet) {
    constexpr const char* kUsual = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    const __m256i same =
        _mm256_and_si256(_mm256_cmpeq_epi8(load32(alphabet), load32(kUsual)),
                         _mm256_cmpeq_epi8(load32(alphabet + 30), load32(kUsual + 30)));
    return _mm256_movemask_epi8(same) == -1;
}

// What is to be added to a value to get its digit: entry 13 for 0 to 25, entry 0 for 26 to 51, and
// the entry 1 to 12 that is the value less 51 for the others.
__m256i digitOffsets(const char* alphabet) {
    constexpr char kLower = 'a' - 26, kDigit = static_cast<char>('0' - 52);
    __m128i offsets = _mm_setr_epi8(kLower, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit,
                                    kDigit, kDigit, kDigit, 0, 0, 'A', 0, 0);
    offsets = _mm_insert_epi8(offsets, alphabet[62] - 62, 11);
    return twice(_mm_insert_epi8(offsets, alphabet[63] - 63, 12));
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
    const __m256i entry = _mm256_or_si256(
        _mm256_subs_epu8(values, _mm256_set1_epi8(51)),
        _mm256_and_si256(_mm256_cmpgt_epi8(_mm256_set1_epi8(26), values), _mm256_set1_epi8(13)));
    const __m256i digits = _mm256_add_epi8(values, _mm256_shuffle_epi8(offsets, entry));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(text), digits);
}

// ---- Decoding ----

// Sixteen bytes for a shuffle.
struct Entries {
    unsigned char of[16];
};

// A bit for each high half of a character (of a digit below 8), by its low half.
constexpr Entries membersOf(const char (&lastTwo)[3]) {
    Entries members{};
    const auto add = [&members](char first, char last) {
        for (char c = first; c <= last; ++c) {
            unsigned char& entry = members.of[c & 0x0F];
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
// half with others, and is corrected.
constexpr Entries offsetsOf(const char (&lastTwo)[3]) {
    Entries offsets{};
    const auto set = [&offsets](char digit, int value) {
        offsets.of[digit >> 4] = static_cast<unsigned char>(value - digit);
    };
    set(lastTwo[0], 62);
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
    __m256i members, offsets, last, lastCorrection;
};

Digits digitsOf(Base64Values::Alphabet alphabet) {
    const char last = alphabet == Base64Values::kStandard ? '/' : '_';
    const int offset = kOffsets[alphabet].of[last >> 4];
    return {twice(load16(kMembers[alphabet].of)), twice(load16(kOffsets[alphabet].of)),
            _mm256_set1_epi8(last), _mm256_set1_epi8(static_cast<char>(63 - last - offset))};
}

// The values of 32 characters; a bit is set in `others` for each that is no digit.
__m256i valuesOf(__m256i chars, const Digits& digits, unsigned int& others) {
    const __m256i bits = twice(
        _mm_setr_epi8(1, 2, 4, 8, 16, 32, 64, static_cast<char>(0x80), 0, 0, 0, 0, 0, 0, 0, 0));
    const __m256i high = _mm256_and_si256(_mm256_srli_epi16(chars, 4), _mm256_set1_epi8(0x0F));
    // The shuffle goes by the low half, and gives 0 for characters from 0x80 up.
    const __m256i members = _mm256_and_si256(_mm256_shuffle_epi8(digits.members, chars),
                                             _mm256_shuffle_epi8(bits, high));
    others = static_cast<unsigned int>(
        _mm256_movemask_epi8(_mm256_cmpeq_epi8(members, _mm256_setzero_si256())));
    const __m256i last =
        _mm256_and_si256(_mm256_cmpeq_epi8(chars, digits.last), digits.lastCorrection);
    return _mm256_add_epi8(_mm256_add_epi8(chars, _mm256_shuffle_epi8(digits.offsets, high)), last);
}

// Writes exactly the 24 bytes of 32 values.
void packBlock(__m256i values, unsigned char* bytes) {
    // 00aaaaaa 00bbbbbb  ->  0000aaaa aabbbbbb, then two of these  ->  aaaaaabb bbbbcccc ccdddddd
    const __m256i pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi32(0x01400140));
    const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
    // Their three bytes, most significant first; then the 12 bytes of both halves together.
    const __m256i packed = _mm256_permutevar8x32_epi32(
        _mm256_shuffle_epi8(groups, twice(_mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12,
                                                        kZero, kZero, kZero, kZero))),
        _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), _mm256_castsi256_si128(packed));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(bytes + 16), _mm256_extracti128_si256(packed, 1));
}

unsigned int trailingZeros(unsigned int bits) {
    return bits == 0 ? 32 : static_cast<unsigned int>(__builtin_ctz(bits));
}

}  // namespace

void encodeBase64(const unsigned char* bytes, std::size_t groups, const char* alphabet,
                  char* text) {
    if (groups < kBlockGroups || !isUsual(alphabet)) {
        scalar::encodeBase64(bytes, groups, alphabet, text);
        return;
    }
    const __m256i offsets = digitOffsets(alphabet);
    for (; groups >= kBlockGroups; groups -= kBlockGroups) {
        encodeBlock(bytes, offsets, text);
        bytes += kBlockBytes;
        text += kBlockChars;
    }
    if (groups > 0) {  // the last block overlaps the one before
        const std::size_t again = kBlockGroups - groups;
        encodeBlock(bytes - again * 3, offsets, text - again * 4);
    }
}

// A block is always packed whole. What is behind its first character that is no digit is written
// again, or unspecified: the room is there, for the characters read are 32.
Progress decodeBase64(const char* text, std::size_t n, const Base64Values& values,
                      unsigned char* bytes) {
    if (values.alphabet == Base64Values::kOther)
        return scalar::decodeBase64(text, n, values, bytes);
    const Digits digits = digitsOf(values.alphabet);
    std::size_t read = 0, written = 0;
    while (n - read >= kBlockChars) {
        unsigned int others = 0;
        packBlock(valuesOf(load32(text + read), digits, others), bytes + written);
        if (others == 0) {
            read += kBlockChars;
            written += kBlockBytes;
            continue;
        }
        const unsigned int run = trailingZeros(others), whole = run / 4;
        written += std::size_t{whole} * 3;
        if (run % 4 == 0) {  // between two quanta: most often a line break
            read += run + trailingZeros(~(others >> run));
            continue;
        }
        read += std::size_t{whole} * 4;
        const Progress one = scalar::decodeQuantum(text + read, n - read, values, bytes + written);
        if (one.read == 0) return {read, written};
        read += one.read;
        written += one.written;
    }
    const Progress rest = scalar::decodeBase64(text + read, n - read, values, bytes + written);
    return {read + rest.read, written + rest.written};
}

}  // namespace contentcoding::avx2
