#include <utility>

#include "contentcoding/dkim.hpp"
#include "contentcoding/quoted_printable.hpp"
#include "tests/codec/FormatSupport.h"

namespace {

using Row = std::pair<std::string, std::string>;

ContentCoding codecFor(unsigned int lineLength, bool unicodeEscapes = false) {
    ContentCoding codec;
    codec.setLineLength(lineLength);
    codec.m_qpDecodeUnicodeEscapes = unicodeEscapes;
    return codec;
}

std::string escapeOf(char c) {
    constexpr auto kDigits = "0123456789ABCDEF"sv;
    const auto b = static_cast<unsigned char>(c);
    return {'=', kDigits[b / 16], kDigits[b % 16]};
}

// ---- References: the rules one byte at a time, without blocks or runs ----

std::string referenceEncode(const std::string& in, std::size_t lineLength) {
    std::string out;
    std::size_t column = 0, i = 0;
    const auto put = [&](const std::string& text) { out += text, column += text.size(); };
    const auto softBreak = [&] { out += "=\r\n", column = 0; };
    while (i < in.size()) {
        const char c = in[i];
        const bool last = i + 1 == in.size() || in.compare(i + 1, 2, "\r\n") == 0;
        if (column == 0 && (c == '.' || in.compare(i, 5, "From ") == 0)) {
            put(escapeOf(c));
        } else if ((c > ' ' && c < 127 && c != '=') || ((c == ' ' || c == '\t') && !last)) {
            put({c});
        } else if (in.compare(i, 2, "\r\n") == 0) {
            out += "\r\n", column = 0, ++i;
        } else {
            if (column + 3 >= lineLength) softBreak();
            put(escapeOf(c));
        }
        ++i;
        if (column + 1 >= lineLength && in.compare(i, 2, "\r\n") != 0) softBreak();
    }
    return out;
}

std::string referenceEncodeDkim(const std::string& in, std::size_t lineLength) {
    std::string out;
    std::size_t column = 0;
    for (std::size_t i = 0; i < in.size(); ++i) {
        const char c = in[i];
        const bool kept = c > ' ' && c < 127 && c != '=' && c != ';';
        out += kept ? std::string{c} : escapeOf(c);
        column += kept ? 1 : 3;
        if (column + 1 >= lineLength && in.compare(i + 1, 2, "\r\n") != 0)
            out += "=\r\n", column = 0;
    }
    return out;
}

int digit(const std::string& text, std::size_t i) {
    if (i >= text.size()) return -1;
    const auto at = "0123456789ABCDEFabcdef"sv.find(static_cast<char>(text[i] & 0x7F));
    return at == std::string::npos ? -1 : static_cast<int>(at < 16 ? at : at - 6);
}

std::string referenceDecode(const std::string& all, bool unicodeEscapes = false) {
    const std::string in = all.substr(0, all.find('\0'));
    std::string out;
    for (std::size_t pos = 0; pos < in.size();) {
        const std::size_t lf = std::min(in.find('\n', pos), in.size());
        std::string line = in.substr(pos, lf - pos);
        for (char& c : line)
            c = static_cast<char>(c & 0x7F);
        std::size_t end = line.find_last_not_of("\r\n \t") + 1;
        if (end == 0) end = line.find_last_not_of("\r\n") + 1;
        line.resize(end);
        bool soft = false;
        for (std::size_t j = 0; j < end;) {
            const int x = digit(in, pos + j + 1), y = digit(in, pos + j + 2);
            const auto put = [&](int byte, std::size_t n) {
                out += static_cast<char>(byte), j += n;
            };
            if (line[j] == '=' && j + 1 == end) {
                soft = true, ++j;
            } else if (line[j] != '=' || x < 0 || y < 0) {
                put(in[pos + j], 1);
            } else if (x == 15 && y == 15 && j + 6 < end && line.compare(j + 3, 4, "FFFF") == 0) {
                put(std::max(digit(in, pos + j + 7), 0) * 16 + std::max(digit(in, pos + j + 8), 0),
                    9);
            } else if (x + y == 0 && unicodeEscapes && j + 7 < end && line[j + 7] == ';' &&
                       in.find_first_not_of("0123456789ABCDEFabcdef", pos + j + 3) > pos + j + 6) {
                out +=
                    "&#" + std::to_string(std::stoul(in.substr(pos + j + 3, 4), nullptr, 16)) + ";";
                j += 8;
            } else {
                put(x * 16 + y, 3);
            }
        }
        if (lf < in.size() && !soft) out += "\r\n";
        pos = lf + 1;
    }
    return out;
}

std::string referenceDecodeDkim(const std::string& in) {
    std::string out;
    for (std::size_t i = 0; i < in.size(); ++i) {
        const int x = digit(in, i + 1), y = digit(in, i + 2);
        if (in[i] == '=' && x >= 0 && y >= 0)
            out += static_cast<char>(x * 16 + y), i += 2;
        else if (" \t\r\n"sv.find(in[i]) == std::string::npos)
            out += in[i];
    }
    return out;
}

// ---- The operations as functions of strings; all forms of encoding must agree ----

std::string encode(const std::string& bytes, unsigned int lineLength = 76) {
    const ContentCoding codec = codecFor(lineLength);
    const ExactCopy copy(bytes);
    StringBuffer text("held ");
    EXPECT_TRUE(codec.encodeQuotedPrintable(copy.get(), size32(bytes), text));

    unsigned int n = 99;
    const std::unique_ptr<char[]> array(codec.encodeQuotedPrintable(copy.get(), size32(bytes), &n));
    EXPECT_EQ(bytes.empty(), array == nullptr);
    EXPECT_EQ(str(text), "held " + (array ? std::string(array.get(), n + 1).substr(0, n) : ""));

    RecordingOutput sink;
    _zqIoParams ioParams;
    LogNull log;
    EXPECT_TRUE(codec.encodeQpToOutput(copy.get(), size32(bytes), sink, ioParams, log));
    EXPECT_EQ("held " + sink.all(), str(text));
    for (std::size_t i = 0; i < sink.blocks.size(); ++i) {
        const auto size = sink.blocks[i].size();
        EXPECT_TRUE(size == 2000 || (i + 1 == sink.blocks.size() && size < 2000 && size > 0));
    }
    return sink.all();
}

std::string decode(const std::string& text, bool unicodeEscapes = false) {
    DataBuffer bytes;
    EXPECT_EQ(codecFor(76, unicodeEscapes)
                  .decodeQuotedPrintable(ExactCopy(text).get(), size32(text), bytes),
              !text.empty() && text[0] != '\0');
    return str(bytes);
}

std::string encodeDkim(const std::string& bytes, unsigned int lineLength = 76) {
    StringBuffer text;
    EXPECT_TRUE(codecFor(lineLength)
                    .encodeDkimQuotedPrintable(ExactCopy(bytes).get(), size32(bytes), text));
    return str(text);
}

std::string decodeDkim(const std::string& text) {
    DataBuffer bytes;
    EXPECT_TRUE(
        ContentCoding::decodeDkimQuotedPrintable(ExactCopy(text).get(), size32(text), bytes));
    return str(bytes);
}

}  // namespace

