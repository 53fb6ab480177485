#include <cstring>

#include "codec/kernels/avx2/Avx2.h"
#include "codec/kernels/avx2/Ops.h"
#include "codec/kernels/scalar/Scalar.h"

namespace contentcoding::avx2 {
namespace {

constexpr std::size_t kBlock = 32;
constexpr std::size_t kEscapeChars = 3;          // and those of a soft line break
constexpr char kNone = static_cast<char>(0x80);  // what a shuffle writes a zero for

__m256i load(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
void store(__m256i block, void* p) { _mm256_storeu_si256(static_cast<__m256i*>(p), block); }
__m256i all(unsigned char b) { return _mm256_set1_epi8(static_cast<char>(b)); }
__m256i equal(__m256i a, unsigned char b) { return _mm256_cmpeq_epi8(a, all(b)); }
std::uint32_t bits(__m256i mask) { return static_cast<std::uint32_t>(_mm256_movemask_epi8(mask)); }

// ---- Writing ----

// For four bytes, of which those whose bit is set are escaped: how many characters they take, and
// how these come from the four bytes themselves, their high digits, their low digits, and "=".
struct Expansion {
    char order[16];
    unsigned char length;
};

struct Expansions {
    Expansion entry[16];
};

constexpr Expansions kExpansions = [] {
    Expansions expansions{};
    for (unsigned int escaped = 0; escaped < 16; ++escaped) {
        Expansion& expansion = expansions.entry[escaped];
        for (char& place : expansion.order)
            place = kNone;
        unsigned char n = 0;
        for (unsigned int i = 0; i < 4; ++i) {
            if (escaped >> i & 1) {
                expansion.order[n++] = 12;
                expansion.order[n++] = static_cast<char>(4 + i);
                expansion.order[n++] = static_cast<char>(8 + i);
            } else {
                expansion.order[n++] = static_cast<char>(i);
            }
        }
        expansion.length = n;
    }
    return expansions;
}();
static_assert(kEscapeRoom == kBlock / 4 * sizeof "=00=00=00=00" - kBlock / 4);

__m128i digitsOf(__m128i halves) {
    const __m128i digits = _mm_setr_epi8('0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'A', 'B',
                                         'C', 'D', 'E', 'F');
    return _mm_shuffle_epi8(digits, _mm_and_si128(halves, _mm_set1_epi8(0x0F)));
}

// Writes 16 bytes, of which those whose bit is set are escaped; returns where the next go.
char* expand(__m128i bytes, __m128i kept, unsigned int escaped, char* text) {
    const __m128i high = digitsOf(_mm_srli_epi16(bytes, 4)), low = digitsOf(bytes);
    const __m128i signs = _mm_set1_epi8('=');
    const __m128i front = _mm_unpacklo_epi32(kept, high), back = _mm_unpacklo_epi32(low, signs);
    const __m128i front2 = _mm_unpackhi_epi32(kept, high), back2 = _mm_unpackhi_epi32(low, signs);
    const __m128i fours[] = {_mm_unpacklo_epi64(front, back), _mm_unpackhi_epi64(front, back),
                             _mm_unpacklo_epi64(front2, back2), _mm_unpackhi_epi64(front2, back2)};
    for (unsigned int i = 0; i < 4; ++i) {
        const Expansion& expansion = kExpansions.entry[escaped >> (4 * i) & 15];
        const __m128i order = _mm_loadu_si128(reinterpret_cast<const __m128i*>(expansion.order));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(text), _mm_shuffle_epi8(fours[i], order));
        text += expansion.length;
    }
    return text;
}

// Which bytes of a block with line ends are escaped, of those that others() found; `inLineEnd` says
// whether the byte before the block is the CR of a CR LF, and then whether the last byte is.
std::uint32_t withoutLineEnds(std::uint32_t found, const unsigned char* p, __m256i block,
                              bool& inLineEnd) {
    const std::uint32_t starts =
        bits(_mm256_and_si256(equal(block, '\r'), equal(load(p + 1), '\n')));
    const bool next = p[kBlock] == '\r' && p[kBlock + 1] == '\n';
    const std::uint32_t beforeOne = starts >> 1 | std::uint32_t{next} << (kBlock - 1);
    const std::uint32_t blanks = bits(_mm256_or_si256(equal(block, ' '), equal(block, '\t')));
    found = (found & ~(starts | starts << 1 | std::uint32_t{inLineEnd})) | (blanks & beforeOne);
    inLineEnd = starts >> (kBlock - 1) != 0;
    return found;
}

// ---- Reading ----

// How the bytes of eight whose bit is set come together.
struct Compactions {
    char entry[256][8];
};

constexpr Compactions kCompactions = [] {
    Compactions orders{};
    for (unsigned int kept = 0; kept < 256; ++kept) {
        unsigned int n = 0;
        for (char i = 0; i < 8; ++i)
            if (kept >> i & 1) orders.entry[kept][n++] = i;
        for (; n < 8; ++n)
            orders.entry[kept][n] = kNone;
    }
    return orders;
}();

// Writes the bytes of a half whose bit is set; returns where the next go.
char* compact(__m128i bytes, unsigned int kept, char* to) {
    const unsigned int first = kept & 0xFF, second = kept >> 8;
    const auto order = [](unsigned int eight) {
        return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(kCompactions.entry[eight]));
    };
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to), _mm_shuffle_epi8(bytes, order(first)));
    to += __builtin_popcount(first);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to),
                     _mm_shuffle_epi8(_mm_srli_si128(bytes, 8), order(second)));
    return to + __builtin_popcount(second);
}

