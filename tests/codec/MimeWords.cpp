#include <regex>
#include <utility>

#include "tests/TestSupport.h"

namespace {

using Row = std::pair<std::string, std::string>;

const ContentCoding kCodec;

std::string taken(char* array, unsigned int n) {
    const std::unique_ptr<char[]> owner(array);
    if (!array) return "null" + std::to_string(n);
    EXPECT_EQ(array[n], '\0');
    return {array, n};
}

using Encode = char* (ContentCoding::*)(const void*, unsigned int, unsigned int*) const;

std::string raw(Encode encode, std::string_view bytes) {
    unsigned int n = 99;
    char* const array = (kCodec.*encode)(ExactCopy(bytes).get(), size32(bytes), &n);
    return taken(array, n);
}

using Build = bool (ContentCoding::*)(const void*, unsigned int, const char*, StringBuffer&) const;

std::string word(Build build, std::string_view bytes, const char* charset, bool commas = false) {
    ContentCoding codec;
    codec.m_qEncodeCommaToo = commas;
    StringBuffer out;
    EXPECT_TRUE((codec.*build)(ExactCopy(bytes).get(), size32(bytes), charset, out));
    return str(out);
}

std::string encodeB(std::string_view value, bool fold = true, int codePage = 65001,
                    const char* charset = "utf-8") {
    StringBuffer out;
    LogText log;
    EXPECT_TRUE(kCodec.bEncodeForMimeField(ExactCopy(value).get(), size32(value), fold, codePage,
                                           charset, out, log));
    return str(out) + str(log.text());
}

std::string encodeQ(std::string_view value, bool fold = true, int codePage = 65001,
                    const char* charset = "utf-8") {
    StringBuffer out;
    EXPECT_TRUE(kCodec.qEncodeForMimeField(ExactCopy(value).get(), size32(value), fold, codePage,
                                           charset, out));
    return str(out);
}

std::string decodeQ(std::string_view text) {
    unsigned int n = 0;
    auto* const bytes = ContentCoding::Q_Decode(ExactCopy(text).get(), size32(text), &n);
    return taken(reinterpret_cast<char*>(bytes), n);
}

std::string decodeBytes(std::string_view value) {
    StringBuffer text(value);
    DataBuffer out;
    EXPECT_TRUE(ContentCoding::QB_Decode(text, out));
    EXPECT_EQ(text.view(), value);
    return str(out);
}

std::string decodeText(std::string_view value, LogBase& log) {
    StringBuffer text(value);
    EXPECT_TRUE(ContentCoding::QB_DecodeToUtf8(text, log));
    return str(text);
}

std::string decodeText(std::string_view value) {
    LogNull log;
    return decodeText(value, log);
}

// The words by a pattern, for values whose words are Q-encoded ASCII.
std::string referenceDecode(std::string value) {
    static const std::regex word(R"(=\?[^?]*\?.\?(.*?)\?=)");
    const auto textual = [](const std::string& text) {
        return text.find_first_not_of(' ') == std::string::npos ? "" : text;
    };
    std::string text;
    for (;;) {
        const std::size_t start = value.find("=?");
        text += textual(value.substr(0, start));
        if (start == std::string::npos) return text;
        value.erase(0, start);
        std::smatch match;
        if (!std::regex_search(value, match, word, std::regex_constants::match_continuous))
            return text;
        const std::string encoded = match[1];
        if (!encoded.empty()) text += decodeQ(encoded);
        value = match.suffix();
    }
}

}  // namespace

TEST(MimeWords, RawEncoders) {
    for (const auto& [bytes, text] :
         {Row{"\0"s, "AA=="}, {"abc", "YWJj"}, {"ab", "YWI="}, {"", "null0"}})
        EXPECT_EQ(raw(&ContentCoding::B_Encode, bytes), text);
    for (const auto& [bytes, text] : {Row{" _=?\t\r\n\xE9\x7F", "_=5F=3D=3F=09=0D=0A=E9=7F"},
                                      {"a,b:c(x)<y>;", "a,b:c(x)<y>;"},
                                      {"", "null0"},
                                      {x(2001, "\xFF"), x(2001, "=FF")}})
        EXPECT_EQ(raw(&ContentCoding::Q_Encode, bytes), text);
    EXPECT_EQ(raw(&ContentCoding::Q_EncodeCommaToo, "a,b:c d"), "a=2Cb=3Ac_d");
    for (const Encode encode :
         {&ContentCoding::B_Encode, &ContentCoding::Q_Encode, &ContentCoding::Q_EncodeCommaToo}) {
        unsigned int n = 7;
        EXPECT_EQ((kCodec.*encode)("x", 1, nullptr), nullptr);
        EXPECT_EQ((kCodec.*encode)(nullptr, 1, &n), nullptr);
        EXPECT_EQ(n, 0u);
    }
    unsigned int n = 7;
    EXPECT_EQ(kCodec.B_Encode(ZeroPages().get(), 858993460, &n), nullptr);
    EXPECT_EQ(n, 0u);
}

