// Inputs at the edges of 32 bits, over zero pages that need no memory. The outputs do: up to 4 GiB,
// and twice that while a buffer grows. Beyond these edges, texts and results in one call need up to
// 15 GB.

#include <sys/resource.h>

#include "contentcoding/ascii85.hpp"
#include "contentcoding/base64.hpp"
#include "support/Json.h"
#include "tests/TestSupport.h"

namespace {

constexpr unsigned int kMost = 0xFFFFFFFF;
constexpr unsigned int kGiB = 1u << 30;

struct Limit {
    const char* name;
    unsigned int length;
    std::uint64_t size;  // of the whole result; above kMost there is none
    bool (*encode)(const void* data, unsigned int n, StringBuffer& out);
};

using CC = ContentCoding;

const Limit kLimits[] = {
    {"LargestFlatBase64", 3u * (kGiB - 1), 4ull * (kGiB - 1), CC::encodeBase64_noCrLf},
    {"FlatBase64TooLong", 3u * kGiB - 2, 4ull * kGiB, CC::encodeBase64_noCrLf},
    {"AllBase64", kMost, 4ull * ((kMost + 2ull) / 3), CC::encodeModBase64_noCrLf},
    // 3 * n passes 32 bits, and so does the room that is asked for ahead.
    {"Base64SizeWraps", 1431655766, 1908874356, CC::encodeBase64_noCrLf},
    {"LinesTooLong", 3u * kGiB - 3, 4ull * kGiB,
     [](const void* data, unsigned int n, StringBuffer& out) {
         return ContentCoding().encodeBase64(data, n, out);
     }},
    {"EntitiesTooLong", 3u * kGiB - 3, 4ull * kGiB,
     [](const void* data, unsigned int n, StringBuffer& out) {
         return ContentCoding().encodeBase64_crEntity(data, n, out);
     }},
    {"QuotedPrintableTooLong", kMost, 3ull * kMost,
     [](const void* data, unsigned int n, StringBuffer& out) {
         return ContentCoding().encodeQuotedPrintable(data, n, out);
     }},
    {"Base32TooLong", 5u * (kGiB / 2), 4ull * kGiB,
     [](const void* data, unsigned int n, StringBuffer& out) {
         return CC::encodeBase32_noCrLf(static_cast<const unsigned char*>(data), n, out);
     }},
    {"AllAscii85", kMost, kMost / 4 + 4,
     [](const void* data, unsigned int n, StringBuffer& out) {
         LogNull log;
         return CC::encodeAscii85(data, n, out, log);
     }},
    {"AllBase58", kMost, kMost,
     [](const void* data, unsigned int n, StringBuffer& out) {
         LogNull log;
         return CC::encodeBase58(data, n, out, log);
     }},
};

// Refuses the program all memory that it does not have yet.
class NoMoreMemory {
public:
    NoMoreMemory() {
        getrlimit(RLIMIT_DATA, &m_before);
        const rlimit none{1, m_before.rlim_max};  // 0 limits nothing
        EXPECT_EQ(setrlimit(RLIMIT_DATA, &none), 0);
    }
    ~NoMoreMemory() { setrlimit(RLIMIT_DATA, &m_before); }
    NoMoreMemory(const NoMoreMemory&) = delete;
    NoMoreMemory& operator=(const NoMoreMemory&) = delete;

private:
    rlimit m_before{};
};

// Zeros, but for some bytes, so that a length or an offset that wraps is seen.
template <class Encoder, class Decoder>
void expectFiveGiBComeBack(const auto& format, const auto& accept) {
    constexpr auto kSize = static_cast<std::size_t>(5ull << 30);
    const ZeroPages pages(kSize, PROT_READ | PROT_WRITE);
    ASSERT_NE(static_cast<void*>(pages.get()), MAP_FAILED);
    for (const std::uint64_t at : {5ull, kSize - (1ull << 32), (1ull << 32) + 9, kSize - 1ull})
        pages.get()[at] = 'x';
    const std::string_view all(pages.get(), kSize);
    {
        const auto bytes = decode(contentcoding::Bytes(encode(all, format)), accept);
        EXPECT_TRUE(bytes.has_value() && *bytes == all);
    }
    const NoMoreMemory none;
    std::size_t done = 0;
    Decoder decoder(accept);
    const auto compare = [&](std::string_view block) {
        const bool isSame = all.substr(done, block.size()) == block;
        done += block.size();
        return isSame;
    };
    const auto decodeBlock = [&](std::string_view block) {
        return decoder.feed(block, compare).has_value();
    };
    Encoder encoder(format);
    constexpr std::size_t kPiece = 1'000'003;
    bool ok = true;
    for (std::size_t at = 0; ok && at < kSize; at += kPiece)
        ok = encoder.feed(all.substr(at, kPiece), decodeBlock);
    EXPECT_TRUE(ok && encoder.finish(decodeBlock) && decoder.finish(compare));
    EXPECT_EQ(done, kSize);
}

class Limits : public testing::TestWithParam<Limit> {};

}  // namespace

TEST_P(Limits, GiveAWholeResultOrNone) {
    const ZeroPages zeros;
    ASSERT_NE(zeros.get(), MAP_FAILED);
    StringBuffer out;
    const bool ok = GetParam().encode(zeros.get(), GetParam().length, out);
    EXPECT_EQ(ok, GetParam().size <= kMost);
    if (ok) {
        EXPECT_EQ(out.getSize(), GetParam().size);
        EXPECT_EQ(out.getString()[out.getSize()], '\0');
    }
}

INSTANTIATE_TEST_SUITE_P(Encoders, Limits, testing::ValuesIn(kLimits), byName<Limit>);

TEST(Limits, OfDecoders) {
    const ZeroPages zeros;
    unsigned int length = 1;
    EXPECT_EQ(CC::decodeBase64(zeros.get(), 1431655766, &length), nullptr);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(CC::Q_Decode(zeros.get(), kMost, nullptr), nullptr);
    DataBuffer bytes;
    EXPECT_TRUE(CC::decodeDkimQuotedPrintable(zeros.get(), kMost, bytes));
    EXPECT_EQ(bytes.getSize(), kMost);
    LogNull log;
    DataBuffer form;
    EXPECT_FALSE(CC::canonicalizeItida(bytes, form, log));
    EXPECT_EQ(form.getSize(), 0u);
    EXPECT_FALSE(ContentCoding().isBase64(zeros.get(), kMost, log));
    EXPECT_TRUE(ContentCoding().validateBase64(zeros.get(), kMost));
}

// The name is written in front of each element: the form is far longer than the document.
TEST(Limits, OfACanonicalForm) {
    DataBuffer json, out;
    json.appendStr(("{\"" + std::string(1'000'000, 'n') + "\": [0").c_str());
    for (int i = 0; i < 5000; ++i)
        json.appendStr(",0");
    json.appendStr("]}");
    LogNull log;
    EXPECT_FALSE(CC::canonicalizeItida(json, out, log));
    EXPECT_EQ(out.getSize(), 0u);
}

TEST(Limits, AreNoneInTheFace) {
    if (sizeof(void*) < 8) GTEST_SKIP() << "no 5 GiB of addresses";
    namespace base64 = contentcoding::base64;
    namespace ascii85 = contentcoding::ascii85;
    expectFiveGiBComeBack<base64::Encoder, base64::Decoder>(base64::kPlain, base64::kStrict);
    expectFiveGiBComeBack<ascii85::Encoder, ascii85::Decoder>(ascii85::kPlain, ascii85::kStrict);
}
