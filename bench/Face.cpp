// The functions of the namespace, one format after the other: bytes into a string, and back.
#include <vector>

#include "bench/Harness.h"
#include "bench/Inputs.h"
#include "contentcoding/detail/formats.hpp"

namespace {

using namespace bench;

// Base58 takes time that grows with the square of the length.
std::vector<std::size_t> sizesFor(std::string_view format) {
    if (format == "base58") return {16, 64, 1024};
    return {16, 64, 1024, 65536, 1048576};
}

template <class Encode, class Decode>
void bothWays(const std::string& format, Encode append, Decode decode) {
    auto encoder = [append, out = std::string()](std::string_view in) mutable {
        out.clear();
        append(out, in);
        return std::string_view(out);
    };
    ours({"Face", format + "-encode", noise, sizesFor(format)}, encoder);
    ours({"Face", format + "-decode",
          [encoder](std::size_t size) mutable { return std::string(encoder(noise(size))); },
          sizesFor(format)},
         [decode, out = std::string()](std::string_view in) mutable {
             out.clear();
             return decode(out, in) ? std::string_view(out) : std::string_view();
         });
}

#define CONTENTCODING_BENCH(name)                                                            \
    bothWays(                                                                                \
        #name,                                                                               \
        [](std::string& out, std::string_view in) { contentcoding::name::append(out, in); }, \
        [](std::string& out, std::string_view in) {                                          \
            return contentcoding::name::decodeAppend(out, in).has_value();                   \
        });

void add() { CONTENTCODING_FORMATS(CONTENTCODING_BENCH) }

const Source kSource(add);

}  // namespace
