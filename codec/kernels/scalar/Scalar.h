#ifndef CODEC_KERNELS_SCALAR_H
#define CODEC_KERNELS_SCALAR_H

#include "codec/kernels/Kernels.h"

// Private: the portable kernels, to which the others delegate what they do not handle.

namespace contentcoding::scalar {

void encodeBase64(const unsigned char* bytes, std::size_t groups, const Base64Format& format,
                  char* text);
Transfer decodeBase64(const char* text, std::size_t n, const Base64Values& values,
                      unsigned char* bytes);
std::size_t runLength(const unsigned char* p, std::size_t n, const ByteClass& members);
std::size_t lengthUntil(const unsigned char* p, std::size_t n, unsigned char a, unsigned char b);
Transfer escape(const unsigned char* bytes, std::size_t n, const EscapeRules& rules, char* text,
                std::size_t room);
Transfer unescape(const char* text, std::size_t n, const UnescapeRules& rules, char* bytes,
                  std::size_t room);
void encodeBase32(const unsigned char* bytes, std::size_t groups, char* text);
std::size_t decodeBase32(const char* text, std::size_t groups, unsigned char* bytes);
std::size_t encodeAscii85(const unsigned char* bytes, std::size_t groups, char* text);
std::size_t decodeAscii85(const char* text, std::size_t groups, unsigned char* bytes);
void encodeEda(const unsigned char* bytes, std::size_t groups, char* text);
std::size_t decodeEda(const char* text, std::size_t groups, unsigned char* bytes);

// Base64 without line breaks.
void encodeGroups(const unsigned char* bytes, std::size_t groups, const char* alphabet, char* text);

// Decodes one quantum of Base64, and skips characters that are not digits. Reads nothing if the
// text ends first.
Transfer decodeQuantum(const char* text, std::size_t n, const Base64Values& values,
                       unsigned char* bytes);

}  // namespace contentcoding::scalar

#endif
