#include <bitset>
#include <map>
#include <random>

#include "codec/Base64.h"
#include "tests/codec/FormatSupport.h"

namespace {

const std::string kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// ---- References: what the operations mean, slowly ----

// The digits of the bytes' bits, six at a time, padded.
std::string digitsOf(std::string_view bytes) {
    std::string bits, text;
    for (const char b : bytes)
        bits += std::bitset<8>(static_cast<unsigned char>(b)).to_string();
    bits.resize((bits.size() + 5) / 6 * 6, '0');
    for (std::size_t i = 0; i < bits.size(); i += 6)
        text += kAlphabet[std::stoul(bits.substr(i, 6), nullptr, 2)];
    return text + std::string((4 - text.size() % 4) % 4, '=');
}

std::string linesOf(std::string_view bytes, unsigned int lineLength, const std::string& lineBreak) {
    const std::string text = digitsOf(bytes);
    const std::size_t perLine = (std::min<std::size_t>(lineLength, text.size() + 1) + 3) / 4 * 4;
    std::string lines;
    for (std::size_t i = 0; i < text.size(); i += perLine)
        lines += (i > 0 ? lineBreak : "") + text.substr(i, perLine);
    return text.empty() ? "" : lines + "\r\n";
}

std::string bytesOf(std::string_view text, const std::string& alphabet = kAlphabet) {
    std::string bits, bytes;
    for (const char c : text.substr(0, text.find_first_of("=\0"sv))) {
        const auto value = c == '.' ? std::string::npos : alphabet.find(c);
        if (value == std::string::npos) continue;
        bits += std::bitset<6>(value).to_string();
    }
    for (std::size_t i = 0; i + 8 <= bits.size(); i += 8)
        bytes += static_cast<char>(std::stoul(bits.substr(i, 8), nullptr, 2));
    return bytes;
}

// ---- The operations as functions of strings ----

ContentCoding withLines(unsigned int lineLength) {
    ContentCoding codec;
    codec.setLineLength(lineLength);
    return codec;
}

std::string encode(std::string_view bytes, unsigned int lineLength = 76) {
    StringBuffer out("held ");
    EXPECT_TRUE(withLines(lineLength).encodeBase64(ExactCopy(bytes).get(), size32(bytes), out));
    EXPECT_EQ(out.view().substr(0, 5), "held ");
    return str(out).substr(5);
}

std::string encodeForXml(std::string_view bytes, unsigned int lineLength) {
    StringBuffer out;
    EXPECT_TRUE(withLines(lineLength).encodeBase64_crEntity(bytes.data(), size32(bytes), out));
    return str(out);
}

bool encodeTo(RecordingOutput& out, std::string_view bytes, unsigned int lineLength) {
    _zqIoParams ioParams;
    LogNull log;
    return withLines(lineLength)
        .encodeBase64ToOutput(bytes.data(), size32(bytes), out, ioParams, log);
}

std::string encodeUnwrapped(std::string_view bytes, const char* table = kAlphabet.data()) {
    StringBuffer out;
    EXPECT_TRUE(ContentCoding::encodeBase64_noCrLf_inner(bytes.data(), size32(bytes), table, out));
    return str(out);
}

std::string decode(std::string_view text, const unsigned char* table = _base64DecodeTable.data()) {
    unsigned int n = 99;
    const ExactCopy copy(text);
    const std::unique_ptr<unsigned char[]> bytes(
        ContentCoding::decodeBase64a(copy.get(), size32(text), table, &n));
    EXPECT_EQ(bytes == nullptr, text.empty());
    if (!bytes) return std::string(n, '?');
    EXPECT_EQ(bytes[n + 1], 0);
    return {bytes.get(), bytes.get() + n};
}

}  // namespace

// RFC 4648, section 10, and digits where the alphabets differ.
TEST(Base64, PublishedVectors) {
    const std::map<std::string, std::string> vectors = {{"", ""},
                                                        {"f", "Zg=="},
                                                        {"fo", "Zm8="},
                                                        {"foo", "Zm9v"},
                                                        {"foob", "Zm9vYg=="},
                                                        {"fooba", "Zm9vYmE="},
                                                        {"foobar", "Zm9vYmFy"}};
    for (const auto& [bytes, text] : vectors) {
        EXPECT_EQ(encodeUnwrapped(bytes), text);
        EXPECT_EQ(encode(bytes), text.empty() ? "" : text + "\r\n");
        EXPECT_EQ(decode(text), bytes);
    }
    StringBuffer standard, urlSafe;
    EXPECT_TRUE(ContentCoding::encodeBase64_noCrLf("\xFB\xFF", 2, standard));
    EXPECT_TRUE(ContentCoding::encodeModBase64_noCrLf("\xFB\xFF", 2, urlSafe));
    EXPECT_EQ(standard.view(), "+/8=");
    EXPECT_EQ(urlSafe.view(), "-_8=");
}

