#include "contentcoding/base16.hpp"

#include "tests/codec/FormatSupport.h"

namespace base16 = contentcoding::base16;

// RFC 4648, section 10, and all bytes.
TEST(Base16, Vectors) {
    EXPECT_EQ(base16::encode(""), "");
    EXPECT_EQ(base16::encode("foobar"), "666F6F626172");
    EXPECT_EQ(base16::encode("\xAB\xCD\xEF", base16::kLower), "abcdef");
    for (unsigned int b = 0; b < 256; ++b) {
        char text[3];
        std::snprintf(text, sizeof text, "%02X", b);
        const std::string byte(1, static_cast<char>(b));
        EXPECT_EQ(base16::encode(byte), text);
        EXPECT_EQ(shown(base16::decode(std::string_view(text))), shown(byte));
    }
}

TEST(Base16, Lines) {
    const auto inLines = [](const char* bytes, std::size_t columns) {
        return base16::encode(bytes, {.columns = columns, .lineEnd = "\n"});
    };
    EXPECT_EQ(inLines("foo", 4), "666F\n6F\n");
    EXPECT_EQ(inLines("fo", 5), "666F\n");
    EXPECT_EQ(inLines("fo", 1), "66\n6F\n");
    EXPECT_EQ(inLines("", 4), "");
}

TEST(Base16, TakesWhatIsAccepted) {
    using enum Fault;
    using base16::kAnything, base16::kFromMime, base16::kStrictLower;
    expectDecodings<base16::Accept>({
        {"6", {}, Error{kCutGroup, 0}},
        {"66 6", kFromMime, Error{kCutGroup, 3}},
        {"0x66", kAnything, Error{kCutGroup, 3}},
        {"6F6f", {}, Error{kLowerCase, 3}},
        {"6f6F", kStrictLower, Error{kLowerCase, 3}},
        {"6f6F", {.anyCase = true}, "oo"s},
        {"666G", {}, Error{kForeignCharacter, 3}},
        {"6\xB6", kFromMime, Error{kForeignCharacter, 1}},
        {"66\n", {}, Error{kForeignCharacter, 2}},
        {"6 6\t6F\r\n", {.whiteSpace = true}, "fo"s},
        {"<66-6f>\xB6", kAnything, "fo"s},
    });
}
