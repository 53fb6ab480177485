#include "codec/ContentCoding.h"

#include "support/BufferAccess.h"
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

namespace {

// What a call appends to a buffer without room, and whether it appends the same, and says the same,
// to one that has room.
template <class Buffer, class Call>
std::string appended(Call call) {
    Buffer empty, roomy;
    EXPECT_TRUE(roomy.appendChar('x'));
    const bool reserved = contentcoding::BufferAccess::reserve(roomy, 10000);
    EXPECT_TRUE(reserved);
    EXPECT_EQ(call(empty), call(roomy));
    EXPECT_EQ("x" + str(empty), str(roomy));
    return str(empty);
}

struct RadixCase {
    bool (*encode)(const std::string& bytes, StringBuffer& out);
    bool (*decode)(const StringBuffer& text, DataBuffer& out);
};

constexpr RadixCase kRadixes[] = {
    {[](const std::string& bytes, StringBuffer& out) {
         return ContentCoding::encodeBase32_noCrLf(
             reinterpret_cast<const unsigned char*>(bytes.data()), size32(bytes), out);
     },
     [](const StringBuffer& text, DataBuffer& out) {
         LogNull log;
         return ContentCoding::decodeBase32(text.getString(), out, log);
     }},
    {[](const std::string& bytes, StringBuffer& out) {
         LogNull log;
         return ContentCoding::encodeAscii85(bytes.data(), size32(bytes), out, log);
     },
     [](const StringBuffer& text, DataBuffer& out) {
         LogNull log;
         return ContentCoding::decodeAscii85(text, out, log);
     }},
    {[](const std::string& bytes, StringBuffer& out) {
         return ContentCoding::encodeEda(bytes.data(), size32(bytes), out);
     },
     [](const StringBuffer& text, DataBuffer& out) {
         return ContentCoding::decodeEda(text.getString(), text.getSize(), out);
     }},
};

}  // namespace

// Room for all is written to at once; texts are whole, cut, spaced, and too long for that.
TEST(ContentCoding, DoesTheSameInABufferThatHasRoom) {
    for (const RadixCase& radix : kRadixes) {
        for (std::size_t n = 0; n < 90; ++n) {
            std::string bytes = noise(n < 85 ? n : 50 * n);
            if (n > 60) bytes.replace(8, 8, 8, '\0');
            std::string text =
                appended<StringBuffer>([&](StringBuffer& out) { return radix.encode(bytes, out); });
            for (int change = 0; change < 3; ++change) {
                StringBuffer in;
                ASSERT_TRUE(in.appendN(text.data(), size32(text)));
                const std::string back =
                    appended<DataBuffer>([&](DataBuffer& out) { return radix.decode(in, out); });
                EXPECT_TRUE(change > 0 || back == bytes) << n;
                text.insert(text.size() / 2, change == 0 ? " " : "zzzz");
            }
        }
    }
}