// Every length up to several lines and blocks, so that each edge of a group, line and block is met.
class Base64Lines : public testing::TestWithParam<unsigned int> {};

TEST_P(Base64Lines, AllEncodersAgreeWithTheReference) {
    const unsigned int lineLength = GetParam();
    const std::string all = noise(800);
    for (std::size_t n = 0; n < all.size(); ++n) {
        const auto bytes = std::string_view(all).substr(0, n);
        const std::string lines = linesOf(bytes, lineLength, "\r\n");
        ASSERT_EQ(encode(bytes, lineLength), lines) << n;
        std::string entities = linesOf(bytes, lineLength, "&#xD;\r\n");
        ASSERT_EQ(encodeForXml(bytes, lineLength), entities) << n;
        ASSERT_EQ(encodeUnwrapped(bytes), digitsOf(bytes)) << n;
        ASSERT_EQ(decode(lines), bytes) << n;

        // A stream keeps the break of a full last line and adds the final one.
        RecordingOutput out;
        ASSERT_TRUE(encodeTo(out, bytes, lineLength));
        const std::uint64_t perLine = (std::uint64_t{lineLength} + 3) / 4 * 4;
        const bool fullLine = n > 0 && n % 3 == 0 && n / 3 * 4 % perLine == 0;
        ASSERT_EQ(out.all(), lines + (fullLine ? "\r\n" : "")) << n;
        std::vector<std::string> blocks = out.blocks;
        if (n == 0) continue;
        ASSERT_EQ(blocks.back().size(), n % 3 == 0 ? 2u : 6u);
        blocks.pop_back();
        if (!blocks.empty()) blocks.pop_back();
        for (const auto& block : blocks) {
            ASSERT_TRUE(block.size() >= 256 && block.size() <= 261) << block.size();
        }
    }
}

INSTANTIATE_TEST_SUITE_P(LineLengths, Base64Lines,
                         testing::Values(10, 11, 12, 57, 76, 77, 250, 256, 257, 0xFFFFFFFF));

TEST(Base64, ASinkSeesTheseBlocks) {
    RecordingOutput out;
    EXPECT_TRUE(encodeTo(out, noise(300), 76));
    ASSERT_EQ(out.blocks.size(), 3u);
    EXPECT_EQ(out.blocks[0].size(), 258u);  // three lines with their breaks and 24 characters
    EXPECT_EQ(out.blocks[1].size(), 152u);
    EXPECT_EQ(out.blocks[2].size(), 2u);
}

TEST(Base64, StopsAtTheBlockThatWasRefused) {
    RecordingOutput whole;
    EXPECT_TRUE(encodeTo(whole, noise(1000), 76));
    for (std::size_t refused = 0; refused < whole.blocks.size(); ++refused) {
        RecordingOutput out(refused);
        EXPECT_FALSE(encodeTo(out, noise(1000), 76));
        EXPECT_EQ(out.blocks.size(), refused + 1);
    }
}

TEST(Base64, ASettingOf0EndsALineAfterEveryGroup) {
    ContentCoding codec;
    codec.m_lineLength = 0;
    StringBuffer out;
    EXPECT_TRUE(codec.encodeBase64("abcdef", 6, out));
    EXPECT_EQ(out.view(), "YWJj\r\nZGVm\r\n");
}

TEST(Base64, EmptyInputAppendsNothing) {
    StringBuffer text;
    const ContentCoding codec;
    RecordingOutput sink(0);
    _zqIoParams ioParams;
    LogNull log;
    EXPECT_TRUE(codec.encodeBase64(nullptr, 5, text));
    EXPECT_TRUE(codec.encodeBase64("x", 0, text));
    EXPECT_TRUE(ContentCoding::encodeBase64_noCrLf(nullptr, 5, text));
    EXPECT_TRUE(codec.encodeBase64ToOutput(nullptr, 5, sink, ioParams, log));
    EXPECT_TRUE(text.view().empty() && sink.blocks.empty());
    EXPECT_FALSE(ContentCoding::encodeBase64_noCrLf_inner("x", 1, nullptr, text));
}

