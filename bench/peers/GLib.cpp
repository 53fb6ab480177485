#include <glib.h>

#include "bench/Harness.h"

namespace {

using namespace bench;

auto encoder(bool breakLines) {
    return toArray(twice, [breakLines](std::string_view in, char* out) {
        int state = 0;
        int save = 0;
        const std::size_t n =
            g_base64_encode_step(bytes(in), in.size(), breakLines, out, &state, &save);
        return n + g_base64_encode_close(breakLines, out + n, &state, &save);
    });
}

void add() {
    theirs({"GLib", "Base64", "encode-unwrapped"}, encoder(false));
    theirs({"GLib (LF)", "Base64", "encode-76-columns", equalButForLineBreaks}, encoder(true));
    for (const char* workload : {"decode-clean", "decode-76-columns", "decode-1%-junk"})
        theirs({"GLib", "Base64", workload}, toArray(asMuch, [](std::string_view in, char* out) {
                   int state = 0;
                   unsigned int save = 0;
                   return g_base64_decode_step(
                       in.data(), in.size(), reinterpret_cast<unsigned char*>(out), &state, &save);
               }));
}

const Source kSource(add);

}  // namespace
