// Base64 both ways, unwrapped and in lines of 76 characters, and the tests for it.
#include "bench/Harness.h"
#include "bench/Inputs.h"

namespace {

using namespace bench;

constexpr std::size_t kLineChars = 76;
constexpr std::size_t kLineBytes = kLineChars / 4 * 3;

// Text of `size` characters at most: whole quanta or, with CRLF, whole lines if one fits.
std::string unwrapped(std::size_t size) {
    StringBuffer text;
    // A text that is missing ends the run: nothing comes out of it.
    (void)ContentCoding::encodeBase64_noCrLf(noise(size).data(),
                                             static_cast<unsigned int>(size / 4 * 3), text);
    return std::string(text.view());
}

std::string wrapped(std::size_t size) {
    const std::size_t lines = size / (kLineChars + 2);
    if (lines == 0) return unwrapped(size - 4) + "\r\n";
    StringBuffer text;
    // As above.
    (void)ContentCoding().encodeBase64(noise(size).data(),
                                       static_cast<unsigned int>(lines * kLineBytes), text);
    return std::string(text.view());
}

// On average one character in a hundred is not a digit; the middle one never is.
std::string withJunk(std::size_t size) {
    constexpr std::string_view kJunk = "!\"#$%&'(),. ~\t";
    Noise random;
    std::string text;
    const std::string digits = unwrapped(size * 98 / 100);
    for (std::size_t i = 0; i < digits.size(); ++i) {
        if (random.below(100) == 0 || i == digits.size() / 2)
            text += kJunk[random.below(kJunk.size())];
        text += digits[i];
    }
    return text;
}

std::string_view answer(bool yes) { return yes ? "yes" : std::string_view(); }

void decode(const char* name, MakeInput input) {
    ours({"Base64", name, std::move(input)}, toBytes([](std::string_view in, DataBuffer& out) {
             return ContentCoding::decodeBase64ToDb(in.data(), size32(in), out);
         }));
}

void add() {
    ours({"Base64", "encode-unwrapped", noise}, toText([](std::string_view in, StringBuffer& out) {
             return ContentCoding::encodeBase64_noCrLf(in.data(), size32(in), out);
         }));
    ours({"Base64", "encode-url-safe", noise}, toText([](std::string_view in, StringBuffer& out) {
             return ContentCoding::encodeModBase64_noCrLf(in.data(), size32(in), out);
         }));
    ours({"Base64", "encode-76-columns", noise}, toText([](std::string_view in, StringBuffer& out) {
             return ContentCoding().encodeBase64(in.data(), size32(in), out);
         }));
    decode("decode-clean", unwrapped);
    decode("decode-76-columns", wrapped);
    decode("decode-1%-junk", withJunk);
    ours({"Base64", "isBase64", wrapped}, [log = LogNull()](std::string_view in) mutable {
        return answer(ContentCoding().isBase64(in.data(), size32(in), log));
    });
    ours({"Base64", "validateBase64", wrapped}, [](std::string_view in) {
        return answer(ContentCoding().validateBase64(in.data(), size32(in)));
    });
}

const Source kSource(add);

}  // namespace