// The values of hexadecimal digits.
__m256i valuesOf(__m256i digits) {
    const __m256i isLetter = _mm256_cmpgt_epi8(digits, all(0x3F));
    const __m256i low = _mm256_add_epi8(digits, _mm256_and_si256(isLetter, all(9)));
    return _mm256_and_si256(low, all(0x0F));
}

// By the low seven bits: 9, 10, 13 and 32, told by their low halves.
__m256i whiteSpace(__m256i bytes) {
    const __m256i seven = _mm256_and_si256(bytes, all(0x7F));
    const __m256i table = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(' ', kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone, '\t', '\n',
                      kNone, kNone, '\r', kNone, kNone));
    return _mm256_cmpeq_epi8(_mm256_shuffle_epi8(table, seven), seven);
}

template <bool kLines>
Transfer escapeBlocks(const unsigned char* bytes, std::size_t n, const EscapeRules& escapes,
                      char* text, std::size_t room) {
    constexpr std::size_t kAhead = kLines ? 2 : 0;
    const ClassTables kept = tablesOf(escapes.kept);
    Transfer done{0, 0};
    bool inLineEnd = false;  // the last byte was the CR of a CR LF
    while (n - done.read >= kBlock + kAhead && room - done.written >= kEscapeRoom) {
        const unsigned char* const p = bytes + done.read;
        char* const to = text + done.written;
        const __m256i block = load(p);
        std::uint32_t escaped = others(block, kept);
        done.read += kBlock;
        if (kLines && (escaped != 0 || inLineEnd || p[kBlock] == '\r'))
            escaped = withoutLineEnds(escaped, p, block, inLineEnd);
        if (escaped == 0) {
            store(block, to);
            done.written += kBlock;
            continue;
        }
        const __m256i isReplaced = equal(block, escapes.replaced);
        const __m256i written = chosen(isReplaced, all(escapes.replacement), block);
        escaped &= ~bits(isReplaced);
        char* const half = expand(_mm256_castsi256_si128(block), _mm256_castsi256_si128(written),
                                  escaped & 0xFFFF, to);
        char* const end = expand(_mm256_extracti128_si256(block, 1),
                                 _mm256_extracti128_si256(written, 1), escaped >> 16, half);
        done.written += static_cast<std::size_t>(end - to);
    }
    if (inLineEnd) {  // whole, or not at all
        --done.read;
        --done.written;
    }
    return done;
}

constexpr bool isDigit(unsigned int c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}
constexpr ByteClass kDigits = byteClass([](unsigned char b) { return isDigit(b); });
constexpr ByteClass kDigitsOfSevenBits =
    byteClass([](unsigned char b) { return isDigit(b & 0x7Fu); });

