#include <cstdint>

#include "codec/kernels/avx2/Avx2.h"
#include "codec/kernels/avx2/Ops.h"
#include "codec/kernels/scalar/Scalar.h"

namespace contentcoding::avx2 {
namespace {

// The characters after a block that are looked at: those of an escape that starts with the last
// one, and the one after it.
constexpr std::size_t kAhead = 3;

// How the bytes of eight whose bit is set come together.
struct Compactions {
    char entry[256][8];
};

// Entry m is for the mask m. For 01101000 (the lowest bit is byte 0's) the order is 3 5 6.
constexpr Compactions kCompactions = [] {
    Compactions orders{};
    for (unsigned int taken = 0; taken < 256; ++taken) {
        unsigned int n = 0;
        for (char i = 0; i < 8; ++i)
            if (taken >> i & 1) orders.entry[taken][n++] = i;
        for (; n < 8; ++n)
            orders.entry[taken][n] = kZero;
    }
    return orders;
}();

// Writes those of 16 bytes whose bit is set. Returns where the next byte goes. A store writes 8
// bytes and counts the first; those of a block end within 32 bytes from its start.
char* compact(__m128i bytes, unsigned int taken, char* to) {
    const unsigned int first = taken & 0xFF, second = taken >> 8;
    const auto store = [](__m128i eight, unsigned int mask, char* at) {
        const __m128i order =
            _mm_loadl_epi64(reinterpret_cast<const __m128i*>(kCompactions.entry[mask]));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(at), _mm_shuffle_epi8(eight, order));
        return at + __builtin_popcount(mask);
    };
    to = store(bytes, first, to);
    return store(_mm_srli_si128(bytes, 8), second, to);
}

// The values of hexadecimal digits, of either case: "0" is 0x30, "A" 0x41 and "a" 0x61.
__m256i hexValues(__m256i digits) {
    const __m256i isLetter = _mm256_cmpgt_epi8(digits, splat(0x3F));
    const __m256i low = _mm256_add_epi8(digits, _mm256_and_si256(isLetter, splat(9)));
    return _mm256_and_si256(low, splat(0x0F));
}

// A mask of the characters whose low seven bits are 9, 10, 13 or 32. Their low halves differ, so a
// shuffle can give, for each character, the only white space that it may be.
__m256i isWhiteSpace(__m256i chars) {
    const __m256i lowSeven = _mm256_and_si256(chars, splat(0x7F));
    const __m256i candidates =
        broadcast128(_mm_setr_epi8(' ', kZero, kZero, kZero, kZero, kZero, kZero, kZero, kZero,
                                   '\t', '\n', kZero, kZero, '\r', kZero, kZero));
    return _mm256_cmpeq_epi8(_mm256_shuffle_epi8(candidates, lowSeven), lowSeven);
}

constexpr bool isDigit(unsigned int c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}
constexpr ByteClass kDigits = byteClass([](unsigned char b) { return isDigit(b); });
constexpr ByteClass kDigitsOfSevenBits =
    byteClass([](unsigned char b) { return isDigit(b & 0x7Fu); });

// The rules, in registers.
struct BlockRules {
    const UnescapeRules& rules;
    ClassTables kept = tablesOf(rules.kept);
    ClassTables digits = tablesOf(rules.digitMask == 0xFF ? kDigits : kDigitsOfSevenBits);
    __m256i signMask = splat(rules.signMask), digitMask = splat(rules.digitMask);
};

// What is carried from one block to the next.
struct Carried {
    std::uint32_t dropped = 0;  // the first characters, which an escape before them has used
    bool inLineEnd = false;     // the last character was the CR of a CR LF
};

// The functions below that are inlined by force would keep what is carried in memory if they were
// not: with GCC 12 that costs up to half more time.

// What a block holds, a bit for each character.
struct Marks {
    std::uint32_t sign;         // may begin an escape
    std::uint32_t stop = 0;     // the coder stops here
    std::uint32_t soft = 0;     // the "=" of "=", CR and LF
    std::uint32_t foreign = 0;  // neither kept nor a sign
};

// Finds soft breaks, and the white space and line ends at which the coder stops.
[[gnu::always_inline]] inline Marks markLines(const char* p, __m256i block, std::uint32_t sign,
                                              Carried& carried) {
    const __m256i next = load32(p + 1);
    const __m256i isLf = isEqual(block, '\n');
    const __m256i isDouble = _mm256_and_si256(isWhiteSpace(block), isWhiteSpace(next));
    Marks marks{sign};
    marks.stop = movemask(_mm256_or_si256(isDouble, isLf));
    if (marks.stop == 0) {
        carried.inLineEnd = false;
        return marks;
    }
    const std::uint32_t lf = movemask(isLf);
    const std::uint32_t lineEnd =
        movemask(_mm256_and_si256(isEqual(block, '\r'), isEqual(next, '\n')));
    // CR LF is fine, even with white space after it: that is in the next line.
    const std::uint32_t fine = lineEnd | (lf & (lineEnd << 1 | std::uint32_t{carried.inLineEnd}));
    marks.stop &= ~fine & ~carried.dropped;
    marks.soft = sign & lineEnd >> 1;
    carried.inLineEnd = lineEnd >> (kBlock - 1) != 0;
    return marks;
}

template <bool kCrlfAware>
[[gnu::always_inline]] inline Marks markBlock(const char* p, __m256i chars, __m256i isSign,
                                              const BlockRules& block, Carried& carried) {
    Marks marks{movemask(isSign)};
    if (kCrlfAware) return markLines(p, chars, marks.sign, carried);
    marks.foreign = nonMembers(chars, block.kept) & ~marks.sign;
    return marks;
}

struct Escapes {
    __m256i isEscape, values;
};

// Decodes at every place of a block as if an escape began there. A sign without two digits after it
// is a character.
[[gnu::always_inline]] inline Escapes decodeEverywhere(const char* p, __m256i isSign,
                                                       const BlockRules& block) {
    const __m256i next = load32(p + 1), second = load32(p + 2);
    const __m256i isForeign =
        _mm256_or_si256(isOutside(next, block.digits), isOutside(second, block.digits));
    const __m256i high = hexValues(_mm256_and_si256(next, block.digitMask));
    const __m256i low = hexValues(_mm256_and_si256(second, block.digitMask));
    return {_mm256_andnot_si256(isForeign, isSign),
            _mm256_or_si256(_mm256_slli_epi16(high, 4), low)};
}

// Escapes at which the coder stops.
std::uint32_t stopsAt(const Escapes& escapes, const char* p, const UnescapeRules& rules) {
    std::uint32_t stop = 0;
    if (rules.stopsAtZero) stop |= movemask(isEqual(escapes.values, 0));
    if (rules.stopsAtEscapedFf) {
        const __m256i isFAfter = isEqual(_mm256_and_si256(load32(p + 3), splat(0x7F)), 'F');
        stop |= movemask(_mm256_and_si256(isEqual(escapes.values, 0xFF), isFAfter));
    }
    return stop & movemask(escapes.isEscape);
}

// Writes what a block with escapes, or with characters that are dropped, becomes, up to where the
// coder stops; adds to `marks` the stops and soft breaks that only show here. Returns where the
// next byte goes. For "a=41b" and an "=" that is not an escape:
//   chars     a  =  4  1  b  =  c
//   values    .. 41 .. .. .. .. ..
//   escape    0  1  0  0  0  0  0
//   after     0  0  1  1  0  0  0     the digits of the escape, dropped
//   taken     1  1  0  0  1  1  1     ->  a A b = c
template <bool kCrlfAware>
[[gnu::always_inline]] inline char* unescapeBlock(const char* p, __m256i chars, __m256i isSign,
                                                  const BlockRules& block, Marks& marks,
                                                  Carried& carried, char* to) {
    const UnescapeRules& rules = block.rules;
    if (kCrlfAware && marks.sign >> (kBlock - 1) != 0 && p[kBlock] == '\r' && p[kBlock + 1] == '\n')
        marks.soft |= std::uint32_t{1} << (kBlock - 1);
    const Escapes escapes = decodeEverywhere(p, isSign, block);
    marks.stop |= stopsAt(escapes, p, rules);
    if (kCrlfAware) marks.stop |= marks.sign & ~marks.soft & movemask(isWhiteSpace(load32(p + 1)));

    const __m256i isReplaced = isEqual(chars, rules.replaced);
    const __m256i replaced = select(isReplaced, splat(rules.replacement), chars);
    const __m256i written = select(escapes.isEscape, escapes.values, replaced);
    const std::uint32_t units = movemask(escapes.isEscape) | marks.soft;
    const std::uint64_t after = std::uint64_t{units} << 1 | std::uint64_t{units} << 2;
    std::uint32_t taken = ~(static_cast<std::uint32_t>(after) | carried.dropped | marks.soft |
                            (marks.foreign & ~movemask(isReplaced)));
    if (marks.stop != 0) taken &= (std::uint32_t{1} << firstBit(marks.stop)) - 1;
    carried.dropped = static_cast<std::uint32_t>(after >> kBlock);
    carried.inLineEnd = carried.inLineEnd && taken >> (kBlock - 1) != 0;
    to = compact(lowHalf(written), taken & 0xFFFF, to);
    return compact(highHalf(written), taken >> 16, to);
}

// Reads whole blocks, as long as there are kAhead more characters and room for a block.
template <bool kCrlfAware>
Transfer unescapeBlocks(const char* text, std::size_t n, const UnescapeRules& rules, char* bytes,
                        std::size_t room, bool& stopped) {
    const BlockRules block{rules};
    Transfer done{0, 0};
    Carried carried;
    while (n - done.read >= kBlock + kAhead && room - done.written >= kBlock) {
        const char* const p = text + done.read;
        char* const to = bytes + done.written;
        const __m256i chars = load32(p);
        const __m256i isSign = isEqual(_mm256_and_si256(chars, block.signMask), '=');
        Marks marks = markBlock<kCrlfAware>(p, chars, isSign, block, carried);
        if ((marks.sign | marks.stop | marks.foreign | carried.dropped) == 0) {
            store32(chars, to);
            done.read += kBlock;
            done.written += kBlock;
            continue;
        }
        // A line that ends in a soft break, and has no escapes near.
        if (kCrlfAware && marks.sign == marks.soft && (marks.stop | carried.dropped) == 0) {
            store32(chars, to);
            done.read += firstBit(marks.soft) + kEscapeChars;
            done.written += firstBit(marks.soft);
            carried.inLineEnd = false;
            continue;
        }
        char* const end = unescapeBlock<kCrlfAware>(p, chars, isSign, block, marks, carried, to);
        done.written += static_cast<std::size_t>(end - to);
        if (marks.stop != 0) {
            stopped = true;
            return {done.read + firstBit(marks.stop), done.written};
        }
        done.read += kBlock;
    }
    if (carried.inLineEnd) {  // a CR LF is read whole, or not at all
        --done.read;
        --done.written;
    }
    done.read += static_cast<std::size_t>(__builtin_popcount(carried.dropped));
    return done;
}

template <bool kCrlfAware>
Transfer unescapeAll(const char* text, std::size_t n, const UnescapeRules& rules, char* bytes,
                     std::size_t room) {
    bool stopped = false;
    const Transfer done = unescapeBlocks<kCrlfAware>(text, n, rules, bytes, room, stopped);
    std::size_t left = n - done.read;
    if (stopped || left == 0 || left >= kBlock + kAhead || room - done.written < left) return done;
    // The coder stops at a "=" at the end, and at white space before white space, such as the pads.
    if (!kCrlfAware && (text[n - 1] & rules.signMask) == '=' && --left == 0) return done;
    // Blocks that start with one of the characters left write less than a block of pads after them,
    // which may be past the room.
    static_assert(kOverwrite >= kBlock);
    constexpr unsigned char kPad = ' ';
    const PaddedTail tail = padTail(text + done.read, left, kPad << 8 | kPad);
    const Transfer more = unescapeBlocks<kCrlfAware>(
        reinterpret_cast<const char*>(tail.bytes), paddedSize(left, kAhead), rules,
        bytes + done.written, sizeof tail.bytes, stopped);
    const std::size_t pads = more.read > left ? more.read - left : 0;
    const bool padIsKept = rules.kept.contains[kPad] || rules.replaced == kPad;
    return {done.read + more.read - pads, done.written + more.written - (padIsKept ? pads : 0)};
}

}  // namespace

// Branch-free per character, so the time does not depend on the mix, but for blocks and lines
// without any escape. Characters that are not escapes, or are part of one, are left out.
Transfer unescape(const char* text, std::size_t n, const UnescapeRules& rules, char* bytes,
                  std::size_t room) {
    const Transfer done = rules.crlfAware ? unescapeAll<true>(text, n, rules, bytes, room)
                                          : unescapeAll<false>(text, n, rules, bytes, room);
    const Transfer rest = scalar::unescape(text + done.read, n - done.read, rules,
                                           bytes + done.written, room - done.written);
    return {done.read + rest.read, done.written + rest.written};
}

}  // namespace contentcoding::avx2
