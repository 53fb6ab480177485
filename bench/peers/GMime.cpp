#include <gmime/gmime.h>

#include "bench/Harness.h"
#include "bench/Inputs.h"

namespace {

using namespace bench;

using Start = void (*)(GMimeEncoding* state, GMimeContentEncoding encoding);

auto coder(Start start, GMimeContentEncoding encoding) {
    return toArray(fourTimes, [start, encoding](std::string_view in, char* out) {
        GMimeEncoding state;
        start(&state, encoding);
        return g_mime_encoding_flush(&state, in.data(), in.size(), out);
    });
}

// A text that was handed over; released before the next one.
template <class Convert>
auto toNewText(Convert convert) {
    return [convert, out = std::shared_ptr<char>()](std::string_view in) mutable {
        out.reset(convert(in.data()), g_free);
        return std::string_view(out.get());
    };
}

// The peer chooses other line breaks and escapes, which mean the same.
bool decodedEqual(std::string_view ours, std::string_view theirs) {
    const auto decode = toBytes([](std::string_view in, DataBuffer& out) {
        return ContentCoding().decodeQuotedPrintable(in.data(), size32(in), out);
    });
    auto decodeOurs = decode;
    auto decodeTheirs = decode;
    return decodeOurs(ours) == decodeTheirs(theirs);
}

// It also chooses other words and other places to end them.
bool sameHeader(std::string_view ours, std::string_view theirs) {
    const auto decoded = [](std::string_view header) {
        LogNull log;
        StringBuffer value(header);
        value.removeCharOccurances('\r');
        value.removeCharOccurances('\n');
        ContentCoding::QB_DecodeToUtf8(value, log);
        return value;
    };
    return decoded(ours).view() == decoded(theirs).view();
}

void add() {
    g_mime_init();
    const Start encode = g_mime_encoding_init_encode;
    const Start decode = g_mime_encoding_init_decode;

    theirs({"GMime (LF)", "Base64", "encode-76-columns", equalButForLineBreaks},
           coder(encode, GMIME_CONTENT_ENCODING_BASE64));
    for (const char* workload : {"decode-clean", "decode-76-columns", "decode-1%-junk"})
        theirs({"GMime", "Base64", workload}, coder(decode, GMIME_CONTENT_ENCODING_BASE64));

    for (const Prose& prose : proses()) {
        theirs({"GMime (LF)", "QuotedPrintable", "qp-encode-" + prose.name, decodedEqual},
               coder(encode, GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE));
        theirs({"GMime", "QuotedPrintable", "qp-decode-" + prose.name},
               coder(decode, GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE));
    }

    for (const char* workload :
         {"decode-B-word-utf-8", "decode-four-Q-words-utf-8", "decode-folded-B-words-utf-8",
          "decode-B-word-iso-8859-1", "decode-four-Q-words-iso-8859-1",
          "decode-folded-B-words-iso-8859-1", "decode-B-word-iso-2022-jp", "decode-B-word-koi8-r",
          "decode-plain-ascii"}) {
        for (const char* family : {"Mail", "MimeWords"})
            theirs({"GMime", family, workload}, toNewText([](const char* value) {
                       return g_mime_utils_header_decode_text(nullptr, value);
                   }));
    }
    for (const char* workload : {"B-encode-russian", "Q-encode-german"}) {
        for (const char* family : {"Mail", "MimeWords"})
            theirs({"GMime (own choice of B or Q, not folded)", family, workload, sameHeader},
                   toNewText([](const char* value) {
                       return g_mime_utils_header_encode_text(nullptr, value, "utf-8");
                   }));
    }
    for (const char* workload :
         {"charset-utf-8", "charset-ISO-8859-1", "charset-windows-1251", "charset-Shift_JIS"})
        theirs({"GMime (canonical name)", "MimeWords", workload, notComparable},
               [](std::string_view in) {
                   return std::string_view(g_mime_charset_canon_name(in.data()));
               });
}

const Source kSource(add);

}  // namespace
