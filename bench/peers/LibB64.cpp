extern "C" {
#include <b64/cdecode.h>
#include <b64/cencode.h>
}

#include "bench/Harness.h"

namespace {

using namespace bench;

int sizeOf(std::string_view in) { return static_cast<int>(in.size()); }

void add() {
    theirs({"libb64 (72 columns, LF)", "Base64", "encode-76-columns", equalButForLineBreaks},
           toArray(twice, [](std::string_view in, char* out) {
               base64_encodestate state;
               base64_init_encodestate(&state);
               const int n = base64_encode_block(in.data(), sizeOf(in), out, &state);
               return static_cast<std::size_t>(n + base64_encode_blockend(out + n, &state));
           }));
    for (const char* workload : {"decode-clean", "decode-76-columns", "decode-1%-junk"})
        theirs({"libb64", "Base64", workload}, toArray(asMuch, [](std::string_view in, char* out) {
                   base64_decodestate state;
                   base64_init_decodestate(&state);
                   return static_cast<std::size_t>(
                       base64_decode_block(in.data(), sizeOf(in), out, &state));
               }));
}

const Source kSource(add);

}  // namespace