TEST(QuotedPrintable, EncodesTheseExamples) {
    const Row rows[] = {
        {"", ""},
        {"From here", "=46rom here"},
        {"From ", "=46rom=20"},
        {"From", "From"},
        {".hidden\r\n.x", "=2Ehidden\r\n=2Ex"},
        {"a b \r\nc\t", "a b=20\r\nc=09"},
        {"x=y", "x=3Dy"},
        {"line\nlone\rcr", "line=0Alone=0Dcr"},
        {" ", "=20"},
        {"\r\n", "\r\n"},
        {x(80), x(75) + "=\r\n" + x(5)},
        {x(75), x(75) + "=\r\n"},
        {x(75) + "\r\n", x(75) + "\r\n"},
        {x(73) + "\xFF", x(73) + "=\r\n=FF"},
        {x(72) + "\xFF", x(72) + "=FF=\r\n"},
        {x(30, "\xFF"), x(25, "=FF") + "=\r\n" + x(5, "=FF")},
        {x(75) + ".From ", x(75) + "=\r\n=2EFrom=20"},  // at the start of a soft-broken line
    };
    for (const auto& [bytes, text] : rows)
        EXPECT_EQ(encode(bytes), text);
}

TEST(QuotedPrintable, DecodesTheseExamples) {
    const Row rows[] = {
        {"abc", "abc"},
        {"abc  \r\ndef", "abc\r\ndef"},
        {"a=3Db=3db", "a=b=b"},
        {"soft=  \r\nbreak", "softbreak"},
        {"   \r\nx", "   \r\nx"},
        {"\t\t\nx", "\t\t\r\nx"},
        {"line\rmid\n", "line\rmid\r\n"},
        {"\r\n\n\r\r\n", "\r\n\r\n\r\n"},
        {"=ZZ=4\n=", "=ZZ=4\r\n"},
        {"abc\0def"s, "abc"},
        {"\0abc"s, ""},
        {"=FFx", "\xFFx"},
        {"=FFFFFFE9x", "\xE9x"},
        {"=FFffffE9",
         "\xFF"
         "ffffE9"},
        {"=ffFFFFe9", "\xE9"},
        {"=FFFFFF", "\0"s},  // no digits: past the end
        {"=FFFFFFE", "\xE0"},
        {"=FFFFFF \n9", "\0\r\n9"s},    // in the trimmed tail
        {"=FFFFFF\r\n9", "\0\r\n9"s},   // on the line's end
        {"=FFFFFF\n9", "\x09\r\n9"},    // on the next line, which is decoded all the same
        {"=FFFFFFE=\n9", "\xE0\r\n9"},  // over the "=" of a soft break
        {"=FFFFF",
         "\xFF"
         "FFF"},
        {"=0000E9;",
         "\0"
         "00E9;"s},
        // High bits: "=", digits, "F", trimming, but no line end.
        {"\xBD\xB4\xB1|\xBD\x5A\x5A", "A|\xBDZZ"},
        {"\xBD\xC6\xE6\xC6\xC6\xC6\xC6\xC5\xB9", "\xE9"},
        {"a\xA0\x89\x8D\n", "a\r\n"},
        {"a\x8Az", "a\x8Az"},
        {"a\xBD\x8A\n!", "a!"},
    };
    for (const auto& [text, bytes] : rows)
        EXPECT_EQ(decode(text), bytes) << testing::PrintToString(text);
}

