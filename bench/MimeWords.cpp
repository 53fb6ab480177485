// Header values with encoded words, both ways, and finding a charset by its name.
#include "bench/Harness.h"
#include "contentcoding/header.hpp"
#include "support/Charset.h"

namespace {

using namespace bench;

constexpr int kUtf8 = 65001;

constexpr const char* kGerman = "Änderung der Verträge über größere Mengen";
constexpr const char* kRussian = "Изменение условий договора поставки";
constexpr const char* kJapanese = "契約条件の変更についてのお知らせ";

constexpr const char* kLongGerman =
    "Die Verträge über größere Mengen sind ab März geändert: künftig zählt für jede Lieferung das "
    "Gewicht bei der Übergabe, nicht mehr das Maß vor der Abfüllung; Händler müssen dafür ihre "
    "Geräte prüfen lassen, spätestens bis Ende des übernächsten Jahres, und die Prüfung belegen "
    "können, wenn die Behörde es während der Geschäftszeit verlangt.";

constexpr const char* kLongRussian =
    "Условия поставки больших партий изменены с марта: впредь считается вес при передаче, а не "
    "объём перед разливом; торговцы обязаны проверить свои приборы до конца следующего года и "
    "предъявить свидетельство";

struct Charset {
    const char* name;
    int codePage;
};
constexpr Charset kCharsets[] = {{"utf-8", kUtf8}, {"iso-8859-1", 28591}};

StringBuffer converted(std::string_view value, int codePage) {
    LogNull log;
    StringBuffer text(value);
    text.convertEncoding(kUtf8, codePage, log);
    return text;
}

std::string bWord(std::string_view value, const Charset& charset) {
    const StringBuffer text = converted(value, charset.codePage);
    StringBuffer word;
    ContentCoding().bEncodeData2(text.getString(), text.getSize(), charset.name, word);
    return std::string(word.view());
}

std::string fourQWords(const Charset& charset) {
    std::string value;
    for (const char* piece : {"Änderung der", " Verträge", " über größere", " Mengen für März"}) {
        const StringBuffer text = converted(piece, charset.codePage);
        StringBuffer word;
        ContentCoding().qEncodeData2(text.getString(), text.getSize(), charset.name, word);
        value.append(value.empty() ? "" : " ").append(word.view());
    }
    return value;
}

bool cutsCharacter(std::string_view text, std::size_t n) {
    return n < text.size() && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80;
}

// Five words of 30 bytes or slightly less, as in folded lines that were joined. None is padded,
// because some decoders read the words of one charset as a single Base64 text.
std::string joinedBWords(const Charset& charset) {
    const auto padded = [&charset](std::string_view piece) {
        return converted(piece, charset.codePage).getSize() % 3 != 0;
    };
    std::string value;
    std::string_view rest = kLongGerman;
    for (int words = 0; words < 5; ++words) {
        std::size_t n = 30;
        while (cutsCharacter(rest, n) || padded(rest.substr(0, n)))
            --n;
        value.append(value.empty() ? "" : " ").append(bWord(rest.substr(0, n), charset));
        rest.remove_prefix(n);
    }
    return value;
}

void decode(const std::string& name, std::string value) {
    const std::size_t size = value.size();
    const auto input = [value = std::move(value)](std::size_t) { return value; };
    ours({"Mail", "decode-" + name, input, {size}},
         [text = std::string()](std::string_view in) mutable {
             text = contentcoding::header::decode(in).text;
             return std::string_view(text);
         });
    ours({"MimeWords", "decode-" + name, input, {size}},
         toText([log = LogNull()](std::string_view in, StringBuffer& out) mutable {
             return out.appendN(in.data(), size32(in)) && ContentCoding::QB_DecodeToUtf8(out, log);
         }));
}

// The first bytes of a text: whole characters, without a space at the end.
std::string start(std::string_view text, std::size_t n) {
    while (cutsCharacter(text, n) || text[n - 1] == ' ')
        --n;
    return std::string(text.substr(0, n));
}

template <class Encode>
void encode(const char* name, const char* value, Encode encode) {
    const auto input = [value](std::size_t size) { return start(value, size); };
    const std::vector<std::size_t> sizes = {33, 100, 331};
    ours({"Mail", name, input, sizes}, [text = std::string()](std::string_view in) mutable {
        text = contentcoding::header::encode(in);
        return std::string_view(text);
    });
    ours({"MimeWords", name, input, sizes}, toText(encode));
}

void add() {
    for (const Charset& charset : kCharsets) {
        const std::string in = charset.name;
        decode("B-word-" + in, bWord(kGerman, charset));
        decode("four-Q-words-" + in, fourQWords(charset));
        decode("folded-B-words-" + in, joinedBWords(charset));
    }
    decode("B-word-iso-2022-jp", bWord(kJapanese, {"iso-2022-jp", 50220}));
    decode("B-word-koi8-r", bWord(kRussian, {"koi8-r", 20866}));
    decode("plain-ascii", "Change of the terms of delivery for larger quantities in March");

    encode("B-encode-russian", kLongRussian,
           [log = LogNull()](std::string_view in, StringBuffer& out) mutable {
               return ContentCoding().bEncodeForMimeField(in.data(), size32(in), true, kUtf8,
                                                          "utf-8", out, log);
           });
    encode("Q-encode-german", kLongGerman, [](std::string_view in, StringBuffer& out) {
        return ContentCoding().qEncodeForMimeField(in.data(), size32(in), true, kUtf8, "utf-8",
                                                   out);
    });

    for (const std::string name : {"utf-8", "ISO-8859-1", "windows-1251", "Shift_JIS"})
        ours({"MimeWords", "charset-" + name, [name](std::size_t) { return name; }, {name.size()}},
             [](std::string_view in) {
                 _zqCharset charset;
                 return charset.setByName(in.data()) ? in : std::string_view();
             });
}

const Source kSource(add);

}  // namespace
