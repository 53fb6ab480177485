#include <map>

#include "contentcoding/ascii85.hpp"
#include "tests/codec/FormatSupport.h"

namespace {

namespace ascii85 = contentcoding::ascii85;

std::string encode85(std::string_view bytes) {
    StringBuffer out;
    LogNull log;
    EXPECT_TRUE(ContentCoding::encodeAscii85(ExactCopy(bytes).get(), size32(bytes), out, log));
    EXPECT_EQ(ascii85::encode(bytes), str(out));
    return str(out);
}

std::string decode85(std::string_view text) {
    DataBuffer out;
    LogText log;
    const bool ok = ContentCoding::decodeAscii85(StringBuffer(text), out, log);
    EXPECT_EQ(ok, log.text().getSize() == 0);
    const Result<std::string> face = ascii85::decode(text, ascii85::kAnything);
    EXPECT_EQ(face.has_value(), ok);
    EXPECT_EQ(face.value_or(str(out)), str(out));
    return str(out) + str(log.text());
}

}  // namespace

TEST(Ascii85, EverythingComesBack) { expectEverythingComesBack(encode85, decode85); }

TEST(Ascii85, Vectors) {
    EXPECT_EQ(encode85("Man is distinguished"), "9jqo^BlbD-BleB1DJ+*+F(f,q");
    EXPECT_EQ(encode85(x(9, "\0"s)), "zz!!");
    EXPECT_EQ(encode85(x(7, "\0"s)), "z!!!!");
    EXPECT_EQ(encode85("\xFF\xFF\xFF\xFF"), "s8W-!");
    const std::string foreign = "Invalid ascii85 input: char not in ascii85 alphabet.\n";
    const std::string over = "Invalid ascii85 input: integer overflow.";
    const std::string overAtEnd = "Invalid ascii85 input in final chunk: integer overflow.";
    const std::map<std::string, std::string> rows = {
        {"<~9jqo^BlbD-~>~junk\x80", "Man is d"},
        {" \t\r\n<~ 9jq\no^ ~>", "Man "},
        {"9jqo^BlbD", "Man is "},
        {"", ""},
        {" \n", ""},
        {"<~", ""},
        {"<~~>", ""},
        {"<~ \n~>", ""},
        {"~>x", ""},
        {"!", ""},
        {"zz", x(8, "\0"s)},
        {"!!!!!z", x(8, "\0"s)},
        {"!!!!z", "\0\0\0\x59"s},
        {" z!!!", x(6, "\0"s)},  // 89 as a digit
        {"!!!!! z", overAtEnd + "\n"},
        // 50529027 is 0x3030303, and its product with 85 is 2^32 - 1.
        {"s8W-!", "\xFF\xFF\xFF\xFF"},
        {"s8W-\"", over + ".\n"},
        {"s8W.!", over + "\n"},
        {"uuuuu", over + "\n"},
        {"s8W,u", "\xFF\xFF\xFF\xFE"},
        {"s8W,v", foreign},
        {"s8W-", overAtEnd + ".\n"},
        {"s8W,", "\xFF\xFF\xFF"},
        {"s8W", overAtEnd + "\n"},
        {"s8V", "\xFF\xFF"},
        {"u", overAtEnd + "\n"},
        {"s", overAtEnd + "\n"},
        {"r", ""},
        {"9jqo~", foreign},
        {"9jqo~x", foreign},
        {"9jqo^~~>", foreign},
        {"9jqo^\0"s, foreign},
        {"9jqo^y", foreign},
        {"<", ""},
    };
    for (const auto& [text, result] : rows) {
        EXPECT_EQ(decode85(text), result) << text;
    }
    // What was handed over before a fault stays: 64 groups make 256 bytes.
    EXPECT_EQ(decode85(x(63, "z") + "uuuuu"), over + "\n");
    EXPECT_EQ(decode85(x(64, "z") + "uuuuu"), x(256, "\0"s) + over + "\n");
    EXPECT_EQ(decode85(x(64, "z") + " \n"), x(256, "\0"s));
    StringBuffer out;
    LogNull log;
    EXPECT_TRUE(ContentCoding::encodeAscii85(nullptr, 5, out, log));
    EXPECT_EQ(out.getSize(), 0u);
}