TEST(QuotedPrintable, DecodesUnicodeEscapesWhenAsked) {
    const Row rows[] = {
        {"=0000E9;", "&#233;"},
        {"=00FFFF;=000000;", "&#65535;&#0;"},
        {"=0000E9\xBB", "&#233;"},  // ";" with the high bit
        {"=00E9;", "\0E9;"s},       // too short
        {"=0000E9",
         "\0"
         "00E9"s},
        {"=0000G9;",
         "\0"
         "00G9;"s},  // no digits
        {"=00\xB0\xB0"
         "E9;",
         "\0\xB0\xB0"
         "E9;"s},
        {"=00=41;;;", "\0A;;;"s},
    };
    for (const auto& [text, bytes] : rows)
        EXPECT_EQ(decode(text, true), bytes) << text;
}

TEST(QuotedPrintable, DkimExamples) {
    const Row encoded[] = {
        {"a;b=c d\r\n", "a=3Bb=3Dc=20d=0D=0A"},  {"\0\xFF\x7F~.From "s, "=00=FF=7F~.From=20"},
        {x(80), x(75) + "=\r\n" + x(5)},         {x(74) + "\xFF", x(74) + "=FF=\r\n"},
        {x(75) + "\r\n", x(75) + "=0D=\r\n=0A"}, {x(75) + "\r", x(75) + "=\r\n=0D"},
    };
    for (const auto& [bytes, text] : encoded)
        EXPECT_EQ(encodeDkim(bytes), text);
    const Row decoded[] = {
        {"a=3Bb=3b", "a;b;"},
        {"=4", "=4"},
        {"=", "="},
        {"==41", "=A"},
        {"=G1x", "=G1x"},
        {"=\r\nab", "=ab"},
        {"a =3B\r\n\t b", "a;b"},
        {" \r\n\t", ""},
        {"=4\0\0"s, "=4\0\0"s},
        {"=\xB4\xB1\xBD"
         "41",
         "A\xBD"
         "41"},
    };
    for (const auto& [text, bytes] : decoded)
        EXPECT_EQ(decodeDkim(text), bytes);
}

TEST(QuotedPrintable, DecodesEveryShortStringLikeTheReferences) {
    forEachString("0A= \t\r\n.F", 7, [](const std::string& text) {
        ASSERT_EQ(decode(text), referenceDecode(text)) << testing::PrintToString(text);
        ASSERT_EQ(decodeDkim(text), referenceDecodeDkim(text)) << testing::PrintToString(text);
    });
}

