#include "contentcoding/header.hpp"

#include "support/charset/Utf8.h"
#include "tests/mail/MailSupport.h"

namespace {

using namespace contentcoding;
using enum Fault;

struct DecodeCase {
    std::string_view value, text;
    std::vector<Error> defects = {};
};

void expectDecoded(const DecodeCase& row, const header::Decoding& options = {}) {
    const auto decoded = header::decode(row.value, options);
    EXPECT_EQ(decoded.text, row.text) << row.value;
    EXPECT_EQ(decoded.defects, row.defects) << row.value;
}

}  // namespace

TEST(Header, DecodesSoundValues) {
    const DecodeCase rows[] = {
        {"", ""},
        {" plain text \r\n", "plain text"},
        {"folded\r\n\tline\n end\r\n", "folded\tline end"},
        // RFC 2047, section 8.
        {"(=?ISO-8859-1?Q?a?=)", "(a)"},
        {"(=?ISO-8859-1?Q?a?= b)", "(a b)"},
        {"(=?ISO-8859-1?Q?a?= =?ISO-8859-1?Q?b?=)", "(ab)"},
        {"(=?ISO-8859-1?Q?a?=  \r\n    =?ISO-8859-1?Q?b?=)", "(ab)"},
        {"(=?ISO-8859-1?Q?a_b?=)", "(a b)"},
        {"(=?ISO-8859-1?Q?a?= =?ISO-8859-2?Q?_b?=)", "(a b)"},
        {"=?ISO-8859-1?B?SWYgeW91IGNhbiByZWFkIHRoaXMgeW8=?=\r\n"
         " =?ISO-8859-2?B?dSB1bmRlcnN0YW5kIHRoZSBleGFtcGxlLg==?=",
         "If you can read this you understand the example."},
        {"=?ISO-8859-1?Q?Andr=E9?= Pirard", "André Pirard"},
        {"=?us-ascii*en?Q?a?=", "a"},  // RFC 2231, section 5
        {"=?utf-8?q?=e2=82=ac?= =?KOI8-R?b?98HT0Q==?=", "€Вася"},
        // Characters, shift states and groups that words share.
        {"=?utf-8?Q?a_=C3?=\r\n =?UTF-8?Q?=A9?=", "a é"},
        {"=?iso-2022-jp?B?GyRCJUY=?= =?iso-2022-jp?B?JTklSBsoQg==?=", "テスト"},
        {"=?utf-8?B?SGVsb?= =?utf-8?B?G8gd29?= =?utf-8?B?ybGQ=?=", "Hello world"},
        {"=?utf-8?B?SGk=IQ==?=", "Hi!"},
        // What is not a word.
        {"Is 1 =? 2", "Is 1 =? 2"},
        {"=?utf-8?Q?cut", "=?utf-8?Q?cut"},
        {"=?utf-8?Q?cut =?utf-8?Q?whole?=", "=?utf-8?Q?cut whole"},
        {"=? =?= =?a b?Q?c?= ?=", "=? =?= =?a b?Q?c?= ?="},
        // Charsets as senders mean them.
        {"=?iso-8859-1?Q?=80=93?=", "€“"},
        {"=?euc-kr?B?jGM=?=", "똠"},
        {"=?ks_c_5601-1987?B?sKE=?=", "가"},
        {"=?gb2312?B?gUA=?=", "丂"},
        {"=?gb_2312-80?B?sKE=?=", "啊"},
        {"=?shift_jis?B?h0A=?=", "①"},
        {"=?iso-8859-9?Q?=80?=", "€"},
        {"=?iso-8859-8-i?Q?=E0?=", "א"},
        {"=?mac-iceland?q?r=8Aksm=9Arg=8Cs?=", "räksmörgås"},
        // Written against the rules, and clear.
        {"a=?utf-8?Q?b?==?utf-8?Q?c?=d", "abcd"},
        {"=?utf-8?Q?two words?=", "two words"},
        {"=?utf-8?B?SGVs bG8=?=", "Hello"},
        {"=?ut\r\n f-8 ?Q\r\n ?fo\r\n lded?=", "fo lded"},
        {"=?utf-8?Q?soft=\r\n break?=", "softbreak"},
        {"\"=?utf-8?Q?M=C3=BCller?=\" <m@example.com>", "\"Müller\" <m@example.com>"},
        {"caf\xC3\xA9", "café"},
    };
    for (const DecodeCase& row : rows)
        expectDecoded(row);
}

