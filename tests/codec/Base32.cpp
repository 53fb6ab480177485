#include <map>

#include "contentcoding/base32.hpp"
#include "support/BufferAccess.h"
#include "tests/codec/FormatSupport.h"

namespace {

namespace base32 = contentcoding::base32;

const std::string kBase32 = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";

std::string encode32(std::string_view bytes) {
    StringBuffer out;
    EXPECT_TRUE(ContentCoding::encodeBase32_noCrLf(
        reinterpret_cast<const unsigned char*>(ExactCopy(bytes).get()), size32(bytes), out));
    EXPECT_EQ(out.getSize(), ContentCoding::computeBase32Size(size32(bytes)));
    EXPECT_EQ(base32::encode(bytes), str(out));
    return str(out);
}

std::string decode32(const std::string& text) {
    DataBuffer out;
    LogNull log;
    EXPECT_TRUE(ContentCoding::decodeBase32(text.c_str(), out, log));
    EXPECT_EQ(shown(base32::decode(text, base32::kAnything)), shown(str(out)));
    return str(out);
}

std::string reference32(std::string text) {
    std::erase_if(text, [](char c) { return " \t\r\n"sv.find(c) != std::string::npos; });
    text.resize((text.size() + 7) / 8 * 8, '=');
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); i += 8) {
        const std::string group = text.substr(i, 8);
        std::string bits;
        for (const char c : group) {
            const auto value =
                c == '=' ? 0 : kBase32.find(static_cast<char>(std::toupper(c & 0x7F)));
            for (int bit = 4; bit >= 0; --bit)
                bits += static_cast<char>('0' + (std::min<std::size_t>(value, 31) >> bit & 1));
        }
        const std::size_t kept = group[7] != '='   ? 5
                                 : group[5] != '=' ? 4
                                 : group[4] != '=' ? 3
                                 : group[2] != '=' ? 2
                                                   : 1;
        for (std::size_t b = 0; b < kept; ++b)
            bytes += static_cast<char>(std::stoul(bits.substr(b * 8, 8), nullptr, 2));
    }
    return bytes;
}

}  // namespace

TEST(Base32, EverythingComesBack) { expectEverythingComesBack(encode32, decode32); }

// RFC 4648, section 10, and what is forgiven.
TEST(Base32, Vectors) {
    const std::map<std::string, std::string> vectors = {{"", ""},
                                                        {"f", "MY======"},
                                                        {"fo", "MZXQ===="},
                                                        {"foo", "MZXW6==="},
                                                        {"foob", "MZXW6YQ="},
                                                        {"fooba", "MZXW6YTB"},
                                                        {"foobar", "MZXW6YTBOI======"}};
    for (const auto& [bytes, text] : vectors) {
        EXPECT_EQ(encode32(bytes), text);
        EXPECT_EQ(decode32(text), bytes);
    }
    for (const auto& [text, bytes] :
         std::map<std::string, std::string>{{"mzxw6ytb\r\n oi", "foobar"},
                                            {"M", "\x60"},
                                            {"========", "\0"s},
                                            {"MY======MY======", "ff"},
                                            {"M\xD9======", "f"},
                                            {"01890189", "\xFF\xFF\xFF\xFF\xFF"},
                                            {" \t\r\n", ""}})
        EXPECT_EQ(decode32(text), bytes) << text;
    for (const auto& [n, size] : {std::pair{0u, 0u},
                                  {1u, 8u},
                                  {5u, 8u},
                                  {6u, 16u},
                                  {10u, 16u},
                                  {2684354555u, 4294967288u},
                                  {0xFFFFFFFFu, 0u}})
        EXPECT_EQ(ContentCoding::computeBase32Size(n), size);
    EXPECT_EQ(decode32(x(79, "MZXW6YTB") + " MZ"), x(79, "fooba") + "f");
    forEachString("M=a7!\n", 6, [](const std::string& text) {
        ASSERT_EQ(decode32(text), reference32(text)) << text;
        ASSERT_EQ(decode32("AB" + text), reference32("AB" + text)) << text;
    });
    StringBuffer out;
    DataBuffer nothing;
    LogNull log;
    EXPECT_TRUE(ContentCoding::encodeBase32_noCrLf(nullptr, 5, out));
    EXPECT_TRUE(ContentCoding::decodeBase32(nullptr, nothing, log));
    EXPECT_EQ(out.getSize() + nothing.getSize(), 0u);
}

