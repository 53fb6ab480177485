#ifndef CODEC_KERNELS_KERNELS_H
#define CODEC_KERNELS_KERNELS_H

#include <atomic>
#include <cstddef>

// Private: the bulk of the coders, in exchangeable implementations. A kernel sees pointers and
// lengths only, and reads and writes what its contract says, no byte more. It writes line breaks
// and knows CR LF where its rules say so; padding, limits of lines, and what to do about a fault
// stay with the coders. (Plain arrays here, as a file with compiler flags of its own must not
// define functions that the linker merges with those of others.)

namespace contentcoding {

// A Base64 character's value is that of its digit, 0 to 63, or this.
constexpr unsigned char kBase64Skipped = 0x7F;

// What the 256 characters mean to a Base64 decoder. `alphabet` says which alphabet it is, so that a
// kernel need not compare the entries.
struct Base64Values {
    enum Alphabet { kStandard, kUrlSafe, kOther };
    unsigned char entry[256];
    Alphabet alphabet;
};

// How Base64 text is written: the digit of value v is alphabet[v], and a line break follows after
// every `lineGroups` groups.
struct Base64Format {
    const char* alphabet;
    std::size_t lineGroups;
    const char* lineBreak;
    std::size_t breakSize;
};

// The digits of Base32: RFC 4648, section 6.
constexpr char kBase32Alphabet[33] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";

constexpr char kEdaAlphabet[44] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ(),-./=";

// How much a kernel has read and written.
struct Transfer {
    std::size_t read, written;
};

// A set of bytes. Byte 0xHL is a member if bit H % 8 of low[L] (H < 8) or of high[L] (H >= 8) is
// set. contains[] holds the same set, expanded.
struct ByteClass {
    bool contains[256];
    unsigned char low[16], high[16];

    constexpr bool operator[](unsigned char b) const { return contains[b]; }
};

// The class of the bytes for which the predicate holds.
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

// An escape is "=" and two hexadecimal digits. A soft line break, "=", CR and LF, is as long.
constexpr std::size_t kEscapeChars = 3;

// How a coder that keeps most bytes writes them. Bytes that are neither kept nor replaced are
// escaped.
struct EscapeRules {
    ByteClass kept;
    // One byte, not in `kept`, that is replaced by another character (a space by "_"). The default
    // replaces "A" by "A", that is, nothing.
    unsigned char replaced = 'A', replacement = 'A';
    // Whether CR LF is a line end: it is kept, though `kept` must have neither, and a space or tab
    // before it or at the end is escaped. Nothing is replaced then.
    bool crlfAware = false;
};

// How such text is read. Characters that are neither kept, nor replaced, nor part of an escape are
// dropped.
struct UnescapeRules {
    ByteClass kept;
    // As for EscapeRules.
    unsigned char replaced = 'A', replacement = 'A';
    // The bits of a character that count when it is compared with "=", or read as a digit.
    unsigned char signMask = 0xFF, digitMask = 0xFF;
    // Whether CR LF is a line end. Then
    //   - "=", CR and LF in a row are dropped, and other CR LF kept;
    //   - the coder stops where a line may have to be trimmed: at an LF without CR, at white space
    //     before white space or the end, and at a "=" before white space or the end. White space
    //     is told by its low seven bits;
    //   - `kept` has all other characters.
    bool crlfAware = false;
    // Escapes that the coder stops at: of byte 0xFF with an "F" after it, and of byte 0.
    bool stopsAtEscapedFf = false, stopsAtZero = false;
};

// See Kernels::escape.
constexpr std::size_t kEscapeRoom = 32 * kEscapeChars;

// How many bytes escape() and unescape() may overwrite after the room that they are given.
constexpr std::size_t kOverwrite = 32;

struct Kernels {
    const char* name;

    // Writes 4 digits for each of `groups` times 3 bytes, and a line break after each full line.
    void (*encodeBase64)(const unsigned char* bytes, std::size_t groups, const Base64Format& format,
                         char* text);

    // Decodes all quanta of 4 digits among `n` characters to 3 bytes each, and skips characters
    // that are not digits, between the digits of a quantum too. At most 3 digits are left after
    // what it read. `bytes` has room for 3 bytes for each 4 characters; its contents after what was
    // written are unspecified.
    Transfer (*decodeBase64)(const char* text, std::size_t n, const Base64Values& values,
                             unsigned char* bytes);

    // How many of the `n` bytes from `p` on belong to the class before the first that does not.
    // Reads no byte outside the `n`, and of those after the first that does not belong, only bytes
    // in its page: `n` may exceed the memory if the memory holds that byte.
    std::size_t (*runLength)(const unsigned char* p, std::size_t n, const ByteClass& members);

    // How many of the `n` bytes from `p` on come before the first that is `a` or `b`. Reads as
    // runLength() does.
    std::size_t (*lengthUntil)(const unsigned char* p, std::size_t n, unsigned char a,
                               unsigned char b);

    // Writes bytes by the rules, as many as fit into `room` characters. May stop earlier if `room`
    // is less than 3 characters for each byte and less than kEscapeRoom of it is left.
    Transfer (*escape)(const unsigned char* bytes, std::size_t n, const EscapeRules& rules,
                       char* text, std::size_t room);

    // Reads at most `n` characters by the rules, as many as fit into `room` bytes, up to where the
    // coder stops, or to a "=" at the end. A "=" that does not begin an escape is a character.
    Transfer (*unescape)(const char* text, std::size_t n, const UnescapeRules& rules, char* bytes,
                         std::size_t room);

    // Writes 8 digits of Base32 for each of `groups` times 5 bytes.
    void (*encodeBase32)(const unsigned char* bytes, std::size_t groups, char* text);

    // Decodes groups of 8 letters (upper case) and digits of Base32 to 5 bytes each, up to the
    // first group that holds another character. Returns how many were decoded: at most `groups`.
    std::size_t (*decodeBase32)(const char* text, std::size_t groups, unsigned char* bytes);

    // Writes 5 digits of Ascii85 for each of `groups` times 4 bytes, up to the first group of
    // zeros. Returns how many groups were written.
    std::size_t (*encodeAscii85)(const unsigned char* bytes, std::size_t groups, char* text);

    // Decodes groups of 5 digits of Ascii85 to 4 bytes each, up to the first group that holds
    // another character or is too large. Returns how many were decoded: at most `groups`.
    std::size_t (*decodeAscii85)(const char* text, std::size_t groups, unsigned char* bytes);

    // Writes 3 digits of EDA for each of `groups` times 2 bytes.
    void (*encodeEda)(const unsigned char* bytes, std::size_t groups, char* text);

    // Decodes groups of 3 digits of EDA to 2 bytes each, up to the first group that holds another
    // character or is too large. Returns how many were decoded: at most `groups`.
    std::size_t (*decodeEda)(const char* text, std::size_t groups, unsigned char* bytes);
};

// The kernels that this processor can run, the best one first; ended by null.
const Kernels* const* availableKernels();

// For tests and benchmarks: has kernels() return those of that name from now on. False if the
// processor has none.
[[nodiscard]] bool useKernels(const char* name);

extern std::atomic<const Kernels*> chosenKernels;
const Kernels& chooseKernels();

// The kernels for this processor, chosen in the first call.
inline const Kernels& kernels() {
    const Kernels* const chosen = chosenKernels.load(std::memory_order_relaxed);
    return chosen ? *chosen : chooseKernels();
}

}  // namespace contentcoding

#endif
