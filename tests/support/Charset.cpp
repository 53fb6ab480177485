#include "support/Charset.h"

#include <unicode/ucnv.h>

#include <fstream>

#include "tests/TestSupport.h"

namespace {

constexpr int kUtf8 = 65001, kUtf16 = 1200, kUtf32 = 12000;

struct Result {
    bool ok;
    std::string text, log;
    bool operator==(const Result&) const = default;
};

template <class Source>
Result convert(Source source, int target, std::string_view bytes) {
    const ExactCopy copy(bytes);
    const auto* data = reinterpret_cast<const unsigned char*>(copy.get());
    DataBuffer out;
    LogText log;
    bool ok = false;
    EncodingConvert converter;
    if constexpr (std::is_same_v<Source, int>) {
        ok = converter.EncConvert(source, target, data, size32(bytes), out, log);
    } else {
        StringBuffer name{std::string_view(source)};
        ok = converter.ChConvert2(name, target, data, size32(bytes), out, log);
        EXPECT_EQ(name.view(), source);
    }
    return {ok, str(out), str(log.text())};
}

int codePageOf(const char* name) {
    _zqCharset charset;
    StringBuffer buffer{std::string_view(name)};
    EXPECT_EQ(charset.setByName(name), CharsetNaming::CharsetValid(buffer)) << name;
    EXPECT_EQ(buffer.view(), name);
    return charset.getCodePage();
}

bool isValid(std::string_view name) {
    StringBuffer buffer(name);
    return CharsetNaming::CharsetValid(buffer);
}

std::string fromHex(const std::string& hex) {
    DataBuffer bytes;
    EXPECT_TRUE(StringBuffer::hexStringToBinary2(hex.data(), size32(hex), bytes));
    return str(bytes);
}

// Where the log says that the first fault is; -1 when it says nothing.
long faultOf(const Result& result) {
    const auto at = result.log.find("offset ");
    return at == std::string::npos ? -1 : std::stol(result.log.substr(at + 7));
}

}  // namespace

TEST(Charset, KnowsNamesInEverySpelling) {
    const std::pair<int, std::vector<const char*>> names[] = {
        {932, {"shift_jis", "Shift-JIS", "shiftjis", "Windows-31J", "cp-932", "CP932", "sjis"}},
        {936, {"gbk", "cp-936", "CP936", "windows-936", "MS936"}},
        {949, {"ks_c_5601-1987", "cp949", "windows949"}},
        {950, {"big5", "BIG-5", "cp-950"}},
        {874, {"tis-620", "TIS620", "windows-874", "cp874"}},
        {1254, {"windows-1254", "Windows1254", "cp1254"}},
        {1256, {"windows-1256", "cp-1256", "cp1256", " \tCP1256 "}},
        {28596, {"iso-8859-6", "ISO_8859-6:1987", "iso88596", "ISO-8859-6-I", "arabic"}},
        {28599, {"iso-8859-9", "ISO8859-9", "latin5", "windows-28599"}},
        {28591, {"iso-8859-1*en", "iso-8859-1 *", "l1", "cp819", "ISO_8859-1"}},
        {28606, {"iso-8859-16", "latin10"}},
        {50220, {"iso-2022-jp", "ISO2022JP"}},
        {50221, {"csISO2022JP", "cp50221"}},
        {50225, {"iso-2022-kr", "csISO2022KR"}},
        {51932, {"euc-jp", "eucjp", "x-euc-jp", "ujis"}},
        {51936, {"gb2312", "GB-2312", "euc-cn", "EUC_CN"}},
        {51949, {"euc-kr", "euckr"}},
        {51950, {"euc-tw", "EUCTW"}},
        {52936, {"hz-gb-2312", "HZ-GB2312", "hz"}},
        {54936, {"gb18030", "GB-18030"}},
        {20127, {"us-ascii", "ASCII", "ANSI_X3.4-1968"}},
        {20866, {"koi8-r", "KOI8R"}},
        {37, {"ibm037", "cp037", "cp37"}},
        {850, {"IBM850", "cp850", "850"}},
        {858, {"IBM00858", "cp858", "PC-Multilingual-850+euro"}},
        {10000, {"macintosh", "x-mac-roman", "cp10000"}},
        {65000, {"utf-7", "unicode-1-1-utf-7"}},
        {65001, {"utf-8", "UTF8", "utf_8", "cp65001"}},
        {1200, {"utf-16", "utf-16le", "ucs-2", "cp1200"}},
        {1201, {"utf-16be", "cp1201"}},
        {12000, {"utf-32", "UTF32LE"}},
        {12001, {"utf-32be"}},
    };
    for (const auto& [codePage, spellings] : names) {
        for (const char* name : spellings)
            EXPECT_EQ(codePageOf(name), codePage) << name;
    }
    for (const auto& known : contentcoding::knownCharsets())
        EXPECT_EQ(codePageOf(known.name), known.codePage);
    EXPECT_EQ(contentcoding::knownCharsets().size(), 101u);
}