// Forgiveness, a row each.
TEST(Base64, DecodingForgives) {
    const std::map<std::string, std::string> rows = {
        {"Zm9vYg", "foob"},
        {"Zm9vY", "foo"},
        {"QQ==QQ==", "A"},
        {"Zm9v\r\nYmFy", "foobar"},
        {"Zm 9v.Ym-Fy", "foobar"},
        {"+/8=", "\xFB\xFF"},
        {"-_8=", ""},
        {"QR==", "A"},
        {"=", ""},
        {"====", ""},
        {"=QQ", ""},
        {"\0QQ"s, ""},
        {"Zm9v\0YmFy"s, "foo"},
        {"\xDA\xED\xB9\xF6", ""},  // "Zm9v" with the high bits set
    };
    for (const auto& [text, bytes] : rows)
        EXPECT_EQ(decode(text), bytes) << text;
}

TEST(Base64, DecodesEveryShortTextLikeTheReference) {
    forEachString("A/b=.\n-\0"sv, 6, [](const std::string& text) {
        ASSERT_EQ(decode(text), bytesOf(text)) << testing::PrintToString(text);
    });
}

TEST(Base64, JunkAnywhereIsSkipped) {
    const std::string bytes = noise(100), text = digitsOf(bytes);
    for (std::size_t i = 0; i < text.size(); ++i) {
        for (const char junk : "\r\n \t.-*\x80\xFF"sv)
            ASSERT_EQ(decode(text.substr(0, i) + junk + text.substr(i)), bytesOf(text)) << i;
        ASSERT_EQ(decode(text.substr(0, i) + '=' + text.substr(i)), bytesOf(text.substr(0, i)));
    }
}

TEST(Base64, NothingNeedFollowAnEndMark) {
    const GuardedPage page;
    for (const auto& [marked, size] :
         {std::pair{"QQ="sv, 1u}, {"\0"sv, 0u}, {"QUJD\0"sv, 3u}, {"QUJDQ="sv, 3u}}) {
        // The length given goes far into a page that cannot be read.
        auto* const text = reinterpret_cast<char*>(page.atEnd(marked.size()));
        marked.copy(text, marked.size());
        unsigned int n = 0;
        const std::unique_ptr<unsigned char[]> bytes(ContentCoding::decodeBase64(text, 1000, &n));
        EXPECT_EQ(n, size);
        EXPECT_TRUE(ContentCoding().validateBase64(text, 1000));
    }
}

TEST(Base64, LeftoverBitsFollowTheResult) {
    const std::map<std::string, unsigned char> leftovers = {
        {"/", 0xFC}, {"//", 0xF0}, {"///", 0xC0}, {"////", 0}};
    for (const auto& [text, bits] : leftovers) {
        unsigned int n = 0;
        const std::unique_ptr<unsigned char[]> bytes(
            ContentCoding::decodeBase64(text.data(), size32(text), &n));
        EXPECT_EQ(bytes[n], bits) << text;
    }
}

TEST(Base64, ADecodeTableMayBeForeign) {
    std::array<unsigned char, 80> table;
    const std::string alphabet = kAlphabet.substr(0, 62) + ",-";
    for (std::size_t i = 0; i < table.size(); ++i) {
        const auto value = alphabet.find(static_cast<char>('+' + i));
        table[i] = value == std::string::npos ? 0x7F : static_cast<unsigned char>(value);
    }
    table['.' - '+'] = table['=' - '+'] = 7;  // never digits, whatever a table says
    table['?' - '+'] = 200;
    for (const auto* const text : {"-,8=", "-.,?8A", "+/8=A"})
        EXPECT_EQ(decode(text, table.data()), bytesOf(text, alphabet)) << text;
}

TEST(Base64, DecodersTellEmptyFromFailed) {
    unsigned int n = 7;
    bool ok = false;
    EXPECT_EQ(ContentCoding::decodeBase64_2("", 0, &n, ok), nullptr);
    EXPECT_TRUE(ok && n == 0);
    EXPECT_EQ(ContentCoding::decodeBase64_2(nullptr, 4, &n, ok), nullptr);
    EXPECT_TRUE(ok);
    EXPECT_EQ(ContentCoding::decodeBase64_2("QQ==", 4, nullptr, ok), nullptr);
    EXPECT_FALSE(ok);
    EXPECT_EQ(ContentCoding::decodeBase64a("QQ==", 4, _base64DecodeTable.data(), nullptr), nullptr);
    EXPECT_EQ(ContentCoding::decodeBase64_2a("QQ==", 4, nullptr, &n, ok), nullptr);
    EXPECT_FALSE(ok);
    const std::unique_ptr<unsigned char[]> bytes(ContentCoding::decodeBase64_2("=", 1, &n, ok));
    EXPECT_TRUE(bytes && ok && n == 0);
}