TEST(MimeWords, EveryByteIsQEncodedForItself) {
    for (unsigned int b = 0; b < 256; ++b) {
        const std::string one(1, static_cast<char>(b));
        const bool kept = b > 32 && b < 127 && "=?_"sv.find(one[0]) == std::string_view::npos;
        char escape[4];
        std::snprintf(escape, sizeof escape, "=%02X", b);
        EXPECT_EQ(raw(&ContentCoding::Q_Encode, one), kept ? one : b == ' ' ? "_" : escape);
        const bool dropped = b < 32 || b == '?' || (b > 126 && b < 0xA0);
        EXPECT_EQ(decodeQ(one), b == '_' ? " " : dropped ? "" : one) << b;
        EXPECT_EQ(decodeQ(escape), one);
    }
}

TEST(MimeWords, Builders) {
    constexpr auto kB = &ContentCoding::bEncodeData2, kQ = &ContentCoding::qEncodeData2,
                   kEither = &ContentCoding::qbEncodeData;
    EXPECT_EQ(word(kQ, "Hello World", nullptr), "=?utf-8?Q?Hello_World?=");
    EXPECT_EQ(word(kQ, "Hello World", ""), "=?utf-8?Q?Hello_World?=");
    EXPECT_EQ(word(kQ, "a,b", "ISO-8859-1"), "=?ISO-8859-1?Q?a,b?=");
    EXPECT_EQ(word(kQ, "a,b", "utf-8", true), "=?utf-8?Q?a=2Cb?=");
    EXPECT_EQ(word(kB, "abc", "Shift_JIS"), "=?Shift_JIS?B?YWJj?=");
    EXPECT_EQ(word(kB, "abc", ""), "=??B?YWJj?=");
    EXPECT_EQ(word(kB, "abc", nullptr), "");
    for (const auto* const charset :
         {"SHIFT_JIS",   "shift-jis",    "windows-31j", "iso-2022-jp",  "euc-jp",  "euc-kr",
          "iso-2022-kr", "GB2312",       "gbk",         "hz-gb-2312",   "euc-cn",  "cp-936",
          "euc-tw",      "Big5",         "cp-950",      "cp-932",       "tis-620", "windows-874",
          "iso-8859-9",  "windows-1254", "iso-8859-6",  "windows-1256", "CP-1256"})
        EXPECT_EQ(word(kEither, "abc", charset), "=?"s + charset + "?B?YWJj?=");
    for (const auto* const charset : {"utf-8", "iso-8859-1", "cp936", "gb18030"})
        EXPECT_EQ(word(kEither, "abc", charset), "=?"s + charset + "?Q?abc?=");
    EXPECT_EQ(word(kEither, "abc", nullptr), "=?utf-8?Q?abc?=");
    for (const std::string& encoded : {"=?utf-8?Q?abc?="s, "what?b?c"s, x(97) + "?q?"s})
        EXPECT_EQ(word(kEither, encoded, "big5"), encoded);
    for (const std::string& plain :
         {x(120) + "?B?" + x(27), x(98) + "?B?", "a\0?B?"s, "?B"s, "?x?"s})
        EXPECT_EQ(word(kEither, plain, "big5").substr(0, 10),
                  "=?big5?B?" + word(kB, plain, "").substr(5, 1));
    StringBuffer out;
    for (const Build build : {kB, kQ, kEither})
        EXPECT_TRUE((kCodec.*build)(nullptr, 5, "big5", out) &&
                    (kCodec.*build)("x", 0, "big5", out));
    EXPECT_EQ(out.getSize(), 0u);
}

