#include <map>

#include "contentcoding/eda.hpp"
#include "tests/codec/FormatSupport.h"

namespace {

namespace eda = contentcoding::eda;

const std::string kEda = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ(),-./=";

std::string encodeEda(std::string_view bytes) {
    StringBuffer out;
    EXPECT_TRUE(ContentCoding::encodeEda(ExactCopy(bytes).get(), size32(bytes), out));
    EXPECT_EQ(eda::encode(bytes), str(out));
    return str(out);
}

std::string decodeEda(std::string_view text) {
    DataBuffer out;
    EXPECT_TRUE(ContentCoding::decodeEda(ExactCopy(text).get(), size32(text), out));
    EXPECT_EQ(shown(eda::decode(text, eda::kAnything)), shown(str(out)));
    return str(out);
}

}  // namespace

TEST(Eda, EverythingComesBack) { expectEverythingComesBack(encodeEda, decodeEda); }

TEST(Eda, Vectors) {
    EXPECT_EQ(encodeEda("\xFF\xFF"), "ZJ3");
    EXPECT_EQ(encodeEda("\0"s), "00");
    EXPECT_EQ(encodeEda("\xFF"), "5.");
    const std::map<std::string, std::string> rows = {
        {"0", ""},   {"ZJ3x", "\xFF\xFF"},         {"ZJ35.", "\xFF\xFF\xFF"}, {"Z==", "\x04\x03"},
        {"==", "8"}, {"a\x80~", decodeEda("(((")}, {"*+:;<>", x(4, "\0"s)},   {"?@", "\0"s},
        {"(", ""}};
    for (const auto& [text, bytes] : rows)
        EXPECT_EQ(decodeEda(text), bytes) << text;
    for (std::size_t v = 0; v < 65536; v += 7) {
        const std::string bytes = {static_cast<char>(v >> 8), static_cast<char>(v)};
        ASSERT_EQ(encodeEda(bytes), (std::string{kEda[v / 1849], kEda[v / 43 % 43], kEda[v % 43]}));
    }
    StringBuffer out;
    DataBuffer nothing;
    EXPECT_TRUE(ContentCoding::encodeEda(nullptr, 5, out));
    EXPECT_TRUE(ContentCoding::decodeEda(nullptr, 5, nothing));
    EXPECT_EQ(out.getSize() + nothing.getSize(), 0u);
}

TEST(Eda, TakesWhatIsAccepted) {
    using enum Fault;
    expectDecodings<eda::Accept>({
        {"ZJ35.", {}, "\xFF\xFF\xFF"s},
        {"ZJ3ZJ4", {}, Error{kGroupTooLarge, 3}},
        {"ZJ35/", {}, Error{kGroupTooLarge, 3}},
        {"ZJ30", {}, Error{kCutGroup, 3}},
        {"ZJ3zJ3", {}, Error{kForeignCharacter, 3}},
        {"ZJ3@", {}, Error{kForeignCharacter, 3}},
        {"0\xB0", {}, Error{kForeignCharacter, 1}},
    });
}
