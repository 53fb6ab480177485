#include "contentcoding/header.hpp"

#include "codec/mail/Words.h"

namespace contentcoding::header {

Decoded decode(Bytes value, const Decoding& options) {
    Decoded decoded;
    mail::Defects defects(decoded.defects, options.limits.defects);
    std::string_view text = value.text();
    if (text.size() > options.limits.valueLength) {
        defects.add(Fault::kTooLong, options.limits.valueLength);
        text = text.substr(0, options.limits.valueLength);
    }
    const std::string_view inner = mail::trimmed(text);
    mail::TextReader reader(options, defects);
    mail::appendDecoded(inner, static_cast<std::uint64_t>(inner.data() - text.data()), reader,
                        decoded.text);
    defects.sort();
    return decoded;
}

}  // namespace contentcoding::header