TEST(MimeWords, PlainValuesStayPlain) {
    for (const std::string& value : {"Hello world"s, "   "s, " \t"s, " x"s, x(900), "a[$\x1B"s}) {
        EXPECT_EQ(encodeB(value), value);
    }
    EXPECT_EQ(encodeB("Hello\r\nworld"), "=?utf-8?B?SGVsbG8NCndvcmxk?=");
    EXPECT_EQ(encodeB("a\nb", true, 0, "iso-8859-1"), "=?utf-8?B?YQpi?=");
    EXPECT_EQ(encodeB("a\nb", true, 28591, "iso-8859-1"), "=?iso-8859-1?B?YQpi?=");
    EXPECT_EQ(encodeB("a\nb", true, 28591, nullptr), "=?utf-8?B?YQpi?=");
    EXPECT_EQ(encodeB(x(2000) + "\r\n", true, 50220, "iso-2022-jp"), x(2000) + "\r\n");
    for (const auto codePage : {50220, 50225}) {
        for (const auto* const byte : {"[", "$", "\x1B", "\x80"})
            EXPECT_EQ(encodeB("a"s + byte, false, codePage, "iso-2022-jp").substr(0, 16),
                      "=?iso-2022-jp?B?");
    }
    EXPECT_EQ(encodeB("a[", false, 50226, "x"), "a[");
    EXPECT_EQ(encodeQ("Hello world"), "=?utf-8?Q?Hello_world?=");
    EXPECT_EQ(encodeQ(" \t "), " \t ");
    StringBuffer out;
    LogNull log;
    EXPECT_TRUE(kCodec.bEncodeForMimeField(nullptr, 5, true, 0, "x", out, log));
    EXPECT_TRUE(kCodec.qEncodeForMimeField("x", 0, true, 0, "x", out));
    EXPECT_EQ(out.getSize(), 0u);
}

TEST(MimeWords, LongValuesAreFolded) {
    constexpr auto kBreak = "\r\n ";
    const auto b = [](const std::string& piece) {
        return word(&ContentCoding::bEncodeData2, piece, "utf-8");
    };
    const auto q = [](const std::string& piece) {
        return word(&ContentCoding::qEncodeData2, piece, "utf-8");
    };
    const std::string e = "\xC3\xA9", smile = "\xF0\x9F\x99\x82";
    for (const std::size_t n : {59u, 60u, 61u, 62u}) {  // bytes
        const std::string value = e + x(n - 2);
        EXPECT_EQ(encodeB(value), b(value)) << n;
        const std::string rest = n > 60 ? kBreak + q(value.substr(51)) : "";
        EXPECT_EQ(encodeQ(value), n > 60 ? q(value.substr(0, 51)) + rest : q(value)) << n;
        EXPECT_EQ(encodeQ(value, false), q(value)) << n;
    }
    EXPECT_EQ(encodeB(x(70) + e), b(x(70) + e));
    EXPECT_EQ(encodeB(x(71) + e), b(x(71) + e));
    EXPECT_EQ(encodeB(x(72) + e), b(x(72)) + kBreak + "=?utf-8?B?w6k=?=");
    EXPECT_EQ(encodeB(x(72) + e, false), b(x(72) + e));
    EXPECT_EQ(encodeB(x(71) + smile + x(72) + "\r\n"),
              b(x(71) + smile) + kBreak + b(x(72)) + kBreak + b("\r\n"));
    std::string letters;
    for (int i = 0; i < 12; ++i)
        letters += b(x(72)) + kBreak;
    EXPECT_EQ(encodeB(x(901)), letters + b(x(37)));
    EXPECT_EQ(encodeQ(x(120)), q(x(50)) + kBreak + q(x(50)) + kBreak + q(x(20)));
    // A pair that would be cut moves to the next word.
    EXPECT_EQ(encodeQ(x(49) + smile + x(49)),
              q(x(49)) + kBreak + q(smile + x(48)) + kBreak + q("A"));
    EXPECT_EQ(encodeQ(x(48) + smile + x(20)), q(x(48) + smile) + kBreak + q(x(20)));
    EXPECT_EQ(encodeQ(x(80), true, 99999, "none"), "");  // cannot be converted
    // The decoder takes unfolded values: to it the break is text.
    EXPECT_EQ(decodeText(encodeQ(x(70, e))), x(50, e) + kBreak + x(20, e));
    // Every word of a stateful charset stands by itself.
    const std::string kanji = "\x1B$B" + x(73, "\x30\x21") + "\x1B(B";
    EXPECT_EQ(
        encodeB(kanji, true, 50220, "iso-2022-jp"),
        word(&ContentCoding::bEncodeData2, "\x1B$B" + x(72, "\x30\x21") + "\x1B(B", "iso-2022-jp") +
            kBreak + word(&ContentCoding::bEncodeData2, "\x1B$B\x30\x21\x1B(B", "iso-2022-jp"));
}

