#ifndef CODEC_KERNELS_KERNELS_H
#define CODEC_KERNELS_KERNELS_H

#include <cstddef>

// Private: the bulk of the coders, in exchangeable implementations. A kernel sees pointers and
// lengths only. It takes whole groups, reads and writes exactly these, and knows nothing of
// line breaks, padding, skipped characters or the ends of a text.

namespace contentcoding {

// A Base64 character's value is its digit's, 0 to 63, or this.
constexpr unsigned char kBase64Skipped = 0x7F;

struct Kernels {
    const char* name;

    // Writes 4 digits of `alphabet` (64 characters) for each of `groups` times 3 bytes.
    void (*encodeBase64)(const unsigned char* bytes, std::size_t groups, const char* alphabet,
                         char* text);

    // Decodes quanta of 4 digits, 3 bytes each, up to the first one that holds a character whose
    // value (256 entries) is above 63. Returns how many were decoded: at most `quanta`, and
    // possibly fewer than there are.
    std::size_t (*decodeBase64)(const char* text, std::size_t quanta, const unsigned char* values,
                                unsigned char* bytes);
};

extern const Kernels kScalarKernels;

// The kernels for the processor at hand.
const Kernels& kernels();

}  // namespace contentcoding

#endif