// From 1,431,655,766 on 3 * len passes 32 bits.
TEST(Base64, TextThatIsTooLongIsRefused) {
    const ZeroPages text;
    if (!text.get()) GTEST_SKIP() << "no 4 GiB of addresses";
    unsigned int n = 7;
    bool ok = true;
    for (const unsigned int len : {1431655766u, 0x80000000u, 0xC0000000u, 0xFFFFFFFFu}) {
        EXPECT_EQ(ContentCoding::decodeBase64(text.get(), len, &n), nullptr) << len;
        EXPECT_EQ(n, 0u);
        EXPECT_EQ(ContentCoding::decodeBase64_2(text.get(), len, &n, ok), nullptr);
        EXPECT_FALSE(ok);
    }
    const std::unique_ptr<unsigned char[]> longest(
        ContentCoding::decodeBase64(text.get(), 1431655765, &n));
    EXPECT_NE(longest, nullptr);
    DataBuffer held(std::span<const unsigned char>(_base64DecodeTable).first(3));
    EXPECT_FALSE(ContentCoding::decodeBase64ToDb(text.get(), 0xFFFFFFFF, held));
    EXPECT_EQ(held.getSize(), 3u);
}

// What the decoder takes at a time does not show: junk and ends at all its edges.
TEST(Base64, LongTextIsDecodedInParts) {
    const std::string digits = digitsOf(noise(30000)).substr(0, 30001);
    for (const std::size_t at : {1u, 8189u, 8190u, 8191u, 8192u, 8193u, 16383u, 30000u}) {
        for (const std::size_t junk : {0u, 1u, 3u, 5000u, 8192u, 20000u}) {
            std::string text = digits;
            text.insert(at, junk, '*');
            ASSERT_EQ(decode(text), bytesOf(digits)) << at << ' ' << junk;
            text[at + junk / 2] = '=';
            ASSERT_EQ(decode(text), bytesOf(digits.substr(0, at))) << at << ' ' << junk;
        }
    }
}

TEST(Base64, DecodesIntoBuffers) {
    DataBuffer bytes;
    EXPECT_TRUE(ContentCoding::decodeBase64ToDb("Zm9v", 4, bytes));
    EXPECT_EQ(str(bytes), "foo");
    EXPECT_TRUE(bytes.append("d", 1));
    EXPECT_EQ(str(bytes), "food");
    // Into the array that is there, unless the text is.
    const auto* const array = bytes.getData2();
    EXPECT_TRUE(ContentCoding::decodeBase64ToDb("YmE=cg==", 8, bytes));
    EXPECT_EQ(str(bytes), "ba");
    EXPECT_EQ(bytes.getData2(), array);
    EXPECT_TRUE(bytes.appendStr("YmFy"));
    EXPECT_TRUE(ContentCoding::decodeBase64ToDb(reinterpret_cast<const char*>(bytes.getData2()) + 2,
                                                4, bytes));
    EXPECT_EQ(str(bytes), "bar");
    EXPECT_TRUE(ContentCoding::decodeBase64ToDb(nullptr, 0, bytes));
    EXPECT_EQ(bytes.getSize(), 0u);

    StringBuffer text("x");
    ContentCoding codec;
    EXPECT_TRUE(codec.appendBase64(text, "Zm8AYmFy"));
    EXPECT_TRUE(codec.appendBase64(text, ""));
    EXPECT_TRUE(codec.appendBase64(text, nullptr));
    EXPECT_EQ(text.view(), "xfo\0bar"sv);
}

// Each of the 256 characters, alone and after a digit, against the sets in words.
TEST(Base64, TestsLookAtEveryCharacter) {
    ContentCoding codec;
    LogNull log;
    for (unsigned int i = 0; i < 256; ++i) {
        const char c = static_cast<char>(i);
        const bool blank = " \t\r\n"sv.find(c) != std::string_view::npos;
        const bool listed = blank || c == '=' || kAlphabet.find(c) != std::string::npos;
        const bool inRange = blank || c == '\0' || (i >= 0x2B && i <= 0x7A);
        EXPECT_EQ(codec.isBase64(std::string{'A', c}.data(), 2, log), listed) << i;
        EXPECT_EQ(codec.isBase64_utf16LE(std::string{'x', 'x', c, '\0'}.data(), 4), listed) << i;
        EXPECT_EQ(codec.isBase64_utf16LE(std::string{'x', 'x', 'A', c}.data(), 4), i == 0) << i;
        EXPECT_EQ(codec.validateBase64(std::string{'A', c}.data(), 2), inRange) << i;
        EXPECT_TRUE(codec.validateBase64(std::string{'=', c}.data(), 2)) << i;
    }
    EXPECT_TRUE(codec.isBase64("", 0, log) && codec.validateBase64("", 0));
    EXPECT_FALSE(codec.isBase64(nullptr, 0, log) || codec.validateBase64(nullptr, 0));
    EXPECT_FALSE(codec.isBase64_utf16LE(nullptr, 4));
}

