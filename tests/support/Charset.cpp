#include "support/Charset.h"

#include <unicode/ucnv.h>

#include <fstream>
#include <iterator>
#include <sstream>

#include "tests/TestSupport.h"

namespace {

constexpr int kUtf8 = 65001, kUtf16 = 1200, kUtf32 = 12000;

struct Result {
    bool ok;
    std::string text, log;
    bool operator==(const Result&) const = default;
};

// `source` is a code page or a name.
template <class Source>
Result convert(const Source& source, int target, std::string_view bytes,
               EncodingConvert& converter) {
    const ExactCopy copy(bytes);
    const auto* data = reinterpret_cast<const unsigned char*>(copy.get());
    DataBuffer out;
    LogText log;
    bool ok = false;
    if constexpr (std::is_same_v<Source, int>) {
        ok = converter.EncConvert(source, target, data, size32(bytes), out, log);
    } else {
        StringBuffer name{std::string_view(source)};
        ok = converter.ChConvert2(name, target, data, size32(bytes), out, log);
        EXPECT_EQ(name.view(), source);
    }
    return {ok, str(out), str(log.text())};
}

template <class Source>
Result convert(const Source& source, int target, std::string_view bytes) {
    EncodingConvert converter;
    return convert(source, target, bytes, converter);
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

// The lines of a data file, without the comments, split into words.
std::vector<std::vector<std::string>> linesOf(const std::string& name) {
    std::ifstream file(TESTS_DATA_DIR "/charsets/" + name);
    std::vector<std::vector<std::string>> lines;
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream words(line);
        lines.emplace_back(std::istream_iterator<std::string>(words),
                           std::istream_iterator<std::string>());
    }
    EXPECT_FALSE(lines.empty()) << name;
    return lines;
}

// The offset of the first fault in the log; -1 if there is none.
long faultOf(const Result& result) {
    const auto at = result.log.find("offset ");
    return at == std::string::npos ? -1 : std::stol(result.log.substr(at + 7));
}

}  // namespace

TEST(Charset, KnowsNamesInEverySpelling) {
    const auto lines = linesOf("names.txt");
    const auto known = contentcoding::knownCharsets();
    ASSERT_EQ(lines.size(), known.size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const int codePage = std::stoi(lines[i][0]);
        EXPECT_EQ(known[i].codePage, codePage);
        EXPECT_EQ(known[i].name, lines[i][1]);
        for (std::size_t n = 1; n < lines[i].size(); ++n) {
            const int found = codePageOf(lines[i][n].c_str());
            EXPECT_EQ(found, codePage) << lines[i][n];
        }
    }
    for (const char* name : {" \tCP-1256 ", "cp1256 *ar", "Windows-1256*ar-EG-1\t", "cp1256*"})
        EXPECT_EQ(codePageOf(name), 1256) << name;
}

TEST(Charset, KnowsWhatTheLibraryKnowsAndNothingElse) {
    for (const char* name : {"Big5-HKSCS", "ISO-2022-CN", "iso-2022-jp-2", "CESU-8", "ibm-1364"})
        EXPECT_TRUE(isValid(name) && codePageOf(name) == 0) << name;
    for (const std::string& name : {""s,
                                    " \t"s,
                                    "*en"s,
                                    "-"s,
                                    "x-unknown"s,
                                    "utf-8\0"s,
                                    "utf-8,version=1"s,
                                    "gb 2312"s,
                                    "ibm-37,swaplfnl"s,
                                    "../utf-8"s,
                                    "utf-8\xC3\xA9"s,
                                    "cp"s,
                                    "cp1"s,
                                    "xx936"s,
                                    "cp99999999999999999999"s,
                                    "cp65001x"s,
                                    "utf-8*\r\nBcc: v@x"s,
                                    "utf-8*en_US"s,
                                    "utf-8*en*de"s,
                                    "utf-8* en"s,
                                    "utf-8*\0"s,
                                    "utf-8*\xE9"s,
                                    std::string(60, 'a'),
                                    std::string(10000, '0'),
                                    noise(10000)})
        EXPECT_FALSE(isValid(name)) << name.substr(0, 60);
    _zqCharset charset;
    EXPECT_TRUE(charset.setByName("koi8-r"));
    EXPECT_FALSE(charset.setByName(nullptr));
    EXPECT_EQ(charset.getCodePage(), 0);
}

// The library has names of converters whose tables are not installed.
TEST(Charset, CanConvertFromEveryValidName) {
    UErrorCode error = U_ZERO_ERROR;
    UEnumeration* const converters = ucnv_openAllNames(&error);
    while (const char* converter = uenum_next(converters, nullptr, &error)) {
        for (uint16_t i = 0; i < ucnv_countAliases(converter, &error); ++i) {
            const std::string name = ucnv_getAlias(converter, i, &error);
            if (name.find_first_of(",=") != name.npos) continue;  // not a name of a charset
            UErrorCode opening = U_ZERO_ERROR;
            ucnv_close(ucnv_open(name.c_str(), &opening));
            EXPECT_TRUE(isValid(name) || U_FAILURE(opening)) << name;
            const std::string log = convert(name, kUtf8, "a").log;
            const bool refused = log.starts_with("Unknown") || log.starts_with("No table");
            EXPECT_NE(isValid(name), refused) << name << ": " << log;
        }
    }
    uenum_close(converters);
}

TEST(Charset, AgreesWithVectors) {
    for (const auto& words : linesOf("vectors.txt")) {
        const std::string &name = words[0], bytes = fromHex(words[1]), utf8 = fromHex(words[2]);
        const int codePage = codePageOf(name.c_str());
        EXPECT_EQ(convert(codePage, kUtf8, bytes), (Result{true, utf8, ""})) << name;
        EXPECT_EQ(convert(name, kUtf16, bytes), convert(kUtf8, kUtf16, utf8)) << name;
        EXPECT_EQ(convert(kUtf8, codePage, utf8), (Result{true, bytes, ""})) << name;
    }
}

// One object converts all cases, each twice, so that any state it keeps would show.
TEST(Charset, ConvertsEachCaseByItself) {
    EncodingConvert converter;
    for (const auto& words : linesOf("cases.txt")) {
        for (int repeated = 0; repeated < 2; ++repeated) {
            const auto result =
                convert(words[0], std::stoi(words[1]), fromHex(words[2]), converter);
            EXPECT_EQ(result.text, fromHex(words[3])) << words[0] << " " << words[2];
            EXPECT_EQ(faultOf(result), words[4] == "-" ? -1 : std::stol(words[4])) << words[2];
            EXPECT_EQ(result.ok, words[4] == "-") << words[2];
        }
    }
}

TEST(Charset, LogsTheFirstFault) {
    EXPECT_EQ(convert("latin1", 20127, "caf\xE9 \xE8").log,
              "Errors in converting from ISO-8859-1 to US-ASCII, the first at byte offset 3.\n");
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
    // A text with shifts is shifted once, not once a piece.
    std::string shifted, utf8;
    for (int i = 0; i < 2000; ++i) {
        shifted += "VP";
        utf8 += "\xE4\xB8\xAD";
    }
    EXPECT_EQ(convert(kUtf8, 52936, utf8).text, "~{" + shifted + "~}");
    EXPECT_EQ(convert(52936, kUtf8, "~{" + shifted).text, utf8);
}

// The library's conversions are the reference for our own code, which does not use it.
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
