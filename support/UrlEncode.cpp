#include "support/Ascii.h"
#include "support/Charset.h"

using namespace contentcoding;

bool _zqUrlEncode::urlDecodeSb(StringBuffer& text) {
    const std::string_view encoded = text.view();
    StringBuffer decoded;
    if (!decoded.expectNumBytes(text.getSize())) return false;
    for (std::size_t i = 0; i < encoded.size(); ++i) {
        const auto digit = [&](std::size_t at) {
            return i + at < encoded.size() ? hexDigitValue(encoded[i + at]) : kNoHexDigit;
        };
        const bool escape = encoded[i] == '%' && digit(1) != kNoHexDigit && digit(2) != kNoHexDigit;
        decoded.appendChar(escape ? static_cast<char>(digit(1) << 4 | digit(2)) : encoded[i]);
        if (escape) i += 2;
    }
    text = std::move(decoded);
    return true;
}
