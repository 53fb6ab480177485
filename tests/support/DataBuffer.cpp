#include "support/DataBuffer.h"

#include "support/BufferAccess.h"

#include "tests/TestSupport.h"

TEST(DataBuffer, AppendsEveryKindOfPiece) {
    DataBuffer bytes;
    EXPECT_TRUE(bytes.append("a\0", 2) && bytes.append(nullptr, 4) && bytes.append("x", 0));
    EXPECT_TRUE(bytes.appendChar(0xFF) && bytes.appendStr("bc") && bytes.appendStr(nullptr));
    EXPECT_TRUE(bytes.appendUint16_be(0x1234));
    EXPECT_EQ(str(bytes),
              "a\0\xFF"s
              "bc\x12\x34"s);
    EXPECT_TRUE(bytes.append(bytes.getData2(), bytes.getSize()));
    EXPECT_EQ(str(bytes),
              "a\0\xFF"s
              "bc\x12\x34"
              "a\0\xFF"s
              "bc\x12\x34"s);
    DataBuffer copy;
    copy = bytes;
    bytes.clear();
    EXPECT_TRUE(bytes.view().empty());
    EXPECT_TRUE(str(copy).ends_with("bc\x12\x34"));
}

TEST(DataBuffer, LeavesNullsOut) {
    for (const auto& [in, kept] : {std::pair{"A\0B\0"sv, "AB"sv},
                                   {"\0\0"sv, ""sv},
                                   {"AB"sv, "AB"sv},
                                   {"\0A\0\0B"sv, "AB"sv},
                                   {""sv, ""sv}}) {
        DataBuffer bytes;
        EXPECT_TRUE(
            bytes.appendSkipNulls(reinterpret_cast<const unsigned char*>(in.data()), size32(in)));
        EXPECT_EQ(str(bytes), kept);
    }
}

TEST(DataBuffer, AdoptsAnArrayInPlaceOfWhatItHeld) {
    DataBuffer bytes;
    bytes.append("old", 3);
    unsigned char* const array = zqNewUnsignedChar(3);
    array[0] = 'n';
    array[1] = 'w';
    bytes.takeData(array, 2);
    EXPECT_EQ(bytes.getData2(), array);
    EXPECT_TRUE(bytes.append("!", 1));
    EXPECT_EQ(str(bytes), "nw!");
    bytes.takeData(nullptr, 0);
    EXPECT_EQ(bytes.getSize(), 0u);
    EXPECT_TRUE(bytes.append("x", 1));
}

TEST(DataBuffer, RefusesWhatPasses32Bits) {
    DataBuffer bytes;
    constexpr unsigned int kAlmostAll = 0xFFFFFFFE;
    unsigned char* const array = zqNewUnsignedChar(kAlmostAll + 1);  // never touched
    if (!array) GTEST_SKIP() << "no 4 GiB of addresses";
    bytes.takeData(array, kAlmostAll);
    EXPECT_FALSE(bytes.append("ab", 2));
    EXPECT_EQ(bytes.getSize(), kAlmostAll);
    EXPECT_EQ(bytes.getData2(), array);
}

TEST(DataBuffer, ParsesBothByteOrdersInsideItsBytes) {
    DataBuffer bytes;
    bytes.append("\x00\xE9\x01", 3);
    unsigned int offset = 0;
    unsigned short value = 7;
    EXPECT_TRUE(bytes.parseUint16(offset, false, value));
    EXPECT_TRUE(value == 233 && offset == 2);
    for (const unsigned int outside : {2u, 3u, 0xFFFFFFFFu}) {
        offset = outside;
        EXPECT_FALSE(bytes.parseUint16(offset, false, value));
        EXPECT_TRUE(value == 233 && offset == outside);
    }
    offset = 1;
    EXPECT_TRUE(bytes.parseUint16(offset, true, value));
    EXPECT_EQ(value, 0x01E9);
    EXPECT_FALSE(DataBuffer().parseUint16(offset = 0, false, value));
}

TEST(DataBuffer, IsWrittenInPlaceByThoseInside) {
    using contentcoding::BufferAccess;
    DataBuffer bytes;
    EXPECT_TRUE(bytes.append("ab", 2));
    unsigned char* const room = BufferAccess::appendUninitialized(bytes, 100);
    ASSERT_NE(room, nullptr);
    std::memcpy(room, "cd", 2);
    BufferAccess::shrinkTo(bytes, 4);
    EXPECT_EQ(str(bytes), "abcd");
    EXPECT_GE(BufferAccess::spare(bytes).size(), 98u);

    // What replaces the contents is written over them, but never over its own source.
    const unsigned int all = BufferAccess::capacity(bytes);
    for (const unsigned int at : {0u, 4u, all})
        EXPECT_EQ(BufferAccess::reuse(bytes, 1, bytes.getData2() + at, 1), nullptr) << at;
    EXPECT_EQ(BufferAccess::reuse(bytes, all + 1, "x", 1), nullptr);
    EXPECT_FALSE(BufferAccess::isApart(bytes, bytes.getData2(), 1));
    EXPECT_TRUE(BufferAccess::isApart(bytes, bytes.getData2(), 0));
    EXPECT_TRUE(BufferAccess::isApart(DataBuffer(), nullptr, 1));
    unsigned char* const again = BufferAccess::reuse(bytes, all, "x", 1);
    EXPECT_EQ(again, bytes.getData2());
    *again = 'x';
    BufferAccess::setSize(bytes, 1);
    EXPECT_EQ(str(bytes), "x");

    unsigned char* const array = zqNewUnsignedChar(9);
    *array = '!';
    BufferAccess::adopt(bytes, array, 1, 8);
    EXPECT_EQ(str(bytes), "!");
    EXPECT_EQ(BufferAccess::spare(bytes).data(), array + 1);
    EXPECT_EQ(BufferAccess::spare(bytes).size(), 7u);
}

#ifndef NDEBUG
// Under its own name: such tests run before threads are started.
TEST(DataBufferDeathTest, DebugBuildsStopWhereMemoryWouldBeMisused) {
    using contentcoding::BufferAccess;
    DataBuffer bytes;
    EXPECT_DEATH(BufferAccess::setSize(bytes, 4), "capacity");
    ASSERT_TRUE(bytes.appendStr("ZJ3"));
    EXPECT_DEATH(BufferAccess::shrinkTo(bytes, 4), "getSize");
    const auto* const text = reinterpret_cast<const char*>(bytes.getData2());
    EXPECT_DEATH(ContentCoding::decodeEda(text, 3, bytes), "isApart");
    LogNull log;
    EXPECT_DEATH((void)ContentCoding::canonicalizeItida(bytes, bytes, log), "json");
}
#endif
