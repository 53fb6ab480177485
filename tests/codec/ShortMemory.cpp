#include <functional>
#include <new>

#include "tests/TestSupport.h"

namespace {

// Which allocation from now on fails; none when it is negative.
int failing = -1;

}  // namespace

void* operator new[](std::size_t n, const std::nothrow_t&) noexcept {
    if (failing >= 0 && failing-- == 0) return nullptr;
    try {
        return operator new[](n);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

namespace {

bool tookArray(void* array) {
    delete[] static_cast<char*>(array);
    return array != nullptr;
}

struct Operation {
    const char* name;
    std::function<bool(StringBuffer& text, DataBuffer& bytes, LogBase& log)> run;
};

const std::string kBytes = noise(5000), kText(5000, 'A');
const StringBuffer kAscii85(std::string(5000, '!'));
const ContentCoding kCodec;
unsigned int length;

const Operation kOperations[] = {
    {"encodeBase64",
     [](auto& text, auto&, auto&) { return kCodec.encodeBase64(kBytes.data(), 5000, text); }},
    {"encodeBase64_noCrLf",
     [](auto& text, auto&, auto&) {
         return ContentCoding::encodeBase64_noCrLf(kBytes.data(), 5000, text);
     }},
    {"decodeBase64",
     [](auto&, auto&, auto&) {
         return tookArray(ContentCoding::decodeBase64(kText.data(), 5000, &length));
     }},
    {"decodeBase64ToDb",
     [](auto&, auto& bytes, auto&) {
         return ContentCoding::decodeBase64ToDb(kText.data(), 5000, bytes);
     }},
    {"appendBase64",
     [](auto& text, auto&, auto&) { return ContentCoding().appendBase64(text, kText.c_str()); }},
    {"decodeDkim",
     [](auto&, auto& bytes, auto&) {
         return ContentCoding::decodeDkimQuotedPrintable(kText.data(), 5000, bytes);
     }},
    {"B_Encode",
     [](auto&, auto&, auto&) { return tookArray(kCodec.B_Encode(kBytes.data(), 5000, &length)); }},
    {"Q_Decode",
     [](auto&, auto&, auto&) {
         return tookArray(ContentCoding::Q_Decode(kText.data(), 5000, nullptr));
     }},
    {"encodeBase32",
     [](auto& text, auto&, auto&) {
         return ContentCoding::encodeBase32_noCrLf(
             reinterpret_cast<const unsigned char*>(kBytes.data()), 5000, text);
     }},
    {"decodeBase32",
     [](auto&, auto& bytes, auto& log) {
         return ContentCoding::decodeBase32(kText.c_str(), bytes, log);
     }},
    {"encodeBase58",
     [](auto& text, auto&, auto& log) {
         return ContentCoding::encodeBase58(kBytes.data(), 200, text, log);
     }},
    {"encodeAscii85",
     [](auto& text, auto&, auto& log) {
         return ContentCoding::encodeAscii85(kBytes.data(), 5000, text, log);
     }},
    {"decodeAscii85", [](auto&, auto& bytes,
                         auto& log) { return ContentCoding::decodeAscii85(kAscii85, bytes, log); }},
};

}  // namespace

// Whichever allocation fails, the result says so, nothing is logged, and what was held stays. The
// address sanitizer sees to leaks.
TEST(ShortMemory, EndsAnOperationWithAResult) {
    for (const auto& operation : kOperations) {
        int k = 0;
        for (bool done = false; !done; ++k) {
            StringBuffer text("held");
            DataBuffer bytes;
            LogText log;
            failing = k;
            const bool ok = operation.run(text, bytes, log);
            done = failing >= 0;  // there was no k-th allocation
            failing = -1;
            EXPECT_EQ(text.view().substr(0, 4), "held") << operation.name;
            EXPECT_EQ(log.text().getSize(), 0u) << operation.name;
            // A buffer that fails to double may still find the room that is needed.
            EXPECT_TRUE(ok || !done) << operation.name << k;
        }
        EXPECT_GT(k, 1) << operation.name << " allocates nothing";
        StringBuffer text;
        DataBuffer bytes;
        LogNull log;
        failing = 0;
        EXPECT_FALSE(operation.run(text, bytes, log)) << operation.name;
        failing = -1;
    }
}

// A buffer that is full takes nothing: some decoders say so, some do not look.
TEST(ShortMemory, AFullBufferRefuses) {
    constexpr unsigned int kFull = ~0u - 1;
    unsigned char* const array = zqNewUnsignedChar(kFull + 1);  // never touched
    if (!array) GTEST_SKIP() << "no 4 GiB of addresses";
    DataBuffer bytes;
    bytes.takeData(array, kFull);
    LogNull log;
    EXPECT_FALSE(ContentCoding::decodeBase32("MZXW6YTB", bytes, log));
    EXPECT_FALSE(ContentCoding::decodeAscii85(StringBuffer("9jqo^"), bytes, log));
    EXPECT_FALSE(ContentCoding::decodeDkimQuotedPrintable("abc", 3, bytes));
    EXPECT_FALSE(kCodec.decodeQuotedPrintable("abc", 3, bytes));
    EXPECT_TRUE(ContentCoding::decodeBase58("zzz", bytes, log));
    EXPECT_TRUE(ContentCoding::decodeEda("ZJ3", 3, bytes));
    EXPECT_EQ(bytes.getSize(), kFull);
}
