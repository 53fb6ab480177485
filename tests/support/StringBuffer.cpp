#include "support/StringBuffer.h"

#include "support/BufferAccess.h"

#include "tests/TestSupport.h"

TEST(StringBuffer, AppendsEveryKindOfPiece) {
    StringBuffer text;
    DataBuffer bytes;
    bytes.append("\0d", 2);
    EXPECT_TRUE(text.appendN("a\0b", 3));
    EXPECT_TRUE(text.appendN("ignored", 0) && text.appendN(nullptr, 3));
    EXPECT_TRUE(text.appendChar('c') && text.appendCharN('=', 3) && text.appendCharN('x', 0));
    EXPECT_TRUE(text.append(bytes) && text.append("e") && text.append(nullptr));
    EXPECT_EQ(text.view(), "a\0bc===\0de"sv);
    EXPECT_EQ(text.getString()[text.getSize()], '\0');
    EXPECT_TRUE(text.append(text));
    EXPECT_EQ(text.view(), "a\0bc===\0dea\0bc===\0de"sv);
    EXPECT_EQ(text.charAt(2), 'b');
    EXPECT_EQ(text.charAt(text.getSize()), '\0');
}

TEST(StringBuffer, AppendsNumbersInDecimal) {
    StringBuffer text;
    for (const unsigned int n : {0u, 233u, 65535u, 4294967295u})
        EXPECT_TRUE(text.append(n) && text.appendChar(' '));
    EXPECT_EQ(text.view(), "0 233 65535 4294967295 ");
}

TEST(StringBuffer, TakesItsOwnBytesWhileItGrows) {
    StringBuffer text("0123456789");
    std::string expected = "0123456789";
    for (int i = 0; i < 12; ++i) {
        ASSERT_TRUE(text.appendN(text.getString() + 3, text.getSize() - 3));
        expected += expected.substr(3);
        ASSERT_EQ(text.view(), expected);
    }
    EXPECT_TRUE(text.setString(text.getString() + 5));
    EXPECT_EQ(text.view(), expected.substr(5));
}

TEST(StringBuffer, RefusesWhatPasses32Bits) {
    StringBuffer text("x");
    EXPECT_FALSE(text.expectNumBytes(0xFFFFFFFF));
    EXPECT_FALSE(text.appendCharN('y', 0xFFFFFFFF));
    EXPECT_EQ(text.view(), "x");
}

TEST(StringBuffer, ReservesWithoutAChange) {
    StringBuffer text("abc");
    EXPECT_TRUE(text.expectNumBytes(1000));
    const char* const place = text.getString();
    EXPECT_EQ(text.view(), "abc");
    EXPECT_TRUE(text.appendCharN('x', 1000));
    EXPECT_EQ(text.getString(), place);
}

TEST(StringBuffer, CutsAndChanges) {
    StringBuffer text("one&#xD;\r\n");
    EXPECT_TRUE(text.endsWith("&#xD;\r\n"));
    EXPECT_FALSE(text.endsWith("zero one&#xD;\r\n"));
    text.shorten(7);
    EXPECT_STREQ(text.getString(), "one");
    text.shorten(4);
    EXPECT_EQ(text.getSize(), 0u);

    text.setString("utf-8'en'x");
    text.chopAtFirstChar('!');
    text.chopAtFirstChar('\'');
    EXPECT_STREQ(text.getString(), "utf-8");
    text.setString("A-\xC4-Z@[");
    text.toLowerCase();
    text.removeCharOccurances('-');
    EXPECT_STREQ(text.getString(), "a\xC4z@[");
    text.weakClear();
    EXPECT_STREQ(text.getString(), "");
    text.removeCharOccurances('-');
    EXPECT_TRUE(text.setString(nullptr));
}