// RFC 4648, section 10.
TEST(Base32, HexVectors) {
    const std::map<std::string, std::string> vectors = {
        {"f", "CO======"},    {"fo", "CPNG===="},    {"foo", "CPNMU==="},
        {"foob", "CPNMUOG="}, {"fooba", "CPNMUOJ1"}, {"foobar", "CPNMUOJ1E8======"}};
    for (const auto& [bytes, text] : vectors) {
        EXPECT_EQ(base32::encode(bytes, base32::kHex), text);
        EXPECT_EQ(shown(base32::decode(text, base32::kStrictHex)), shown(bytes));
    }
}

TEST(Base32, Lines) {
    const auto inLines = [](const char* bytes, std::size_t columns, bool padded = true) {
        return base32::encode(bytes, {.padded = padded, .columns = columns, .lineEnd = "\n"});
    };
    EXPECT_EQ(inLines("fooba", 8), "MZXW6YTB\n");
    EXPECT_EQ(inLines("foobar", 15), "MZXW6YTB\nOI======\n");
    EXPECT_EQ(inLines("foobar", 1, false), "MZXW6YTB\nOI\n");
    EXPECT_EQ(inLines("foobar", 16), "MZXW6YTBOI======\n");
    EXPECT_EQ(inLines("", 8), "");
}

TEST(Base32, TakesWhatIsAccepted) {
    using enum Fault;
    using enum base32::Padding;
    using base32::kFromMime, base32::kStrictHex;
    expectDecodings<base32::Accept>({
        {"M", {}, Error{kCutGroup, 0}},
        {"M=======", {}, Error{kCutGroup, 0}},
        {"MZX=====", {}, Error{kCutGroup, 2}},
        {"MZXW6Y==", {}, Error{kCutGroup, 5}},
        {"MZX=====", {.cutGroup = true}, "fn"s},
        {"MZXW6YTBM", kFromMime, Error{kCutGroup, 8}},
        {"MY", {}, Error{kPadding, 2}},
        {"MY=====", {}, Error{kPadding, 7}},
        {"MY===M==", {}, Error{kPadding, 5}},
        {"========", {}, Error{kPadding, 0}},
        {"MY=======", {}, Error{kPadding, 8}},
        {"MY", {.padding = kOptional}, "f"s},
        {"MY===", {.padding = kOptional}, Error{kPadding, 5}},
        {"MY", {.padding = kForbidden}, "f"s},
        {"MY======", {.padding = kForbidden}, Error{kPadding, 2}},
        {"MY======MZXQ====", {}, Error{kAfterEnd, 8}},
        {"MY======\n", {}, Error{kAfterEnd, 8}},
        {"MY======MZXQ====", {.concatenated = true}, "ffo"s},
        {"MZ======", {}, Error{kLeftoverBits, 1}},
        {"MZXR====", {}, Error{kLeftoverBits, 3}},
        {"MZ======", {.leftoverBits = true}, "f"s},
        {"MZXw6===", {}, Error{kLowerCase, 3}},
        {"MZXw6===", {.anyCase = true}, "foo"s},
        {"MZ XQ====", {}, Error{kForeignCharacter, 2}},
        {"MZ\r\n\t XQ====", {.whiteSpace = true}, "fo"s},
        {"MZXW6YTBMZX1====", {}, Error{kForeignCharacter, 11}},
        {"M\xD9======", kFromMime, Error{kForeignCharacter, 1}},
        {"mzxw 6", kFromMime, "foo"s},
        {"CZ======", kStrictHex, Error{kForeignCharacter, 1}},
        {"cO======", kStrictHex, Error{kLowerCase, 0}},
    });
}

TEST(Base32, ReservesLittleForWhiteSpace) {
    const std::string spaces = x(1 << 20, " \t\r\n");
    for (const std::size_t groups : {0u, 1u, 1000u}) {
        LogNull log;
        DataBuffer bytes;
        const std::string text = x(groups, "MZXW6YTB") + spaces;
        EXPECT_TRUE(ContentCoding::decodeBase32(text.c_str(), bytes, log));
        EXPECT_EQ(str(bytes), x(groups, "fooba"));
        EXPECT_LT(contentcoding::BufferAccess::capacity(bytes), 11000 + 100 * groups);
    }
}
