#include <crypto++/base32.h>
#include <crypto++/base64.h>
#include <crypto++/filters.h>

#include "bench/Harness.h"

namespace {

using namespace bench;
using CryptoPP::byte;

constexpr const char* kUrlSafe = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
constexpr const char* kBase32 = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";

const byte* asBytes(const char* text) { return reinterpret_cast<const byte*>(text); }

// The values of an alphabet's characters, for a decoder.
const int* valuesOf(const char* alphabet, unsigned int bits) {
    static int values[256];
    CryptoPP::BaseN_Decoder::InitializeDecodingLookupArray(values, asBytes(alphabet), 1u << bits,
                                                           false);
    return values;
}

// A coder is set up once, by `make`.
template <class Make>
auto coder(Make make) {
    return [make, filter = std::shared_ptr<CryptoPP::Filter>(),
            out = std::vector<byte>()](std::string_view in) mutable {
        if (!filter) filter = make();
        out.resize(twice(in.size()));
        auto* const sink = new CryptoPP::ArraySink(out.data(), out.size());
        filter->Detach(sink);  // takes ownership
        filter->Put2(asBytes(in.data()), in.size(), -1, true);
        return text(out.data(), static_cast<std::size_t>(sink->TotalPutLength()));
    };
}

auto encoder(const char* alphabet, int bits) {
    return coder([alphabet, bits] {
        return std::make_shared<CryptoPP::BaseN_Encoder>(asBytes(alphabet), bits, nullptr, '=');
    });
}

void add() {
    theirs({"Crypto++", "Base64", "encode-unwrapped"},
           coder([] { return std::make_shared<CryptoPP::Base64Encoder>(nullptr, false); }));
    theirs({"Crypto++", "Base64", "encode-url-safe"}, encoder(kUrlSafe, 6));
    theirs({"Crypto++ (LF)", "Base64", "encode-76-columns", equalButForLineBreaks},
           coder([] { return std::make_shared<CryptoPP::Base64Encoder>(nullptr, true, 76); }));
    for (const char* workload : {"decode-clean", "decode-76-columns", "decode-1%-junk"})
        theirs({"Crypto++", "Base64", workload},
               coder([] { return std::make_shared<CryptoPP::Base64Decoder>(); }));
    theirs({"Crypto++", "Radix", "base32-encode"}, encoder(kBase32, 5));
    theirs({"Crypto++", "Radix", "base32-decode"}, coder([] {
               return std::make_shared<CryptoPP::BaseN_Decoder>(valuesOf(kBase32, 5), 5);
           }));
}

const Source kSource(add);

}  // namespace
