#ifndef CODEC_BASE64_H
#define CODEC_BASE64_H

#include <array>

#include "codec/kernels/Kernels.h"
#include "contentcoding/base64.hpp"

// Private: what the class needs of Base64 beside the coders of contentcoding/base64.hpp.

// The 64 digits of Base64, in the order of their values, and a NUL: the standard alphabet and the
// URL-safe one.
extern const char _base64_table[65];
extern const char _modBase64_table[65];

// The inverse of _base64_table for the characters "+" to "z": a value, or 0x7F for no digit.
extern const std::array<unsigned char, 80> _base64DecodeTable;

namespace contentcoding::base64 {

// A line that never ends.
inline constexpr std::size_t kNoLines = static_cast<std::size_t>(-1);

// The values of a table like _base64DecodeTable.
Base64Values valuesOf(const unsigned char* table);
// Those of _base64DecodeTable itself.
const Base64Values& standardValues();

// Whether the byte is a digit of the standard alphabet, "=" or white space.
extern const ByteClass kText;
// Whether the byte lies in the range of the decode table, but is not "=", or is white space.
extern const ByteClass kInRange;

}  // namespace contentcoding::base64

#endif
