#include <cstdint>

#include "codec/kernels/avx2/Avx2.h"
#include "codec/kernels/avx2/Ops.h"
#include "codec/kernels/scalar/Scalar.h"

namespace contentcoding::avx2 {
namespace {

// How four bytes are written, of which some are escaped: the shuffle of a register that holds, four
// times each, the bytes as they are written if kept, the high digits, the low digits, and "=".
struct Expansion {
    char order[16];
    unsigned char length;
};

struct Expansions {
    Expansion entry[16];
};

// Entry m is for the mask m of escaped bytes. For 1010 (the lowest bit is byte 0's) the order is
//   0  12 5 9  2  12 7 11
constexpr Expansions kExpansions = [] {
    Expansions expansions{};
    for (unsigned int escaped = 0; escaped < 16; ++escaped) {
        Expansion& expansion = expansions.entry[escaped];
        for (char& place : expansion.order)
            place = kZero;
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
// A block begins with room for 32 escapes. The last of its 8 stores, of 16 characters each, begins
// at most 7 * 12 characters further on, and so ends at most 4 after the room.
static_assert(kEscapeRoom == kBlock * kEscapeChars);
static_assert(7 * 12 + 16 <= kEscapeRoom + kOverwrite);

// The digits of the low halves.
__m128i hexDigits(__m128i halves) {
    const __m128i digits = _mm_setr_epi8('0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'A', 'B',
                                         'C', 'D', 'E', 'F');
    return _mm_shuffle_epi8(digits, _mm_and_si128(halves, _mm_set1_epi8(0x0F)));
}

// Writes 16 bytes, of which those whose bit is set are escaped, and the others are written as
// `kept` has them. Returns where the next character goes.
char* expand(__m128i bytes, __m128i kept, unsigned int escaped, char* text) {
    const __m128i high = hexDigits(_mm_srli_epi16(bytes, 4)), low = hexDigits(bytes);
    const __m128i signs = _mm_set1_epi8('=');
    // Four bytes k with their digits h and l at a time:
    //   front     k0 k1 k2 k3 h0 h1 h2 h3  k4 k5 k6 k7 h4 h5 h6 h7
    //   back      l0 l1 l2 l3 =  =  =  =   l4 l5 l6 l7 =  =  =  =
    //   fours[0]  k0 k1 k2 k3 h0 h1 h2 h3  l0 l1 l2 l3 =  =  =  =
    const __m128i front = _mm_unpacklo_epi32(kept, high), back = _mm_unpacklo_epi32(low, signs);
    const __m128i front2 = _mm_unpackhi_epi32(kept, high), back2 = _mm_unpackhi_epi32(low, signs);
    const __m128i fours[] = {_mm_unpacklo_epi64(front, back), _mm_unpackhi_epi64(front, back),
                             _mm_unpacklo_epi64(front2, back2), _mm_unpackhi_epi64(front2, back2)};
    for (unsigned int i = 0; i < 4; ++i) {
        const Expansion& expansion = kExpansions.entry[escaped >> (4 * i) & 15];
        store16(_mm_shuffle_epi8(fours[i], load16(expansion.order)), text);
        text += expansion.length;
    }
    return text;
}

// Which bytes of a block are escaped where CR LF is a line end, if `found` are not kept.
// `inLineEnd` says whether the byte before the block is the CR of a CR LF, and then whether its
// last byte is.
std::uint32_t withoutLineEnds(std::uint32_t found, const unsigned char* p, __m256i block,
                              bool& inLineEnd) {
    const std::uint32_t starts =
        movemask(_mm256_and_si256(isEqual(block, '\r'), isEqual(load32(p + 1), '\n')));
    const bool next = p[kBlock] == '\r' && p[kBlock + 1] == '\n';
    const std::uint32_t beforeOne = starts >> 1 | std::uint32_t{next} << (kBlock - 1);
    const std::uint32_t spaces =
        movemask(_mm256_or_si256(isEqual(block, ' '), isEqual(block, '\t')));
    found = (found & ~(starts | starts << 1 | std::uint32_t{inLineEnd})) | (spaces & beforeOne);
    inLineEnd = starts >> (kBlock - 1) != 0;
    return found;
}

// How many bytes after a block are looked at: whether CR LF follows.
template <bool kCrlfAware>
constexpr std::size_t kAhead = kCrlfAware ? 2 : 0;

// Writes whole blocks, as long as there are `kAhead` more bytes and room for a block of escapes.
template <bool kCrlfAware>
Transfer escapeBlocks(const unsigned char* bytes, std::size_t n, const EscapeRules& rules,
                      char* text, std::size_t room) {
    const ClassTables kept = tablesOf(rules.kept);
    Transfer done{0, 0};
    bool inLineEnd = false;  // the last byte was the CR of a CR LF
    while (n - done.read >= kBlock + kAhead<kCrlfAware> && room - done.written >= kEscapeRoom) {
        const unsigned char* const p = bytes + done.read;
        char* const to = text + done.written;
        const __m256i block = load32(p);
        std::uint32_t escaped = nonMembers(block, kept);
        done.read += kBlock;
        if (kCrlfAware && (escaped != 0 || inLineEnd || p[kBlock] == '\r'))
            escaped = withoutLineEnds(escaped, p, block, inLineEnd);
        if (escaped == 0) {
            store32(block, to);
            done.written += kBlock;
            continue;
        }
        const __m256i isReplaced = isEqual(block, rules.replaced);
        const __m256i written = select(isReplaced, splat(rules.replacement), block);
        escaped &= ~movemask(isReplaced);
        char* const half = expand(lowHalf(block), lowHalf(written), escaped & 0xFFFF, to);
        char* const end = expand(highHalf(block), highHalf(written), escaped >> 16, half);
        done.written += static_cast<std::size_t>(end - to);
    }
    if (inLineEnd) {  // a CR LF is written whole, or not at all
        --done.read;
        --done.written;
    }
    return done;
}

template <bool kCrlfAware>
Transfer escapeAll(const unsigned char* bytes, std::size_t n, const EscapeRules& rules, char* text,
                   std::size_t room) {
    const Transfer done = escapeBlocks<kCrlfAware>(bytes, n, rules, text, room);
    const std::size_t left = n - done.read;
    if (left == 0 || left >= kBlock + kAhead<kCrlfAware> || room - done.written < kEscapeRoom)
        return done;
    // Spaces and tabs are escaped before a line end as at the end of the text, so CR LF is the pad.
    constexpr unsigned char kLetter = 'A';
    constexpr unsigned short kPad = kCrlfAware ? '\n' << 8 | '\r' : kLetter << 8 | kLetter;
    const PaddedTail tail = padTail(bytes + done.read, left, kPad);
    const Transfer more = escapeBlocks<kCrlfAware>(tail.bytes, paddedSize(left, kAhead<kCrlfAware>),
                                                   rules, text + done.written, room - done.written);
    if (more.read < left) return done;  // there was no room
    const bool padIsKept = kCrlfAware || rules.kept.contains[kLetter] || rules.replaced == kLetter;
    const std::size_t pads = more.read - left;
    return {n, done.written + more.written - pads * (padIsKept ? 1 : kEscapeChars)};
}

}  // namespace

// What a block becomes is found without a branch for each byte, so the time does not depend on the
// mix of bytes. Only a block of which all bytes are kept is quicker.
Transfer escape(const unsigned char* bytes, std::size_t n, const EscapeRules& rules, char* text,
                std::size_t room) {
    const Transfer done = rules.crlfAware ? escapeAll<true>(bytes, n, rules, text, room)
                                          : escapeAll<false>(bytes, n, rules, text, room);
    if (room - done.written < kEscapeRoom && room < n * kEscapeChars) return done;
    const Transfer rest = scalar::escape(bytes + done.read, n - done.read, rules,
                                         text + done.written, room - done.written);
    return {done.read + rest.read, done.written + rest.written};
}

}  // namespace contentcoding::avx2