TEST(StringBuffer, FindsText) {
    const StringBuffer text("Header\0Value"sv);
    EXPECT_TRUE(text.containsChar('V') && text.containsChar('\0') && !text.containsChar('v'));
    EXPECT_TRUE(text.containsSubstring("Val") && !text.containsSubstring("val"));
    EXPECT_TRUE(text.containsSubstringNoCase("vAL") && !text.containsSubstringNoCase("vaz"));
    EXPECT_TRUE(text.containsSubstring("") && text.containsSubstringNoCase(""));
    EXPECT_TRUE(StringBuffer("UTF-8").equalsIgnoreCase("utf-8"));
    EXPECT_FALSE(StringBuffer("UTF-8").equalsIgnoreCase("utf-88"));
    EXPECT_FALSE(StringBuffer("[").equalsIgnoreCase("{"));  // 0x20 apart, but no letters
    EXPECT_FALSE(text.containsSubstring(nullptr) || text.containsSubstringNoCase(nullptr) ||
                 text.equalsIgnoreCase(nullptr) || text.endsWith(nullptr));
}

TEST(StringBuffer, HandsItsContentsOver) {
    StringBuffer text("abc");
    unsigned int n = 0;
    const std::unique_ptr<char[]> array(text.extractString(&n));
    EXPECT_STREQ(array.get(), "abc");
    EXPECT_EQ(n, 3u);
    EXPECT_EQ(text.getSize(), 0u);
    const std::unique_ptr<char[]> empty(text.extractString(&n));
    EXPECT_STREQ(empty.get(), "");
    EXPECT_EQ(n, 0u);
    EXPECT_TRUE(text.append("again"));
    EXPECT_STREQ(text.getString(), "again");
}

TEST(StringBuffer, CopiesAndMoves) {
    StringBuffer a("text"), copy(a), moved(std::move(copy));
    EXPECT_EQ(a.view(), moved.view());
    EXPECT_EQ(copy.view(), "");  // NOLINT(bugprone-use-after-move): what is left is documented
    copy = a;
    copy.append("!");
    EXPECT_EQ(a.view(), "text");
    a = copy;
    const auto& self = a;
    a = self;
    EXPECT_EQ(a.view(), "text!");
    EXPECT_EQ(StringBuffer(StringBuffer()).view(), "");
}

TEST(StringBuffer, ReadsHexadecimalDigits) {
    DataBuffer out;
    EXPECT_TRUE(StringBuffer::hexStringToBinary2("00E9ff", 6, out));
    EXPECT_TRUE(StringBuffer::hexStringToBinary2("", 0, out));
    EXPECT_TRUE(StringBuffer::hexStringToBinary2(nullptr, 4, out));
    EXPECT_EQ(str(out), "\0\xE9\xFF"s);
    for (const auto bad : {"00E"sv, "00G0"sv, "0 "sv, "\xB0\xB1"sv})
        EXPECT_FALSE(StringBuffer::hexStringToBinary2(bad.data(), size32(bad), out)) << bad;
    EXPECT_EQ(out.getSize(), 3u);
}

TEST(StringBuffer, IsWrittenInPlaceByThoseInside) {
    using contentcoding::BufferAccess;
    StringBuffer text("ab");
    char* const room = BufferAccess::appendUninitialized(text, 100);
    ASSERT_NE(room, nullptr);
    EXPECT_EQ(text.getString()[102], '\0');
    std::memcpy(room, "cd", 2);
    BufferAccess::shrinkTo(text, 4);
    EXPECT_STREQ(text.getString(), "abcd");

    ASSERT_TRUE(BufferAccess::reserve(text, 200));
    const std::span<char> spare = BufferAccess::spare(text);
    EXPECT_EQ(spare.data(), text.getString() + 4);
    EXPECT_EQ(spare.size(), BufferAccess::capacity(text) - 4);
    std::fill(spare.begin(), spare.end(), 'e');
    BufferAccess::setSize(text, 5);
    EXPECT_STREQ(text.getString(), "abcde");
    BufferAccess::setSize(text, BufferAccess::capacity(text));  // the terminator has its own place
    EXPECT_EQ(text.getString()[text.getSize()], '\0');

    StringBuffer empty;
    EXPECT_TRUE(BufferAccess::spare(empty).empty());
    EXPECT_EQ(BufferAccess::appendUninitialized(text, 0xFFFFFFFF), nullptr);
}