TEST(Base64, Utf16TextNeedsWholeUnitsAfterItsMark) {
    ContentCoding codec;
    constexpr auto kText = "\xFF\xFE\x51\0\x51\0"sv;
    for (unsigned int n = 0; n <= kText.size(); ++n)
        EXPECT_EQ(codec.isBase64_utf16LE(ExactCopy(kText.substr(0, n)).get(), n), n == 4 || n == 6);
}

// ---- What the strict decoder and its leniencies make of a text ----

TEST(Base64, DecoderAcceptsWhatItIsTold) {
    using namespace contentcoding::base64;
    using enum Fault;
    using enum Padding;
    constexpr Accept kLines = {.whiteSpace = true};
    expectDecodings<Accept>({
        {"", {}, ""s},
        {"QUJDRA==", {}, "ABCD"s},
        {"QUJD RA==", {}, Error{kForeignCharacter, 4}},
        {"QUJD\r\n R\tA=\f=\n", kLines, "ABCD"s},
        {"QUJD\vRA==", kLines, Error{kForeignCharacter, 4}},
        {"QUJD-_", {}, Error{kForeignCharacter, 4}},
        {"QUJD-_",
         {.alphabet = Alphabet::kEither, .padding = kOptional, .leftoverBits = true},
         "ABC\xFB"s},
        {"-_-_", kStrictUrlSafe, "\xFB\xFF\xBF"s},
        {"QQ", kStrictUrlSafe, "A"s},
        {"QQ==", kStrictUrlSafe, Error{kPadding, 2}},
        {"+_", kStrictUrlSafe, Error{kForeignCharacter, 0}},
        {"QQ", {}, Error{kPadding, 2}},
        {"QQ=", {}, Error{kPadding, 3}},
        {"QQ=Q", {}, Error{kPadding, 3}},
        {"QQ===", {}, Error{kPadding, 4}},
        {"=", {}, Error{kPadding, 0}},
        {"QUJD=", {}, Error{kPadding, 4}},
        {"QQ==", {.padding = kForbidden}, Error{kPadding, 2}},
        {"QQ", {.padding = kOptional}, "A"s},
        {"QQ=", {.padding = kOptional}, Error{kPadding, 3}},
        {"QR==", {}, Error{kLeftoverBits, 1}},
        {"QUJ=", {}, Error{kLeftoverBits, 2}},
        {"QR==", {.leftoverBits = true}, "A"s},
        {"QUJDQ", {}, Error{kCutGroup, 4}},
        {"QUJDQ===", {}, Error{kCutGroup, 4}},
        {"QUJDQ", {.cutGroup = true}, "ABC"s},
        {"QQ==QQ==", {}, Error{kAfterEnd, 4}},
        {"QQ==\n", {}, Error{kAfterEnd, 4}},
        {"QQ==QUI=", {.concatenated = true}, "AAB"s},
        // The rules of WHATWG.
        {" Q Q = = ", kForgiving, "A"s},
        {"QR", kForgiving, "A"s},
        {"QQ=", kForgiving, Error{kPadding, 3}},
        {"Q", kForgiving, Error{kCutGroup, 0}},
        {"QQ==QQ", kForgiving, Error{kAfterEnd, 4}},
        // Mail.
        {"QQ==\r\n!QUI=", kFromMime, "AAB"s},
        {"Q*U\0J"s, kFromMime, "AB"s},
        {"QUJDQ", kFromMime, Error{kCutGroup, 4}},
        {"QUJDQ", kAnything, "ABC"s},
        {"QUI=QUI=", kAnything, "AB"s},
    });
}

TEST(Base64, AnythingIsWhatTheClassForgives) {
    std::mt19937 random(1);
    for (int i = 0; i < 20000; ++i) {
        std::string text(random() % 40, ' ');
        for (char& c : text)
            c = "QUJDRA+/=-. \n\0\xE9"[random() % 16];
        if (text.empty()) continue;
        DataBuffer bytes;
        ASSERT_TRUE(ContentCoding::decodeBase64ToDb(text.data(), size32(text), bytes));
        ASSERT_EQ(shown(contentcoding::base64::decode(text, contentcoding::base64::kAnything)),
                  shown(str(bytes)))
            << testing::PrintToString(text);
    }
}
