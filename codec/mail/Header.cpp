#include "contentcoding/header.hpp"

#include <iterator>

#include "codec/mail/HeaderWriter.h"
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

std::string encode(Bytes utf8, const Encoding& options) {
    std::string value, replaced;
    mail::HeaderWriter(options, value).text(mail::wellFormedText(utf8, replaced));
    return value;
}

std::string field(std::string_view name, Bytes utf8) {
    std::string line;
    // RFC 5322, section 2.2.
    std::copy_if(name.begin(), name.end(), std::back_inserter(line),
                 [](char c) { return c > ' ' && c < 0x7F && c != ':'; });
    line.append(": ");
    line.append(encode(utf8, {.column = line.size()}));
    return line;
}

}  // namespace contentcoding::header
