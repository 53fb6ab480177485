#ifndef TESTS_CODEC_FORMATSUPPORT_H
#define TESTS_CODEC_FORMATSUPPORT_H

#include "contentcoding/result.hpp"
#include "tests/TestSupport.h"

using contentcoding::Error;
using contentcoding::Fault;
using contentcoding::Result;

// A text, what is accepted, and the bytes or the fault.
template <class Accept>
struct Decoding {
    std::string text;
    Accept accept;
    Result<std::string> expected;
};

inline std::string shown(const Result<std::string>& result) {
    if (result) return testing::PrintToString(*result);
    return result.error().message() + " at " + std::to_string(result.error().offset);
}

// The namespace of Accept has the decoder.
template <class Accept>
void expectDecodings(std::initializer_list<Decoding<Accept>> rows) {
    for (const Decoding<Accept>& row : rows)
        EXPECT_EQ(shown(decode(contentcoding::Bytes(row.text), row.accept)), shown(row.expected))
            << testing::PrintToString(row.text);
}

// Every length around the blocks of every coder: 245 bytes and 632 characters (Base32), 204 bytes
// (Ascii85), 168 bytes (EDA).
template <class Encode, class Decode>
void expectEverythingComesBack(Encode encode, Decode decode) {
    const std::string all = noise(300) + std::string(330, '\0') + noise(300);
    for (std::size_t n = 0; n <= all.size(); ++n)
        ASSERT_EQ(decode(encode(all.substr(0, n))), all.substr(0, n)) << n;
}

#endif
