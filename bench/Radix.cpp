// Base32, Base58, Ascii85 and EDA, both ways.
#include "bench/Harness.h"
#include "bench/Inputs.h"

namespace {

using namespace bench;

// Both directions of a format that writes `chars` characters for `bytes` bytes.
template <class Encode, class Decode>
void bothWays(const std::string& format, std::size_t bytes, std::size_t chars, Encode encode,
              Decode decode) {
    auto encoder = toText(encode);
    ours({"Radix", format + "-encode", noise}, encoder);
    ours({"Radix", format + "-decode",
          [encoder, bytes, chars](std::size_t size) mutable {
              return std::string(encoder(noise(size / chars * bytes)));
          }},
         toBytes(decode));
}

// Time grows with the square of the length, so the sizes differ from those of the others. The size
// of a text is that of the bytes it encodes.
void base58() {
    const std::vector<std::size_t> sizes = {25, 32, 256, 1024, 16384};
    auto encoder = toText([log = LogNull()](std::string_view in, StringBuffer& out) mutable {
        return ContentCoding::encodeBase58(in.data(), size32(in), out, log);
    });
    ours({"Radix", "base58-encode", noise, sizes}, encoder);
    ours({"Radix", "base58-decode",
          [encoder](std::size_t size) mutable { return std::string(encoder(noise(size))); }, sizes},
         toBytes([log = LogNull()](std::string_view in, DataBuffer& out) mutable {
             return ContentCoding::decodeBase58(in.data(), out, log);
         }));
}

void add() {
    bothWays(
        "base32", 5, 8,
        [](std::string_view in, StringBuffer& out) {
            return ContentCoding::encodeBase32_noCrLf(bytes(in), size32(in), out);
        },
        [log = LogNull()](std::string_view in, DataBuffer& out) mutable {
            return ContentCoding::decodeBase32(in.data(), out, log);
        });
    base58();
    bothWays(
        "ascii85", 4, 5,
        [log = LogNull()](std::string_view in, StringBuffer& out) mutable {
            return ContentCoding::encodeAscii85(in.data(), size32(in), out, log);
        },
        [log = LogNull(), text = StringBuffer()](std::string_view in, DataBuffer& out) mutable {
            // The decoder reads a buffer, which is filled once.
            if (text.getSize() == 0) text.appendN(in.data(), size32(in));
            return ContentCoding::decodeAscii85(text, out, log);
        });
    bothWays(
        "eda", 2, 3,
        [](std::string_view in, StringBuffer& out) {
            return ContentCoding::encodeEda(in.data(), size32(in), out);
        },
        [](std::string_view in, DataBuffer& out) {
            return ContentCoding::decodeEda(in.data(), size32(in), out);
        });
}

const Source kSource(add);

}  // namespace