TEST(Header, TellsDefects) {
    const DecodeCase rows[] = {
        {"caf\xE9 cr\xC3\xA8me", "café crème", {{kMalformed, 3}}},
        {"=?us-ascii?Q?=E9?=", "é", {{kMalformed, 13}}},
        {"=?utf-8?Q?a?= =?utf-8?Q?b=FF?=", "ab\uFFFD", {{kMalformed, 24}}},
        {"=?x-none?Q?=E9?=", "é", {{kUnknownCharset, 11}, {kMalformed, 11}}},
        {"=??Q?abc?=", "abc", {{kUnknownCharset, 5}}},
        {"a =?utf-8?X?abc?=", "a =?utf-8?X?abc?=", {{kUnknownEncoding, 2}}},
        {"=?utf-8?B?SGVsbG8?= =?utf-8?B?IQ==?=", "Hello!", {{kPadding, 17}}},
        {"=?utf-8?B?SGVsbG8==?=", "Hello", {{kPadding, 17}}},
        {"=?utf-8?B?SGk?= =?utf-8?Q?!?=", "Hi!", {{kPadding, 13}}},
        {"=?utf-8?B?SGkhQ?=", "Hi!", {{kCutGroup, 15}}},
        {"=?utf-8?B?SG*k=?=", "Hi", {{kForeignCharacter, 12}}},
        {"=?utf-8?Q?100=?=", "100=", {{kBadEscape, 13}}},
        {"a\r\nBcc: b", "a Bcc: b", {{kLineEnd, 1}}},
        {"=?utf-8?Q?a=0D=0ABcc:_b=00?=",
         "aBcc: b",
         {{kControl, 10}, {kControl, 10}, {kControl, 10}}},
        {"\x1B$B%F%9%H\x1B(B", "テスト", {{kMalformed, 0}}},
        {"a\x1B[0m", "a[0m", {{kControl, 1}}},
        {"=?utf-8?Q?=E2=80=AEfdp.exe?=", "fdp.exe", {{kControl, 10}}},
        {"\xC2\x9B\x7F", "", {{kControl, 0}, {kControl, 2}}},
    };
    for (const DecodeCase& row : rows)
        expectDecoded(row);
}

TEST(Header, DecodesAsAsked) {
    const std::string_view hostile = "=?utf-8?Q?a=0D=00=7F=C2=85?=";
    const std::vector<Error> four(4, {kControl, 10});
    expectDecoded({hostile, "a␍␀␡\uFFFD", four}, {.controls = header::Controls::kShow});
    expectDecoded({hostile, "a\r\0\x7F\u0085"sv, four}, {.controls = header::Controls::kKeep});
    expectDecoded({"\xD0\xD2", "пр", {{kMalformed, 0}}}, {.fallbackCharset = "koi8-r"});
    expectDecoded({"\xD0\xD2", "ÐÒ", {{kMalformed, 0}}}, {.fallbackCharset = "x-none"});
    expectDecoded(
        {"=?utf-8?Q?a?= \"\\\"=?utf-8?Q?b?=\" =?utf-8?Q?c?=", "a \"\\\"=?utf-8?Q?b?=\" c"},
        {.quotedWords = false});
    expectDecoded({"abc", "ab", {{kTooLong, 2}}}, {.limits = {.valueLength = 2}});
    expectDecoded({"=?a?Q?b?= =?a?Q?c?=", "b =?a?Q?c?=", {{kUnknownCharset, 6}, {kTooLong, 10}}},
                  {.limits = {.words = 1}});
}