// Alone, and behind a line that is almost full, so that every edge of it is met.
TEST(QuotedPrintable, EncodesEveryShortStringLikeTheReferences) {
    forEachString("A= \r\n.", 7, [](const std::string& bytes) {
        for (const std::size_t before : {0u, 8u}) {
            const std::string all = x(before) + bytes + "From ";
            ASSERT_EQ(encode(all, 10), referenceEncode(all, 10)) << testing::PrintToString(all);
            ASSERT_EQ(encodeDkim(all, 10), referenceEncodeDkim(all, 10))
                << testing::PrintToString(all);
            ASSERT_EQ(decode(encode(all, 10)), all);
        }
    });
}

TEST(QuotedPrintable, LongEscapesMayBeCutAnywhere) {
    forEachString("=0F;\n\xC6", 3, [](const std::string& tail) {
        for (const std::string start : {"=FFFFFF", "=FFFFF", "=0000E", "=0000E9", "=00\n"}) {
            ASSERT_EQ(decode(start + tail), referenceDecode(start + tail));
            ASSERT_EQ(decode(start + tail, true), referenceDecode(start + tail, true));
        }
    });
}

// Outputs of every size around one and two blocks, with escapes and breaks across the edges.
TEST(QuotedPrintable, BlocksDoNotShow) {
    for (const std::string& unit : {"A"s, "\xFF"s, "=a"s, "a b\r\n"s, "a \xA0\r"s}) {
        for (const unsigned int lineLength : {10u, 11u, 76u, 5000u}) {
            for (std::size_t n = 640; n < 2080; n += n % 40 == 39 ? 560u : 1u) {
                const std::string bytes = x(n, unit);
                ASSERT_EQ(encode(bytes, lineLength), referenceEncode(bytes, lineLength)) << n;
                ASSERT_EQ(encodeDkim(bytes, lineLength), referenceEncodeDkim(bytes, lineLength));
                ASSERT_EQ(decode(referenceEncode(bytes, lineLength)), bytes) << n;
                ASSERT_EQ(decodeDkim(bytes), referenceDecodeDkim(bytes));
            }
        }
    }
    EXPECT_EQ(encode(x(1997) + "\xFF", 5000).size(), 2000u);  // one full block, no rest
}

TEST(QuotedPrintable, EveryByteValueComesBack) {
    const std::string bytes = noise(5000);
    for (const unsigned int lineLength : {10u, 76u, 0xFFFFFFFFu})
        EXPECT_EQ(decode(encode(bytes, lineLength)), bytes);
    EXPECT_EQ(decode(encode("\xFF"
                            "FFFFE9")),
              "\xE9");  // the one exception
}

TEST(QuotedPrintable, ASinkThatRefusesSeesNoMore) {
    const std::string bytes = noise(5000);
    _zqIoParams ioParams;
    LogNull log;
    RecordingOutput whole;
    EXPECT_TRUE(ContentCoding().encodeQpToOutput(bytes.data(), 5000, whole, ioParams, log));
    for (std::size_t refused = 0; refused < whole.blocks.size(); ++refused) {
        for (const unsigned int lineLength : {76u, 10000000u}) {
            RecordingOutput out(refused);
            EXPECT_FALSE(
                codecFor(lineLength).encodeQpToOutput(bytes.data(), 5000, out, ioParams, log));
            EXPECT_EQ(out.blocks.size(), refused + 1);
        }
    }
    EXPECT_TRUE(ContentCoding().encodeQpToOutput(nullptr, 5, whole, ioParams, log));
}

TEST(QuotedPrintable, NullAndEmpty) {
    const ContentCoding codec;
    StringBuffer text;
    DataBuffer bytes;
    unsigned int n = 9;
    EXPECT_TRUE(codec.encodeQuotedPrintable(nullptr, 5, text));
    EXPECT_EQ(codec.encodeQuotedPrintable(nullptr, 5, &n), nullptr);
    EXPECT_EQ(n, 0u);
    EXPECT_EQ(codec.encodeQuotedPrintable("x", 1, static_cast<unsigned int*>(nullptr)), nullptr);
    EXPECT_TRUE(codec.encodeDkimQuotedPrintable(nullptr, 5, text));
    EXPECT_FALSE(codec.decodeQuotedPrintable(nullptr, 5, bytes));
    EXPECT_TRUE(ContentCoding::decodeDkimQuotedPrintable(nullptr, 5, bytes));
}

