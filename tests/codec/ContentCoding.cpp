#include "codec/ContentCoding.h"

#include "tests/TestSupport.h"

TEST(ContentCoding, StartsWithItsDefaults) {
    const ContentCoding codec;
    EXPECT_EQ(codec.m_lineLength, 76u);
    EXPECT_FALSE(codec.m_qEncodeCommaToo);
    EXPECT_FALSE(codec.m_qpDecodeUnicodeEscapes);
}

TEST(ContentCoding, LineLengthIsAtLeast10) {
    ContentCoding codec;
    for (const auto& [set, kept] :
         {std::pair{0u, 10u}, {9u, 10u}, {10u, 10u}, {11u, 11u}, {4000000000u, 4000000000u}}) {
        codec.setLineLength(set);
        EXPECT_EQ(codec.m_lineLength, kept) << set;
    }
}

TEST(ContentCoding, Base64SizeIsComputedModulo32Bits) {
    struct {
        unsigned int n, lineLength, size;
    } constexpr kCases[] = {
        {0, 0, 5},          {0, 76, 5},     {1, 76, 7},       {3, 0, 9},
        {57, 76, 83},       {100, 76, 142}, {1000, 76, 1374}, {1073741821, 0, 1431655767},
        {1073741822, 0, 3},  // 4n + 8 is 2^32
    };
    for (const auto& c : kCases)
        EXPECT_EQ(ContentCoding::computeBase64Size(c.n, c.lineLength), c.size) << c.n;
}