TEST(Charset, KnowsWhatTheLibraryKnowsAndNothingElse) {
    for (const char* name : {"Big5-HKSCS", "ISO-2022-CN", "CESU-8", "ibm-1364"})
        EXPECT_TRUE(isValid(name) && codePageOf(name) == 0) << name;
    for (const std::string& name :
         {""s, " \t"s, "*en"s, "-"s, "x-unknown"s, "utf-8\0"s, "utf-8,version=1"s, "gb 2312"s,
          "ibm-37,swaplfnl"s, "../utf-8"s, "utf-8\xC3\xA9"s, "cp"s, "cp1"s,
          "cp99999999999999999999"s, "cp65001x"s, std::string(60, 'a'), std::string(10000, '0'),
          noise(10000)})
        EXPECT_FALSE(isValid(name)) << name.substr(0, 60);
    _zqCharset charset;
    EXPECT_TRUE(charset.setByName("koi8-r"));
    EXPECT_FALSE(charset.setByName(nullptr));
    EXPECT_EQ(charset.getCodePage(), 0);
    EXPECT_EQ(convert("cesu-8", kUtf8, "\xED\xA0\x80\xED\xB0\x80"),
              (Result{true, "\xF0\x90\x80\x80", ""}));
}

TEST(Charset, AgreesWithVectors) {
    std::ifstream file(TESTS_DATA_DIR "/charsets/vectors.txt");
    std::string name, bytes, utf8;
    int lines = 0;
    for (; file >> name >> bytes >> utf8; ++lines) {
        const int codePage = codePageOf(name.c_str());
        EXPECT_EQ(convert(codePage, kUtf8, fromHex(bytes)), (Result{true, fromHex(utf8), ""}))
            << name;
        EXPECT_EQ(convert(name, kUtf16, fromHex(bytes)), convert(kUtf8, kUtf16, fromHex(utf8)))
            << name;
        EXPECT_EQ(convert(kUtf8, codePage, fromHex(utf8)), (Result{true, fromHex(bytes), ""}))
            << name;
    }
    EXPECT_EQ(lines, 95);
}

