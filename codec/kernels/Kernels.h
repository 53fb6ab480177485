#ifndef CODEC_KERNELS_KERNELS_H
#define CODEC_KERNELS_KERNELS_H

#include <atomic>
#include <cstddef>

// Private: the bulk of the coders, in exchangeable implementations. A kernel sees pointers and
// lengths only, reads and writes exactly what its contract says, and knows nothing of line breaks,
// padding and the ends of a text. (Plain arrays here: what a file with compiler flags of its own
// instantiates must not be shared with others.)

namespace contentcoding {

// A Base64 character's value is its digit's, 0 to 63, or this.
constexpr unsigned char kBase64Skipped = 0x7F;

// What the 256 characters mean to a Base64 decoder. `alphabet` says which the digits are, so that
// a kernel need not look.
struct Base64Values {
    enum Alphabet { kStandard, kUrlSafe, kOther };
    unsigned char entry[256];
    Alphabet alphabet;
};

// How Base64 text is written: the digit of value v is alphabet[v], and behind each `lineGroups`
// groups stands the line break.
struct Base64Format {
    const char* alphabet;
    std::size_t lineGroups;
    const char* lineBreak;
    std::size_t breakSize;
};

// The digits of Base32: RFC 4648, section 6.
constexpr char kBase32Alphabet[33] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";

constexpr char kEdaAlphabet[44] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ(),-./=";

// How far a kernel went.
struct Transfer {
    std::size_t read, written;
};

// A set of bytes. Byte 0xHL belongs to it when the bit H % 8 of the entry L is set, in `low` for H
// up to 7 and in `high` above; `contains` holds the same set, expanded.
struct ByteClass {
    bool contains[256];
    unsigned char low[16], high[16];

    constexpr bool operator[](unsigned char b) const { return contains[b]; }
};

// The class of the bytes that the predicate holds for.
template <class Predicate>
constexpr ByteClass byteClass(Predicate belongs) {
    ByteClass members{};
    for (unsigned int b = 0; b < 256; ++b) {
        members.contains[b] = belongs(static_cast<unsigned char>(b));
        unsigned char& entry = (b < 0x80 ? members.low : members.high)[b & 0x0F];
        if (members.contains[b]) entry = static_cast<unsigned char>(entry | 1u << (b >> 4 & 7));
    }
    return members;
}

// How bytes are written by a coder that keeps most of them; others are escaped, by "=" and two
// digits.
struct EscapeRules {
    ByteClass kept;
    // One byte, not kept, that is written as another character; where there is none, "A" as itself.
    unsigned char replaced = 'A', replacement = 'A';
    // Whether CR and LF in a row are kept, though they are not by themselves, and a space or tab
    // before them or at the end is not.
    bool crlfAware = false;
};

// How such text is read. What is neither kept, nor an escape, nor replaced, is dropped.
struct UnescapeRules {
    ByteClass kept;
    // As for EscapeRules.
    unsigned char replaced = 'A', replacement = 'A';
    // The bits by which "=" and the digits are told.
    unsigned char signMask = 0xFF, digitMask = 0xFF;
    // Whether "=", CR and LF in a row are dropped, CR and LF in a row kept, and the coder stops at
    // another line end, and at white space or a "=" before white space or the end: what may be the
    // end of a line that has to be trimmed. White space is told by the low seven bits. All else is
    // kept.
    bool crlfAware = false;
    // EscapeRules that the coder stops at: of the byte 255 with another "F" behind, and of 0.
    bool stopsAtEscapedFf = false, stopsAtZero = false;
};

// See Kernels::escape.
constexpr std::size_t kEscapeRoom = 96;

// What kernels may write behind the room that they are given.
constexpr std::size_t kOverwrite = 32;

struct Kernels {
    const char* name;

    // Writes 4 digits for each of `groups` times 3 bytes, and a line break behind each full line.
    void (*encodeBase64)(const unsigned char* bytes, std::size_t groups, const Base64Format& format,
                         char* text);

    // Decodes all quanta of 4 digits among `n` characters, 3 bytes each, skipping what is no digit,
    // between digits too. Behind what it read there are at most 3 digits. `bytes` has room for 3
    // bytes for each 4 characters, and unspecified contents behind what was written.
    Transfer (*decodeBase64)(const char* text, std::size_t n, const Base64Values& values,
                             unsigned char* bytes);

    // How many of the `n` bytes from `p` on belong to the class before the first that does not. No
    // byte outside the `n` is read, nor one in a page that begins after that first one.
    std::size_t (*runLength)(const unsigned char* p, std::size_t n, const ByteClass& is);

    // How many of the `n` bytes from `p` on stand before the first that is `a` or `b`. Reads
    // as runLength does.
    std::size_t (*lengthUntil)(const unsigned char* p, std::size_t n, unsigned char a,
                               unsigned char b);

    // Writes bytes as `escapes` says, as many as fit into `room` characters; possibly fewer, when
    // `room` has less than 3 characters for each byte, and less than kEscapeRoom would be left.
    Transfer (*escape)(const unsigned char* bytes, std::size_t n, const EscapeRules& escapes,
                       char* text, std::size_t room);

    // Reads at most `n` characters as `unescapes` says, as many as fit into `room` bytes, up to
    // where the coder stops, or to a "=" at the end. One that begins no escape is a character.
    Transfer (*unescape)(const char* text, std::size_t n, const UnescapeRules& unescapes,
                         char* bytes, std::size_t room);

    // Writes 8 digits of Base32 for each of `groups` times 5 bytes.
    void (*encodeBase32)(const unsigned char* bytes, std::size_t groups, char* text);

    // Decodes groups of 8 letters (upper case) and digits of Base32, 5 bytes each, up to the first
    // one that holds another character. Returns how many were decoded: at most `groups`, and
    // possibly fewer than there are.
    std::size_t (*decodeBase32)(const char* text, std::size_t groups, unsigned char* bytes);

    // Writes 5 digits of Ascii85 for each of `groups` times 4 bytes, up to the first group of
    // zeros; returns how many groups that were.
    std::size_t (*encodeAscii85)(const unsigned char* bytes, std::size_t groups, char* text);

    // Decodes groups of 5 digits of Ascii85, 4 bytes each, up to the first one that holds another
    // character or is too large. Returns how many were decoded: at most `groups`.
    std::size_t (*decodeAscii85)(const char* text, std::size_t groups, unsigned char* bytes);

    // Writes 3 digits of EDA for each of `groups` times 2 bytes.
    void (*encodeEda)(const unsigned char* bytes, std::size_t groups, char* text);
};

// Those that the processor at hand can run, the best one first; ended by null.
const Kernels* const* availableKernels();

// For tests and benchmarks: has kernels() return those of that name from now on. False when the
// processor has none.
bool useKernels(const char* name);

extern std::atomic<const Kernels*> chosenKernels;
const Kernels& chooseKernels();

// The kernels for the processor at hand, chosen in the first call.
inline const Kernels& kernels() {
    const Kernels* const chosen = chosenKernels.load(std::memory_order_relaxed);
    return chosen ? *chosen : chooseKernels();
}

}  // namespace contentcoding

#endif