TEST(Header, EncodesWhatNeedsIt) {
    using header::Context, header::Scheme;
    const struct {
        std::string_view text, value;
        header::Encoding options = {};
    } rows[] = {
        {"", ""},
        {"plain text, (as) it = is?", "plain text, (as) it = is?"},
        {"Grüße", "=?utf-8?B?R3LDvMOfZQ==?="},
        {"Grüße", "=?utf-8?Q?Gr=C3=BC=C3=9Fe?=", {.scheme = Scheme::kQ}},
        {"a_b?", "a_b?", {.scheme = Scheme::kQ}},
        // Spaces between words that are encoded are inside them.
        {"an é è and ô", "an =?utf-8?B?w6kgw6g=?= and =?utf-8?B?w7Q=?="},
        // What would be read as something else.
        {" a", "=?utf-8?Q?_a?="},
        {"a b ", "a =?utf-8?Q?b_?="},
        {"  ", "=?utf-8?Q?__?="},
        {"a =?utf-8?Q?b?= c", "a =?utf-8?B?PT91dGYtOD9RP2I/PQ==?= c"},
        {"a\r\nBcc: b\0"sv, "=?utf-8?Q?a=0D=0ABcc:_b=00?="},
        {"\xFF"
         "a",
         "=?utf-8?B?77+9YQ==?="},
        {"J. Doe & y", "=?utf-8?Q?J=2E?= Doe & y", {.context = Context::kPhrase}},
        {"a  b", "a =?utf-8?Q?_b?=", {.context = Context::kPhrase}},
        {"\"é\"<@,;:>", "=?utf-8?B?IsOpIjxALDs6Pg==?=", {.context = Context::kPhrase}},
        {"a (b) c", "a =?utf-8?B?KGIp?= c", {.context = Context::kComment}},
        // Charsets.
        {"Привет", "=?koi8-r?B?8NLJ18XU?=", {.charset = "koi8-r"}},
        {"テスト", "=?iso-2022-jp?B?GyRCJUYlOSVIGyhC?=", {.charset = "iso-2022-jp"}},
        {"é €", "=?utf-8?B?w6kg4oKs?=", {.charset = "iso-8859-1"}},
        {"é", "=?utf-8?B?w6k=?=", {.charset = "iso-8859-1\r\nBcc:"}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(header::encode(row.text, row.options), row.value) << row.text;
    }
}

TEST(Header, FoldsWithinItsLimits) {
    const struct {
        std::string text, value;
        header::Encoding options = {};
    } rows[] = {
        {std::string(40, 'a') + " " + std::string(40, 'b'),
         std::string(40, 'a') + "\r\n " + std::string(40, 'b')},
        {"word", "\n word", {.column = 75, .lineEnd = "\n"}},
        {"é", "\r\n =?utf-8?B?w6k=?=", {.column = 70}},
        // Too long for a line.
        {std::string(80, 'a'),
         "=?utf-8?Q?" + std::string(63, 'a') + "?=\r\n =?utf-8?Q?" + std::string(17, 'a') + "?="},
        {std::string(80, 'a'), std::string(80, 'a'), {.lineLength = 0}},
        // Inner B words end after a multiple of 3 bytes, and between characters.
        {"ÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀ",
         "=?utf-8?B?w4DDgMOAw4DDgMOAw4DDgMOAw4DDgMOAw4DDgMOAw4DDgMOAw4DDgMOA?=\r\n"
         " =?utf-8?B?w4DDgMOA?="},
        // A family is one character of 25 bytes, a flag one of 8. Where B could only be padded
        // inside, Q is used if it fits.
        {"👨‍👩‍👧‍👦👨‍👩‍👧‍👦",
         "=?utf-8?B?8J+RqOKAjfCfkanigI3wn5Gn4oCN8J+Rpg==?=\r\n"
         " =?utf-8?B?8J+RqOKAjfCfkanigI3wn5Gn4oCN8J+Rpg==?="},
        {"🇩🇪🇫🇷🇮🇹",
         "=?utf-8?Q?=F0=9F=87=A9=F0=9F=87=AA?=\r\n =?utf-8?B?8J+Hq/Cfh7fwn4eu8J+HuQ==?=",
         {.lineLength = 40}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(header::encode(row.text, row.options), row.value) << row.text;
        EXPECT_EQ(header::decode(row.value).text, row.text);
    }
    EXPECT_EQ(header::field("Sub\r\nject:", "é"), "Subject: =?utf-8?B?w6k=?=");
}

TEST(Header, OpensFewConverters) {
    std::string value;
    for (int page = 0; page < 2000; ++page)
        value += "=?cp" + std::to_string(page) + "?Q?=41=E9?= ";
    const auto decoded = header::decode(value);
    EXPECT_TRUE(isWellFormed(decoded.text));
    EXPECT_TRUE(decoded.text.ends_with("Aé"));
}