TEST(Charset, ReplacesEveryIllFormedPart) {
    const struct {
        int codePage;
        std::string bytes, text;  // "?" stands for U+FFFD
        long fault;
    } cases[] = {
        {kUtf8, "\xF0\x80\x80\x41", "???A", 0},
        {kUtf8, "\xE2\x82\x41", "?A", 0},
        {kUtf8, "a\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41", "a????????A", 1},
        {kUtf8, "\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41", "????????A", 0},
        {kUtf8, "\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42", "?????A??B", 0},
        {kUtf8, "\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", "????A", 0},
        {kUtf8, "ab\xF0\x90\x80", "ab?", 2},
        {kUtf16,
         "a\0\0\xDC"
         "b\0\0\xD8"
         "c\0"s,
         "a?b?c", 2},
        {kUtf16, "\0\xD8\0\xD8"s, "??", 0},
        {kUtf16,
         "a\0\0\xD8"
         "b"s,
         "a?", 2},
        {kUtf16, "a\0b"s, "a?", 2},
        {1201, "\0a\xD8\0\0b\xDC\0"s, "a?b?", 2},
        {kUtf32, "\0\xD8\0\0a\0\0\0\0\0\x11\0\0\0\0"s, "?a??", 0},
        {12001, "\0\0\0a\0\x11\0\0\xFF"s, "a??", 4},
        {20127, "a\x80\xFF", "a??", 1},
        {932, "\x82\xA0\x81\x82\xA0\x82", "\xE3\x81\x82\xE2\x89\xA0??", 4},
        {936, "\xD6\xD0\x81 \xD6", "\xE4\xB8\xAD? ?", 2},
        {51949, "ab\xB0", "ab?", 2},
        {50220, "a\x1B$BC", "a?", 4},
        {50225, "\x1B$)C\x0Eq", "?", 5},
        {52936, "a~{VPV", "a\xE4\xB8\xAD?", 5},
        {52936, "a~", "a?", 1},
        {65000, "a+Ti", "a?", 2},
        {50220, "a\x1B$B!!\x1B(Ba\x80",
         "a\xE3\x80\x80"
         "a?",
         10},
    };
    for (const auto& c : cases) {
        std::string expected;
        for (const char character : c.text)
            expected += character == '?' ? "\xEF\xBF\xBD"s : std::string(1, character);
        const auto result = convert(c.codePage, kUtf8, c.bytes);
        EXPECT_EQ(result.text, expected) << c.codePage << c.text;
        EXPECT_FALSE(result.ok);
        EXPECT_EQ(faultOf(result), c.fault) << c.codePage << c.text;
    }
}

TEST(Charset, SubstitutesWhatTheTargetLacks) {
    const struct {
        int target;
        std::string utf8, bytes;
        long fault;
    } cases[] = {
        {20127, "a\xC3\xA9z", "a\x1Az", 1},
        {28591, "\xC3\xBF\xC4\x80\xEF\xBB\xBF", "\xFF\x1A\x1A", 2},
        {28606, "\xE2\x82\xAC\xC2\xA4\xF0\x9F\x98\x80", "\xA4\x1A\x1A", 3},
        {1252, "\xE2\x82\xAC\xC4\x80\xE2\x80\x8D", "\x80\x1A\x1A", 3},  // also the invisible
        {1252, "\xC3\xA9\xFF\xC4\x80", "\xE9\x1A\x1A", 2},
        {936, "\xE4\xB8\xAD\xF0\x9F\x98\x80 \xE4\xB8\xAD", "\xD6\xD0? \xD6\xD0", 3},
    };
    for (const auto& c : cases) {
        const auto result = convert(kUtf8, c.target, c.utf8);
        EXPECT_EQ(result.text, c.bytes) << c.target;
        EXPECT_EQ(faultOf(result), c.fault) << c.target;
    }
    EXPECT_EQ(
        convert("latin1", 20127, "caf\xE9 \xE8"),
        (Result{
            false, "caf\x1A \x1A",
            "Errors in converting from ISO-8859-1 to US-ASCII, the first at byte offset 3.\n"}));
}

TEST(Charset, RefusesUnknownCharsets) {
    EXPECT_EQ(convert(0, kUtf8, "a"), (Result{false, "", "Unknown code page: 0.\n"}));
    EXPECT_EQ(convert(kUtf8, -1, "a"), (Result{false, "", "Unknown code page: -1.\n"}));
    EXPECT_EQ(convert("utf-8", 3, "a"), (Result{false, "", "Unknown code page: 3.\n"}));
    EXPECT_EQ(convert("no\n"s + std::string(99, 'o'), kUtf8, "a"),
              (Result{false, "", "Unknown charset: no\\x0A" + std::string(57, 'o') + ".\n"}));
    EXPECT_EQ(convert(kUtf8, kUtf16, ""), (Result{true, "", ""}));
    DataBuffer out;
    LogText log;
    EXPECT_TRUE(EncodingConvert().EncConvert(936, kUtf8, nullptr, 5, out, log));
}

