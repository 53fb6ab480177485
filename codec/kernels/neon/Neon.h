#ifndef CODEC_KERNELS_NEON_H
#define CODEC_KERNELS_NEON_H

#include "codec/kernels/Kernels.h"

// Private: the kernels for 64-bit ARM, which always has NEON.

namespace contentcoding::neon {

void encodeBase64(const unsigned char* bytes, std::size_t groups, const Base64Format& format,
                  char* text);
Transfer decodeBase64(const char* text, std::size_t n, const Base64Values& values,
                      unsigned char* bytes);
std::size_t runLength(const unsigned char* p, std::size_t n, const ByteClass& members);

}  // namespace contentcoding::neon

#endif