TEST(QuotedPrintable, HostileInputTakesLinearTime) {
    const std::size_t kLots = 1 << 20;
    for (const std::string& unit : {"="s, " "s, "A"s, "\n"s, "\r"s, "=\n"s, "=FFFFFF"s, "=0"s}) {
        const std::string text = x(kLots / unit.size(), unit);
        EXPECT_EQ(decode(text), referenceDecode(text));
        EXPECT_EQ(decode(encode(unit == "\n" || unit == "\r" ? text : "x")),
                  unit == "\n" || unit == "\r" ? text : "x");
        EXPECT_EQ(decodeDkim(text), referenceDecodeDkim(text));
    }
}

// ---- What the strict decoders and their leniencies make of a text ----

TEST(QuotedPrintable, DecoderAcceptsWhatItIsTold) {
    using namespace contentcoding::quoted_printable;
    using enum Fault;
    const std::string full(76, 'x');
    expectDecodings<Accept>({
        {"Caf=C3=A9=\r\n!\r\n", {}, "Caf\xC3\xA9!\r\n"s},
        {"a\r\nb", {.lineEnd = "\n"}, "a\nb"s},
        // Bytes that should be escaped are themselves: 0xBD does not count as "=".
        {"\xBD"
         "41\0\x7F"s,
         {},
         "\xBD"
         "41\0\x7F"s},
        {"a=4", {}, Error{kBadEscape, 1}},
        {"a=4g", {}, Error{kBadEscape, 1}},
        {"a=", {}, Error{kBadEscape, 1}},
        {"a=4g=", {.badEscapes = true}, "a=4g"s},
        {"a=4\r\n", {.badEscapes = true}, "a=4\r\n"s},
        {"=c3=A9", {}, Error{kLowerCase, 1}},
        {"=Ca", {}, Error{kLowerCase, 2}},
        {"=ca", {.lowerCase = true}, "\xCA"s},
        {full, {}, full},
        {full + "x", {}, Error{kLongLine, 76}},
        {full + "=\r\n", {}, Error{kLongLine, 76}},
        {full + "x", {.longLines = true}, full + "x"},
        {"a \t\r\n", {}, Error{kTrailingSpace, 1}},
        {"a= \r\n", {}, Error{kTrailingSpace, 2}},
        {"a ", {}, Error{kTrailingSpace, 1}},
        {"a \t\r\nb= \r\nc ", {.trailingSpace = true}, "a\r\nbc"s},
        {"a" + std::string(258, ' '), kFromMime, "a  "s},
        {"a\nb", {}, Error{kLineEnd, 1}},
        {"a\rb", {}, Error{kLineEnd, 1}},
        {"a\r\r\n", {}, Error{kLineEnd, 1}},
        {"a\nb=\nc\rd\r\r\n", {.lineEnds = true}, "a\r\nbc\rd\r\n"s},
    });
}

TEST(QuotedPrintable, TextHasLineEndsOfEitherForm) {
    namespace qp = contentcoding::quoted_printable;
    EXPECT_EQ(qp::encode("a \nb\t\r\n\r.\n"), "a=20\r\nb=09\r\n=0D.\r\n");
    EXPECT_EQ(qp::encode("a\n.\nFrom x", {.lineEnd = "\n"}), "a\n=2E\n=46rom x");
    EXPECT_EQ(qp::encode("a\n. ", {.newlines = qp::Newlines::kCrLf}), "a=0A.=20");
    EXPECT_EQ(qp::encode("a\r\n ", qp::kBinary), "a=0D=0A=20");
    EXPECT_EQ(qp::encode(".\nFrom ", {.columns = 0, .protectLineStarts = false}), ".\r\nFrom=20");
    EXPECT_EQ(qp::encode(x(100, "x"), {.columns = 0}), x(100, "x"));
}

TEST(Dkim, DecoderAcceptsWhatItIsTold) {
    using namespace contentcoding::dkim;
    using enum Fault;
    expectDecodings<Accept>({
        {"a=3B \t\r\n b", {}, "a;b"s},
        {"a;", {}, Error{kForeignCharacter, 1}},
        {"a\xE9", {}, Error{kForeignCharacter, 1}},
        {"a;\xE9", {.foreign = true}, "a;\xE9"s},
        {"=3b", {}, Error{kLowerCase, 2}},
        {"=3b", kFromMime, ";"s},
        {"a=\r\n3B", {}, Error{kBadEscape, 1}},
        {"a=", {}, Error{kBadEscape, 1}},
        {"a=\r\nb=4", kAnything, "a=b=4"s},
    });
    EXPECT_EQ(contentcoding::dkim::encode("a b;c=d12345", {.columns = 10}),
              "a=20b=3Bc\r\n =3Dd12345");
}