TEST(Charset, KeepsMarksExceptWhereTheyTellTheOrder) {
    const std::string mark = "\xEF\xBB\xBF",
                      utf16 =
                          "\xFF\xFE"
                          "a\0"s,
                      utf32 = "\xFF\xFE\0\0a\0\0\0"s;
    EXPECT_EQ(convert(kUtf8, kUtf16, mark + "a").text, utf16);
    EXPECT_EQ(convert(kUtf16, kUtf8, utf16).text, mark + "a");
    EXPECT_EQ(convert("utf-32le", kUtf8, utf32).text, mark + "a");
    EXPECT_EQ(convert(kUtf8, 54936, mark).text, "\x84\x31\x95\x33");
    EXPECT_EQ(convert(65000, kUtf8, convert(kUtf8, 65000, mark + "a").text).text, mark + "a");
    EXPECT_EQ(convert("UTF-16", kUtf8, utf16).text, "a");
    EXPECT_EQ(convert("utf16", kUtf8, "\xFE\xFF\xFE\xFF\0a"s).text, mark + "a");
    EXPECT_EQ(convert("utf-16", kUtf8, "\0a\0b"s).text, "ab");
    EXPECT_EQ(convert("utf-32", kUtf8, utf32).text, "a");
    EXPECT_EQ(convert("utf-32", kUtf8, "\0\0\xFE\xFF\0\0\0a"s).text, "a");
    EXPECT_EQ(convert("utf-32", kUtf8, "\0\0\0a\xFF"s).text, "a\xEF\xBF\xBD");
}

TEST(Charset, EndsEveryCallInTheInitialState) {
    EncodingConvert converter;
    LogText log;
    const auto run = [&](int from, int to, std::string_view bytes) {
        DataBuffer out;
        converter.EncConvert(from, to, reinterpret_cast<const unsigned char*>(bytes.data()),
                             size32(bytes), out, log);
        return str(out);
    };
    const std::string_view kanji = "\xE4\xB8\xAD";  // U+4E2D
    const std::pair<int, std::string> cases[] = {{50220, "\x1B$BCf\x1B(B"},
                                                 {50225, "\x1B$)C\x0Eqi\x0F"},
                                                 {52936, "~{VP~}"},
                                                 {65000, "+Ti0-"}};
    for (const auto& [codePage, bytes] : cases) {
        for (int repeated = 0; repeated < 2; ++repeated) {
            EXPECT_EQ(run(kUtf8, codePage, kanji), bytes);
            EXPECT_EQ(run(codePage, kUtf8, bytes), kanji);
            EXPECT_NE(run(codePage, kUtf8, bytes.substr(0, bytes.size() / 2)), kanji);
            EXPECT_EQ(run(codePage, kUtf8, "VP"), "VP");
        }
    }
    EXPECT_EQ(run(kUtf8, 52936, "~a"), "~~a");
    EXPECT_EQ(run(52936, kUtf8, "~~a~{"), "~a");
}

TEST(Charset, ConvertsTheSameWhereverPiecesEnd) {
    std::string text;
    for (int i = 0; i < 2200; i += 7) {
        const auto whole = text + "\x90\x30\x81\x30", utf8 = text + "\xF0\x90\x80\x80";
        EXPECT_EQ(convert(54936, kUtf8, whole).text, utf8);
        EXPECT_EQ(convert(kUtf8, 54936, utf8).text, whole);
        EXPECT_EQ(faultOf(convert(kUtf8, 936, utf8 + text)), i);
        const auto cut = convert(54936, kUtf8, text + "\x90\x30\x81");
        EXPECT_EQ(cut.text, text + "\xEF\xBF\xBD");
        EXPECT_EQ(faultOf(cut), i);
        text += "abcdefg";
    }
}

