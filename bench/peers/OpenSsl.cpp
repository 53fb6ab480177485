#include <openssl/evp.h>

#include "bench/Harness.h"

namespace {

using namespace bench;

int sizeOf(std::string_view in) { return static_cast<int>(in.size()); }

// Coders with a state, which is set up for every call.
template <class Fill>
std::size_t withContext(unsigned char* out, Fill fill) {
    static EVP_ENCODE_CTX* const context = EVP_ENCODE_CTX_new();
    int written = 0;
    int rest = 0;
    fill(context, out, &written, &rest);
    return static_cast<std::size_t>(written + rest);
}

unsigned char* asBytes(char* out) { return reinterpret_cast<unsigned char*>(out); }

void add() {
    theirs(
        {"OpenSSL", "Base64", "encode-unwrapped"},
        toArray(twice, [](std::string_view in, char* out) {
            return static_cast<std::size_t>(EVP_EncodeBlock(asBytes(out), bytes(in), sizeOf(in)));
        }));
    theirs({"OpenSSL (64 columns, LF)", "Base64", "encode-76-columns", equalButForLineBreaks},
           toArray(twice, [](std::string_view in, char* to) {
               return withContext(asBytes(to), [in](auto* context, auto* out, int* n, int* rest) {
                   EVP_EncodeInit(context);
                   EVP_EncodeUpdate(context, out, n, bytes(in), sizeOf(in));
                   EVP_EncodeFinal(context, out + *n, rest);
               });
           }));
    theirs(
        {"OpenSSL", "Base64", "decode-clean"}, toArray(asMuch, [](std::string_view in, char* out) {
            return static_cast<std::size_t>(EVP_DecodeBlock(asBytes(out), bytes(in), sizeOf(in)));
        }));
    theirs({"OpenSSL", "Base64", "decode-76-columns"},
           toArray(asMuch, [](std::string_view in, char* to) {
               return withContext(asBytes(to), [in](auto* context, auto* out, int* n, int* rest) {
                   EVP_DecodeInit(context);
                   EVP_DecodeUpdate(context, out, n, bytes(in), sizeOf(in));
                   EVP_DecodeFinal(context, out + *n, rest);
               });
           }));
}

const Source kSource(add);

}  // namespace