TEST(MimeWords, ScansHeaderValues) {
    struct {
        std::string value, bytes, text;
    } const rows[] = {
        {"=?utf-8?Q?a?= \t=?utf-8?Q?b?=", "ab", "ab"},
        {"=?utf-8?Q?Hello?= world", "Helloworld", "Hello world"},
        {"one =?utf-8?Q?two?=  three =?utf-8?Q?four?= ", "one twothree four",
         "one two  three four"},
        {"  plain text", "plain text", "  plain text"},
        {" \t ", "", ""},
        {"", "", ""},
        {"=?utf-8?Q?a_b=3Dc?=", "a b=c", "a b=c"},
        {"=?utf-8?Q?50=?=", "50=", "50="},
        {"=?utf-8?q?=e9=C3=a9?=", "\xE9\xC3\xA9", "\xE9\xC3\xA9"},
        {"=?UTF-8?B?SGVsbG8=?=|=?x?b?SGVsbG8?=", "Hello|Hello", "Hello|Hello"},
        {"=?utf-8?X?abc?=", "abc", "abc"},
        {"=?iso-8859-1?Q?caf=E9?=", "caf\xE9", "caf\xC3\xA9"},
        {"=?iso-8859-1*en?Q?caf=E9?=", "caf\xE9", "caf\xC3\xA9"},
        {"=?8bit?Q?=C3=A9?=", "\xC3\xA9", "\xC3\xA9"},
        {"=?utf-8?Q?a=00b?=", "a\0b"s, "ab"},
        {"=?no-such-thing?Q?=E9=00b?=", "\xE9\0b"s,
         "\xE9"
         "b"},
        {"=??Q?abc?=", "abc", "abc"},
        {"=?utf-8?B?=FF?=", "", ""},
        {"=?utf-8?Q?\?=a", "a", "a"},
        {"x =?broken", "x ", "x "},
        {"=?utf-8?Q?abc", "", ""},
        {"=?utf-8?QQ?abc?=", "", ""},
        {"=?utf-8?Q?", "", ""},
        {"=?utf-8??Q?abc?=", "", ""},
        {"a\r\n =?utf-8?Q?b?=", "a\r\n b", "a\r\n b"},
        {"a\0=?utf-8?Q?b?="s, "a", "a"},
        {"=?utf-8?Q?a\0?="s, "", ""},
        {"=?iso-2022-jp?B?GyRCMCEbKEI=?=", "\x1B$B\x30\x21\x1B(B", "\xE4\xBA\x9C"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(decodeBytes(row.value), row.bytes) << row.value;
        EXPECT_EQ(decodeText(row.value), row.text) << row.value;
    }
}

// A cut value gives what its complete words give: the rest is dropped, or is plain text.
TEST(MimeWords, MayBeCutAnywhere) {
    const std::string words = "=?utf-8?Q?a=C3=A9?= =?iso-8859-1?B?6ek=?= =?8bit?x?c?=",
                      e = "\xC3\xA9";
    for (std::size_t n = 0; n < words.size(); ++n) {
        const std::string cut = words.substr(0, n);
        const std::string complete = (n < 19 ? "" : "a" + e) + (n < 41 ? "" : e + e);
        // One "=" more, after the blank that then belongs to the text.
        const std::string tail = n == 1 ? "=" : n == 21 || n == 43 ? " =" : "";
        EXPECT_EQ(decodeText(cut), complete + tail) << cut;
    }
    forEachString("=?Q a", 8, [](const std::string& value) {
        ASSERT_EQ(decodeText(value), referenceDecode(value)) << value;
    });
}

TEST(MimeWords, QDecoding) {
    for (const auto& [text, bytes] : {Row{"=4", "=4"},
                                      {"=41", "A"},
                                      {"a\tb?c", "abc"},
                                      {"\x85\xE9", "\xE9"},
                                      {"==41=", "=A="},
                                      {"=4g=g4", "=4g=g4"},
                                      {"=\xB4\xB1", "=\xB4\xB1"}})
        EXPECT_EQ(decodeQ(text), bytes);
    unsigned int n = 7;
    EXPECT_EQ(taken(reinterpret_cast<char*>(ContentCoding::Q_Decode("a_b", 0, &n)), 3), "a b");
    EXPECT_EQ(n, 3u);
    n = 7;
    EXPECT_EQ(ContentCoding::Q_Decode("", 0, &n), nullptr);
    EXPECT_EQ(ContentCoding::Q_Decode(nullptr, 5, &n), nullptr);
    EXPECT_EQ(n, 7u);
    const std::unique_ptr<unsigned char[]> bytes(ContentCoding::Q_Decode("x", 1, nullptr));
    EXPECT_NE(bytes, nullptr);
}

TEST(MimeWords, DecodingTellsWhatWentWrong) {
    LogText log;
    EXPECT_EQ(decodeText("=?us-ascii?Q?a=E9?=", log), "a\xEF\xBF\xBD");
    EXPECT_NE(
        str(log.text()).find("Errors in decoding from the specified charset.\ncharset: us-ascii\n"),
        std::string::npos);
    log.clear();
    decodeText("=?nope?Q?a?=", log);
    EXPECT_EQ(str(log.text()), "");
    log.m_verboseLogging = true;
    decodeText("=?nope?Q?a?= =?none?b?YQ?=", log);
    EXPECT_EQ(str(log.text()),
              "QB_DecodeToUtf8_input: =?nope?Q?a?= =?none?b?YQ?=\n"
              "invalidQCharset: nope\ninvalidBCharset: none\n"
              "QB_DecodeToUtf8_output: aa\n");
}

TEST(MimeWords, ParameterValues) {
    struct {
        std::string value;
        const char* defaultCharset;
        std::string text, charset;
    } const rows[] = {
        {"ISO-8859-1''caf%E9", nullptr, "caf\xC3\xA9", "iso-8859-1"},
        {"utf-8''%e2%82%ac", "iso-8859-1", "\xE2\x82\xAC", "utf-8"},
        {"nope''a%E9", "iso-8859-1", "a\xE9", "nope"},
        {"''a%E9", "iso-8859-1", "a\xE9", ""},
        {"utf-8'en'x%20y", nullptr, "utf-8'en'x y", ""},
        {"caf%E9", "iso-8859-1", "caf\xC3\xA9", ""},
        {"caf\xE9", "iso-8859-1", "caf\xC3\xA9", ""},
        {"caf%E9", "nope", "caf\xE9", ""},
        {"caf%E9", "", "caf\xE9", ""},
        {"a+b%2", nullptr, "a+b%2", ""},
        {"utf-8''a''b%00c", nullptr, "a''b\0c"s, "utf-8"},
        {"a'b''c", nullptr, "c", "a"},
        {"x\0utf-8''c"s, nullptr, "", "x\0utf-8"s},
        {"", nullptr, "", ""},
    };
    for (const auto& row : rows) {
        StringBuffer value(row.value), decoded("held "), charset("old");
        LogNull log;
        EXPECT_TRUE(
            ContentCoding::decodeStarEncoded(value, row.defaultCharset, decoded, charset, log));
        EXPECT_EQ(str(decoded), "held " + row.text) << row.value;
        EXPECT_EQ(str(charset), row.charset);
        EXPECT_EQ(str(value), row.value);
    }
    LogText log;
    StringBuffer value("us-ascii''%E9"), decoded, charset;
    EXPECT_TRUE(ContentCoding::decodeStarEncoded(value, nullptr, decoded, charset, log));
    EXPECT_EQ(log.text().view().substr(0, 19), "decodeStarEncoded:\n");
}

TEST(MimeWords, HostileValuesTakeLinearTime) {
    for (const auto* const unit :
         {"=?", "=?a?Q?", "=?*", "?=", "=?x?y?", "=?a?b?c?=", "?Q?", "%", "'"}) {
        const std::string value = x((1 << 20) / std::strlen(unit), unit);
        EXPECT_LE(decodeBytes(value).size(), value.size());
        EXPECT_LE(decodeText(value).size(), value.size());
        StringBuffer text(value), decoded, charset;
        LogNull log;
        EXPECT_TRUE(ContentCoding::decodeStarEncoded(text, nullptr, decoded, charset, log));
        EXPECT_LE(decoded.getSize(), value.size());
    }
}
