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
    unsigned char of[256];
    Alphabet alphabet;
};

// The digits of Base32: RFC 4648, section 6.
constexpr char kBase32Alphabet[33] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";

// How far a kernel went.
struct Progress {
    std::size_t read, written;
};

// A set of bytes. Byte 0xHL belongs to it when the bit H % 8 of the entry L is set, in `low` for H
// up to 7 and in `high` above; `is` says the same.
struct ByteClass {
    bool is[256];
    unsigned char low[16], high[16];

    constexpr bool operator[](unsigned char b) const { return is[b]; }
};

// How bytes are written by a coder that keeps most and escapes the others.
struct Escapes {
    struct Entry {
        char text[4];         // of which `length` characters count; for kept bytes they themselves
        unsigned int length;  // at most 3; 0 where the coder stops
    };
    ByteClass kept;
    Entry of[256];
};

// How such text is read.
struct Unescapes {
    static constexpr unsigned char kEscape = 0xFF;  // for a length: two digits follow
    static constexpr unsigned short kNoDigit = 0x100;
    ByteClass kept;                 // with all hexadecimal digits
    unsigned char text[256];        // what a character that is no escape's first stands for,
    unsigned char length[256];      // when this is 1; 0 for one that is dropped
    unsigned short highDigit[256];  // 16 times the value of a hexadecimal digit, or kNoDigit
    unsigned short lowDigit[256];   // the value of a hexadecimal digit, or kNoDigit
    unsigned int lowest, count;     // the escaped bytes that the coder does not stop at

    // The byte that the escape of three characters stands for; above 255 when the coder stops.
    unsigned int escaped(const char* p) const {
        const unsigned int byte =
            static_cast<unsigned int>(highDigit[static_cast<unsigned char>(p[1])] |
                                      lowDigit[static_cast<unsigned char>(p[2])]);
        return byte - lowest < count ? byte : kNoDigit;
    }
};

// What kernels may write behind the room that they are given.
constexpr std::size_t kSlack = 32;

struct Kernels {
    const char* name;

    // Writes 4 digits of `alphabet` (64 characters) for each of `groups` times 3 bytes.
    void (*encodeBase64)(const unsigned char* bytes, std::size_t groups, const char* alphabet,
                         char* text);

    // Decodes all quanta of 4 digits among `n` characters, 3 bytes each, skipping what is no digit,
    // between digits too. Behind what it read there are at most 3 digits. `bytes` has room for 3
    // bytes for each 4 characters, and unspecified contents behind what was written.
    Progress (*decodeBase64)(const char* text, std::size_t n, const Base64Values& values,
                             unsigned char* bytes);

    // How many of the `n` bytes from `p` on belong to the class before the first that does not.
    // What follows that one is not touched, but for bytes of a block of 32, aligned as such.
    std::size_t (*runLength)(const unsigned char* p, std::size_t n, const ByteClass& is);

    // Writes bytes as `escapes` says, as many as fit into `room` characters, up to the first one
    // that the coder stops at; possibly fewer, when fewer than 3 more would fit.
    Progress (*escape)(const unsigned char* bytes, std::size_t n, const Escapes& escapes,
                       char* text, std::size_t room);

    // Reads at most `n` characters as `unescapes` says, as many as fit into `room` bytes, up to the
    // first escape that is none, is not complete, or is of a byte that the coder stops at.
    Progress (*unescape)(const char* text, std::size_t n, const Unescapes& unescapes, char* bytes,
                         std::size_t room);

    // Writes 8 digits of Base32 for each of `groups` times 5 bytes.
    void (*encodeBase32)(const unsigned char* bytes, std::size_t groups, char* text);

    // Decodes groups of 8 letters (upper case) and digits of Base32, 5 bytes each, up to the first
    // one that holds another character. Returns how many were decoded: at most `groups`, and
    // possibly fewer than there are.
    std::size_t (*decodeBase32)(const char* text, std::size_t groups, unsigned char* bytes);
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
