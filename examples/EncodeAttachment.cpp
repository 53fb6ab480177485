// Writes the body of a MIME part to standard output in Base64, without holding the encoded text in
// memory, and decodes a short text.
#include <cstdio>
#include <string>

#include "codec/ContentCoding.h"

int main() {
    constexpr unsigned int kBytes = 10000;
    const std::string attachment(kBytes, '\xA5');
    ContentCoding codec;
    contentcoding::CallableOutput body(
        [](const char* block, unsigned int n) { return std::fwrite(block, 1, n, stdout) == n; });
    _zqIoParams ioParams;
    LogText log;
    if (!codec.encodeBase64ToOutput(attachment.data(), kBytes, body, ioParams, log)) {
        std::fputs(log.text().getString(), stderr);
        return 1;
    }

    DataBuffer greeting;
    if (!ContentCoding::decodeBase64ToDb("SGVsbG8=", 8, greeting)) return 1;
    std::printf("%.*s\n", static_cast<int>(greeting.getSize()), greeting.getData2());
    return greeting.getSize() == 5 ? 0 : 1;
}