TEST(Ascii85, FramesAndLines) {
    struct Row {
        std::string bytes;
        bool framed;
        std::size_t columns;
        std::string text;
    };
    for (const auto& [bytes, framed, columns, text] :
         {Row{"Man ", true, 0, "<~9jqo^~>"},
          {"", true, 0, "<~~>"},
          {"", true, 8, "<~~>\n"},
          {"", false, 8, ""},
          {"Man ", false, 5, "9jqo^\n"},
          {"Man ", true, 5, "<~9jq\no^~>\n"},
          {"Man ", true, 4, "<~9j\nqo^\n~>\n"},
          {"Man ", true, 1, "<~\n9j\nqo\n^\n~>\n"},
          {"Man \0\0\0\0\0"s, false, 7, "9jqo^z!\n!\n"}})
        EXPECT_EQ(ascii85::encode(bytes, {.framed = framed, .columns = columns, .lineEnd = "\n"}),
                  text);
}

TEST(Ascii85, TakesWhatIsAccepted) {
    using enum Fault;
    using ascii85::kAnything, ascii85::kFromMime;
    constexpr ascii85::Accept kFramed{.framed = ascii85::Frame::kRequired};
    constexpr ascii85::Accept kMaybe{.framed = ascii85::Frame::kOptional};
    const std::string zeros(4, '\0');
    expectDecodings<ascii85::Accept>({
        {"9jqo^z!!", {}, "Man " + zeros + "\0"s},
        {"9jqo^!!!!!", {}, Error{kForeignCharacter, 5}},
        {"!!!!!", {.longZeros = true}, zeros},
        {"z!\"", {}, Error{kLeftoverBits, 2}},
        {"z!\"", {.leftoverBits = true}, zeros + "\0"s},
        {"9jqo^!", {}, Error{kCutGroup, 5}},
        {"9jqo^!", {.foreign = true}, "Man "s},
        {"!z", {}, Error{kForeignCharacter, 1}},
        {"!!!!z", {.foreign = true}, "\0\0\0\x59"s},
        {"\n z", {}, Error{kForeignCharacter, 0}},
        {"9jqo^\n z", {.whiteSpace = true}, "Man " + zeros},
        {"9jqo^\n z", kAnything, Error{kGroupTooLarge, 7}},
        {"9jqo^\r\n \t 9jqo^z", kAnything, "Man Man " + zeros},
        {"zs8W-\"", {}, Error{kGroupTooLarge, 1}},
        {"s8W-", {}, Error{kGroupTooLarge, 0}},
        {"9jqo^x", kAnything, Error{kForeignCharacter, 5}},
        {"9jqo^~>", {}, Error{kFrame, 5}},
        {"<~9jqo^~>", {}, Error{kFrame, 1}},
        {"<~9jqo^~>", kFramed, "Man "s},
        {"<~~>", kFramed, ""s},
        {"", kFramed, Error{kFrame, 0}},
        {"~>", kFramed, Error{kFrame, 0}},
        {"9jqo^~>", kFramed, Error{kFrame, 0}},
        {"<", kFramed, Error{kFrame, 0}},
        {"<9jqo~>", kFramed, Error{kFrame, 0}},
        {"<~9jqo^", kFramed, Error{kFrame, 7}},
        {"<~9jqo^~", kFramed, Error{kFrame, 8}},
        {"<~9jqo^~x", kFramed, Error{kForeignCharacter, 7}},
        {"<~!~>", kFramed, Error{kCutGroup, 2}},
        {"<~z~>\n", kFramed, Error{kAfterEnd, 5}},
        {"<~z~>~>", kMaybe, Error{kAfterEnd, 5}},
        {"<~z~>~>", kAnything, zeros},
        {"<~z", kMaybe, zeros},
        {"z~>", kMaybe, zeros},
        {" <~ z ~> ", kFromMime, zeros},
        {"< <~", kFromMime, Error{kFrame, 4}},
    });
}
