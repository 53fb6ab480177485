#ifndef CODEC_TABLES_H
#define CODEC_TABLES_H

#include <array>

// Private: the file-level tables of the coders.

// The 64 digits of Base64, in the order of their values, and a NUL: the standard alphabet and the
// URL-safe one.
extern const char _base64_table[65];
extern const char _modBase64_table[65];

// The inverse of _base64_table for the characters "+" to "z": a value, or 0x7F for no digit.
extern const std::array<unsigned char, 80> _base64DecodeTable;

#endif