template <bool kLines>
Transfer unescapeBlocks(const char* text, std::size_t n, const UnescapeRules& unescapes,
                        char* bytes, std::size_t room, bool& stopped) {
    constexpr std::size_t kAhead = 3;  // digits of the last escape, and what follows it
    const ClassTables kept = tablesOf(unescapes.kept),
                      digits = tablesOf(unescapes.digitMask == 0xFF ? kDigits : kDigitsOfSevenBits);
    const __m256i signMask = all(unescapes.signMask), digitMask = all(unescapes.digitMask);
    Transfer done{0, 0};
    std::uint32_t dropped = 0;  // in the block, for what stands before it
    bool inLineEnd = false;     // the last character was the CR of a CR LF
    while (n - done.read >= kBlock + kAhead && room - done.written >= kBlock) {
        const char* const p = text + done.read;
        char* const to = bytes + done.written;
        __m256i block = load(p);
        const __m256i next = load(p + 1);
        const __m256i isSign = equal(_mm256_and_si256(block, signMask), '=');
        const std::uint32_t sign = bits(isSign);
        std::uint32_t stop = 0, none = 0, soft = 0;
        if constexpr (kLines) {
            const __m256i isLf = equal(block, '\n');
            const __m256i isWhite = _mm256_and_si256(whiteSpace(block), whiteSpace(next));
            stop = bits(_mm256_or_si256(isWhite, isLf));
            if (stop != 0) {
                const std::uint32_t lf = bits(isLf);
                const std::uint32_t lineEnd =
                    bits(_mm256_and_si256(equal(block, '\r'), equal(next, '\n')));
                const std::uint32_t fine =
                    lineEnd | (lf & (lineEnd << 1 | std::uint32_t{inLineEnd}));
                // What follows an LF is in the next line.
                stop = stop & ~fine & ~dropped;
                soft = sign & lineEnd >> 1;
                inLineEnd = lineEnd >> (kBlock - 1) != 0;
            } else {
                inLineEnd = false;
            }
        } else {
            none = others(block, kept) & ~sign;
        }
        if ((sign | stop | none | dropped) == 0) {
            store(block, to);
            done.read += kBlock;
            done.written += kBlock;
            continue;
        }
        // A line that ends in a soft break, and has no escapes near.
        if (kLines && sign == soft && (stop | dropped) == 0) {
            store(block, to);
            done.read += firstBit(soft) + kEscapeChars;
            done.written += firstBit(soft);
            inLineEnd = false;
            continue;
        }
        if (kLines && sign >> (kBlock - 1) != 0 && p[kBlock] == '\r' && p[kBlock + 1] == '\n')
            soft |= std::uint32_t{1} << (kBlock - 1);
        const __m256i second = load(p + 2);
        // A sign that is no escape's is a character.
        const __m256i isEscape = _mm256_andnot_si256(
            _mm256_or_si256(outside(next, digits), outside(second, digits)), isSign);
        const __m256i values =
            _mm256_or_si256(_mm256_slli_epi16(valuesOf(_mm256_and_si256(next, digitMask)), 4),
                            valuesOf(_mm256_and_si256(second, digitMask)));
        const std::uint32_t escape = bits(isEscape);
        if (unescapes.stopsAtZero) stop |= escape & bits(equal(values, 0));
        if (unescapes.stopsAtEscapedFf)
            stop |= escape &
                    bits(_mm256_and_si256(equal(values, 0xFF),
                                          equal(_mm256_and_si256(load(p + 3), all(0x7F)), 'F')));
        if (kLines) stop |= sign & ~soft & bits(whiteSpace(next));

        const __m256i isReplaced = equal(block, unescapes.replaced);
        block = chosen(isReplaced, all(unescapes.replacement), block);
        block = chosen(isEscape, values, block);
        const std::uint32_t units = escape | soft;
        const std::uint64_t behind = std::uint64_t{units} << 1 | std::uint64_t{units} << 2;
        std::uint32_t taken =
            ~(static_cast<std::uint32_t>(behind) | dropped | soft | (none & ~bits(isReplaced)));
        if (stop != 0) taken &= (std::uint32_t{1} << firstBit(stop)) - 1;
        char* const half = compact(_mm256_castsi256_si128(block), taken & 0xFFFF, to);
        char* const end = compact(_mm256_extracti128_si256(block, 1), taken >> 16, half);
        done.written += static_cast<std::size_t>(end - to);
        if (stop != 0) {
            stopped = true;
            return {done.read + firstBit(stop), done.written};
        }
        dropped = static_cast<std::uint32_t>(behind >> kBlock);
        inLineEnd = inLineEnd && taken >> (kBlock - 1) != 0;
        done.read += kBlock;
    }
    if (inLineEnd) {  // whole, or not at all
        --done.read;
        --done.written;
    }
    done.read += static_cast<std::size_t>(__builtin_popcount(dropped));
    return done;
}