// The library's own conversions are the reference for ours, which do without it.
TEST(Charset, ConvertsUnicodeAsTheLibraryDoes) {
    const struct {
        int codePage;
        const char* name;
        std::string_view alphabet;
        std::size_t longest;
    } cases[] = {{kUtf8, "UTF-8", "A\x80\x8F\x90\xA0\xBF\xC3\xE0\xE2\xED\xF0\xF4\xF5", 4},
                 {kUtf16, "UTF-16LE", "A\0\xD8\xDC"sv, 7},
                 {1201, "UTF-16BE", "A\0\xD8\xDC"sv, 7},
                 {kUtf32, "UTF-32LE", "\0\1\x10\x11\xD8"sv, 5},
                 {12001, "UTF-32BE", "\0\1\x10\x11\xD8"sv, 5}};
    for (const auto& c : cases) {
        forEachString(c.alphabet, c.longest, [&](const std::string& bytes) {
            char expected[64];
            UErrorCode error = U_ZERO_ERROR;
            const auto n = ucnv_convert("UTF-8", c.name, expected, sizeof expected, bytes.data(),
                                        static_cast<int32_t>(bytes.size()), &error);
            ASSERT_EQ(convert(c.codePage, kUtf8, bytes).text,
                      std::string(expected, static_cast<std::size_t>(n)))
                << testing::PrintToString(bytes);
        });
    }
}

TEST(Charset, SurvivesAllBytesInEveryCharset) {
    std::string pairs;
    for (int i = 0; i < 0x10000; ++i)
        pairs += {static_cast<char>(i >> 8), static_cast<char>(i)};
    const std::string inputs[] = {pairs, noise(5000), "\x1B$", "\x1B$)C\x0E\x80", "~{!", "+AA"};
    for (const auto& known : contentcoding::knownCharsets()) {
        for (const auto& bytes : inputs) {
            const auto decoded = convert(known.codePage, kUtf8, bytes);
            EXPECT_TRUE(convert(kUtf8, kUtf16, decoded.text).ok) << known.name;
            EXPECT_EQ(decoded.ok, decoded.log.empty()) << known.name;
            const auto encoded = convert(kUtf8, known.codePage, decoded.text);
            EXPECT_EQ(encoded.text.empty(), decoded.text.empty()) << known.name;
            convert(known.codePage, known.codePage, bytes);
        }
    }
}

TEST(Charset, ReencodesABuffer) {
    LogText log;
    StringBuffer text("caf\xE9"sv);
    EXPECT_TRUE(text.convertEncoding(28591, kUtf8, log));
    EXPECT_EQ(text.view(), "caf\xC3\xA9");
    EXPECT_FALSE(text.convertEncoding(kUtf8, 1, log));
    EXPECT_EQ(text.view(), "caf\xC3\xA9");
    EXPECT_FALSE(text.convertEncoding(20127, 28591, log));
    EXPECT_EQ(text.view(), "caf\x1A\x1A");
    EXPECT_TRUE(StringBuffer().convertEncoding(0, 0, log));
}

TEST(UrlEncode, DecodesPairsOfDigitsOnly) {
    for (const auto& [encoded, decoded] : {std::pair{"a%20b%c3%A9"sv, "a b\xC3\xA9"sv},
                                           {"%00+%25zz"sv, "\0+%zz"sv},
                                           {"%"sv, "%"sv},
                                           {"%4"sv, "%4"sv},
                                           {"%%41%4g%g4"sv, "%A%4g%g4"sv},
                                           {""sv, ""sv}}) {
        StringBuffer text(encoded);
        EXPECT_TRUE(_zqUrlEncode::urlDecodeSb(text));
        EXPECT_EQ(text.view(), decoded);
    }
}