// What is left of the input, less than a block and what is looked at behind it; in front of pads.
template <class Byte>
struct Padded {
    Byte bytes[4 * kBlock];

    Padded(const Byte* from, std::size_t n, unsigned short pads) {
        const __m256i padded = _mm256_set1_epi16(static_cast<short>(pads));
        std::memcpy(bytes, from, n);
        store(padded, bytes + n);
        store(padded, bytes + n + kBlock);
    }

    // The size with which a block is looked at if it begins with one of the `n` bytes.
    static constexpr std::size_t size(std::size_t n, std::size_t ahead) {
        return n - 1 + kBlock + ahead;
    }
};

template <bool kLines>
Transfer escapeAll(const unsigned char* bytes, std::size_t n, const EscapeRules& escapes,
                   char* text, std::size_t room) {
    constexpr std::size_t kAhead = kLines ? 2 : 0;
    Transfer done = escapeBlocks<kLines>(bytes, n, escapes, text, room);
    const std::size_t left = n - done.read;
    if (left == 0 || left >= kBlock + kAhead || room - done.written < kEscapeRoom) return done;
    // Before a line end as at the end of the text, blanks are escaped.
    constexpr unsigned short kPad = kLines ? 0x0A0D : 0x4141;
    const Padded<unsigned char> last(bytes + done.read, left, kPad);
    const Transfer more = escapeBlocks<kLines>(last.bytes, last.size(left, kAhead), escapes,
                                               text + done.written, room - done.written);
    const bool single = kLines || escapes.kept['A'] || escapes.replaced == 'A';
    if (more.read < left) return done;  // there was no room
    const std::size_t pads = more.read - left;
    return {n, done.written + more.written - pads * (single ? 1 : kEscapeChars)};
}

template <bool kLines>
Transfer unescapeAll(const char* text, std::size_t n, const UnescapeRules& unescapes, char* bytes,
                     std::size_t room) {
    constexpr std::size_t kAhead = 3;
    bool stopped = false;
    Transfer done = unescapeBlocks<kLines>(text, n, unescapes, bytes, room, stopped);
    std::size_t left = n - done.read;
    if (stopped || left == 0 || left >= kBlock + kAhead || room - done.written < left) return done;
    // At a "=" the coder stops, and at white space before white space.
    if (!kLines && (text[n - 1] & unescapes.signMask) == '=' && --left == 0) return done;
    const Padded<char> last(text + done.read, left, 0x2020);
    const Transfer more = unescapeBlocks<kLines>(last.bytes, last.size(left, kAhead), unescapes,
                                                 bytes + done.written, sizeof last.bytes, stopped);
    const std::size_t pads = more.read > left ? more.read - left : 0;
    const bool kept = unescapes.kept[' '] || unescapes.replaced == ' ';
    return {done.read + more.read - pads, done.written + more.written - (kept ? pads : 0)};
}

}  // namespace

// What a block becomes is known without a branch for each byte, so that any mixture takes the same
// time.
Transfer escape(const unsigned char* bytes, std::size_t n, const EscapeRules& escapes, char* text,
                std::size_t room) {
    const Transfer done = escapes.crlfAware ? escapeAll<true>(bytes, n, escapes, text, room)
                                            : escapeAll<false>(bytes, n, escapes, text, room);
    if (room - done.written < kEscapeRoom && room < n * 3) return done;
    const Transfer rest = scalar::escape(bytes + done.read, n - done.read, escapes,
                                         text + done.written, room - done.written);
    return {done.read + rest.read, done.written + rest.written};
}

// Each place of a block is decoded as if an escape stood there, and what is none, or belongs to
// one, is left out.
Transfer unescape(const char* text, std::size_t n, const UnescapeRules& unescapes, char* bytes,
                  std::size_t room) {
    const Transfer done = unescapes.crlfAware ? unescapeAll<true>(text, n, unescapes, bytes, room)
                                              : unescapeAll<false>(text, n, unescapes, bytes, room);
    const Transfer rest = scalar::unescape(text + done.read, n - done.read, unescapes,
                                           bytes + done.written, room - done.written);
    return {done.read + rest.read, done.written + rest.written};
}

}  // namespace contentcoding::avx2
