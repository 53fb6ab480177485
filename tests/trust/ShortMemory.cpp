// A program of its own: it replaces the allocation functions, and those of the charset library.

#include <unicode/uclean.h>

#include <cstdlib>
#include <functional>
#include <new>

#include "contentcoding/contentcoding.hpp"
#include "tests/trust/Operations.h"

namespace {

// Which allocation from now on fails, and whether all after it do too; none when it is negative.
int failing = -1;
bool forGood = false;
long living = 0, made = 0;

bool failsNow() {
    if (failing < 0) return false;
    if (failing > 0) {
        --failing;
        return false;
    }
    if (!forGood) failing = -1;
    return true;
}

[[gnu::noinline]] void* allocate(std::size_t n) {
    void* const memory = failsNow() ? nullptr : std::malloc(n == 0 ? 1 : n);
    made += memory ? 1 : 0;
    living += memory ? 1 : 0;
    return memory;
}

[[gnu::noinline]] void release(void* memory) {
    living -= memory ? 1 : 0;
    std::free(memory);
}

}  // namespace

void* operator new(std::size_t n) {
    if (void* const memory = allocate(n)) return memory;
    throw std::bad_alloc();
}
void* operator new[](std::size_t n) { return operator new(n); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return allocate(n); }
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept { return allocate(n); }
void operator delete(void* memory) noexcept { release(memory); }
void operator delete[](void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { release(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { release(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { release(memory); }

namespace {

// What the charset library allocates fails too, but it may keep it: caches are not leaks.
void* icuAllocate(const void*, std::size_t n) { return failsNow() ? nullptr : std::malloc(n); }
void* icuReallocate(const void*, void* memory, std::size_t n) {
    return failsNow() ? nullptr : std::realloc(memory, n);
}
void icuRelease(const void*, void* memory) { std::free(memory); }

[[maybe_unused]] const bool kHooked = [] {
    UErrorCode error = U_ZERO_ERROR;
    u_setMemoryFunctions(nullptr, icuAllocate, icuReallocate, icuRelease, &error);
    return U_SUCCESS(error);
}();

// Each line is one that is logged in any case, or one for short memory.
void expectLogged(std::string_view logged, std::string_view wanted, const Operation& operation) {
    while (!logged.empty()) {
        const std::string_view line = logged.substr(0, logged.find('\n') + 1);
        EXPECT_TRUE(wanted.find(line) != wanted.npos ||
                    operation.logsWhenShort.find(line) != line.npos)
            << operation.name << ": " << line;
        logged.remove_prefix(line.size());
    }
}

class ShortMemory : public testing::TestWithParam<bool> {};

}  // namespace

// Whichever allocation fails, alone or with all after it: no exception, no leak, the contexts of
// the log closed, nothing logged but what is specified, what was held before intact, and the result
// either complete or false. For
// operations that by contract do not look at every append it is the start, or nothing.
TEST_P(ShortMemory, EndsAnOperationWithAResult) {
    ASSERT_TRUE(kHooked);
    ContentCoding codec;
    for (const Operation& operation : operations(codec)) {
        std::string complete, wanted;
        bool expected = false;
        for (int k = -1;; ++k) {
            bool ok = false, reached = true;
            int open = 0;
            const long before = living;
            std::string left, logged;
            {
                CountingLog log;
                CountingOutput sink;
                Scene run(log, sink);
                forGood = GetParam();
                failing = k;
                EXPECT_NO_THROW(ok = operation.run(run)) << operation.name << k;
                reached = k >= 0 && (forGood ? failing == 0 : failing < 0);
                failing = -1;
                open = log.open;
                left = run.all();
                logged = log.texts();
            }
            left.shrink_to_fit();
            if (k < 0) {
                complete = left;
                expected = ok;
                wanted = logged;
                continue;
            }
            EXPECT_EQ(left.substr(0, 4), "held") << operation.name << k;
            EXPECT_EQ(open, 0) << operation.name << k;
            expectLogged(logged, wanted, operation);
            if (ok && expected && !operation.mayBeCut) {
                EXPECT_EQ(left, complete) << operation.name << k;
            }
            left.clear();
            left.shrink_to_fit();
            logged.clear();
            logged.shrink_to_fit();
            EXPECT_EQ(living, before) << operation.name << k;
            if (!reached) break;
            ASSERT_LT(k, 2000) << operation.name;
        }
    }
}

namespace charset = contentcoding::charset;
namespace einvoice = contentcoding::einvoice;
namespace header = contentcoding::header;
namespace mailbox = contentcoding::mailbox;
namespace parameter = contentcoding::parameter;

// What allocates more than its result. Each returns whether that is right.
const std::function<bool()> kAllocating[] = {
    [] {
        const std::string json = R"({"documents": [{"a": ")" + x(5000) + R"("}]})";
        return einvoice::canonicalize(json, {.document = 0}).has_value();
    },
    [] { return charset::fromUtf8(x(5000) + "пр", "koi8-r")->text.ends_with("\xD0\xD2"); },
    [] {
        const auto decoded = header::decode(
            "=?koi8-r?Q?=D0=D2?= caf\xE9 =?utf-8?B?SGVsb?= =?utf-8?B?G8=?= =?iso-8859-5?Q?=D0?=");
        return decoded.text.ends_with("Helloа") && decoded.defects.size() == 1;
    },
    [] {
        const header::Encoding options{.charset = "iso-2022-jp"};
        return header::encode(x(90) + " テスト\xFF", options).ends_with("?=");
    },
    [] {
        const auto parsed =
            mailbox::parse("\"Doe, John\" (c) <j@example.com>, G: =?koi8-r?B?0A==?= <k@l>;");
        return parsed.list.size() == 2 && mailbox::formatList(parsed.list)->ends_with("<k@l>;");
    },
    [] {
        const auto parsed = parameter::parse("a/b; filename*1*=%D0; filename*0*=koi8-r''" + x(99));
        return parsed.get("filename")->ends_with("п") &&
               parameter::format(parsed.value, parsed.parameters)->ends_with("%D0%BF");
    },
};

// The result, or std::bad_alloc, as from a container.
TEST_P(ShortMemory, ComesOutOfTheFace) {
    // The charset library never tries again what failed at its first use.
    for (const auto& allocating : kAllocating)
        ASSERT_TRUE(allocating());
    std::size_t operation = 0;
    for (int k = 0; operation < std::size(kAllocating); ++k) {
        const long before = living;
        bool ok = false;
        forGood = GetParam();
        failing = k;
        try {
            ok = kAllocating[operation]();
        } catch (const std::bad_alloc&) {
        }
        const bool reached = forGood ? failing == 0 : failing < 0;
        failing = -1;
        EXPECT_TRUE(ok || reached) << operation << ' ' << k;
        EXPECT_EQ(living, before) << operation << ' ' << k;
        ASSERT_LT(k, 200);
        if (!reached) {
            ++operation;
            k = -1;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Failing, ShortMemory, testing::Bool(),
                         [](const auto& all) { return all.param ? "FromThereOn" : "Once"; });

// A group that there is no room for leaves nothing behind, nor do those in its block.
TEST(ShortMemory, Base32KeepsWholeBlocksOnly) {
    LogNull log;
    StringBuffer text;
    DataBuffer bytes;
    text.append("held");
    bytes.append("held", 4);  // both have room for 31 now
    failing = 0;
    forGood = true;
    const bool encoded = ContentCoding::encodeBase32_noCrLf(
        reinterpret_cast<const unsigned char*>("abcdefghijklmnopq"), 17, text);
    const bool decoded =
        ContentCoding::decodeBase32("AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA", bytes, log);
    failing = -1;
    EXPECT_FALSE(encoded);
    EXPECT_EQ(text.view(), "held");
    EXPECT_FALSE(decoded);
    EXPECT_EQ(str(bytes), "held");
}

// A buffer that is full takes nothing: some decoders say so, some do not look.
TEST(ShortMemory, AFullBufferRefuses) {
    if (sizeof(void*) < 8) GTEST_SKIP() << "no 4 GiB of addresses";
    constexpr unsigned int kFull = ~0u - 1;
    unsigned char* const array = zqNewUnsignedChar(kFull + 1);  // never touched
    if (!array) GTEST_SKIP() << "no 4 GiB of addresses";
    DataBuffer bytes;
    bytes.takeData(array, kFull);
    LogNull log;
    EXPECT_FALSE(ContentCoding::decodeBase32("MZXW6YTB", bytes, log));
    EXPECT_FALSE(ContentCoding::decodeAscii85(StringBuffer("9jqo^"), bytes, log));
    EXPECT_FALSE(ContentCoding::decodeDkimQuotedPrintable("abc", 3, bytes));
    EXPECT_FALSE(ContentCoding().decodeQuotedPrintable("abc", 3, bytes));
    EXPECT_TRUE(ContentCoding::decodeBase58("zzz", bytes, log));
    EXPECT_TRUE(ContentCoding::decodeEda("ZJ3", 3, bytes));
    EXPECT_EQ(bytes.getSize(), kFull);
}

// A copy that there is no memory for is empty; an assignment changes nothing.
TEST(ShortMemory, AssignmentKeepsTheOldContents) {
    const std::string longer(100, 'n');
    StringBuffer text("old");
    DataBuffer bytes({reinterpret_cast<const unsigned char*>("old"), 3});
    const StringBuffer newText(longer);
    const DataBuffer newBytes({reinterpret_cast<const unsigned char*>(longer.data()), 100});
    failing = 0;
    forGood = true;
    text = newText;
    bytes = newBytes;
    const StringBuffer textCopy(newText);
    const DataBuffer bytesCopy(newBytes);
    failing = -1;
    EXPECT_STREQ(text.getString(), "old");
    EXPECT_EQ(str(bytes), "old");
    EXPECT_EQ(textCopy.getSize() + bytesCopy.getSize(), 0u);
    text = newText;
    bytes = newBytes;
    EXPECT_EQ(str(text), longer);
    EXPECT_EQ(str(bytes), longer);
}

// A context that there is no memory for is missing, with those inside it; the one around it is not.
TEST(ShortMemory, ALogLosesOneContext) {
    const std::string name(100, 'n');
    LogText log;
    {
        const LogContextExitor outer(log, "outer");
        {
            failing = 0;
            forGood = true;
            const LogContextExitor inner(log, name.c_str());
            failing = -1;
            { const LogContextExitor innermost(log, "innermost"); }
            log.LogError("inside");
        }
        log.LogError("entry");
    }
    log.LogError("after");
    EXPECT_EQ(log.text().view(), "outer:\n    inside\n  entry\nafter\n");
}

// An entry is there with its contexts, or they are all missing, whichever allocation fails.
TEST(ShortMemory, ALogLosesAWholeEntry) {
    const std::string name(100, 'n');
    constexpr int kAllocations = 5;
    for (int k = 0; k <= kAllocations; ++k) {
        LogText log;
        {
            const LogContextExitor outer(log, "outer"), inner(log, "inner");
            failing = k;
            forGood = true;
            log.LogError(name.c_str());
            failing = -1;
        }
        log.LogError("after");
        const bool lost = str(log.text()) == "after\n";
        EXPECT_TRUE(lost || str(log.text()) == "outer:\n  inner:\n    " + name + "\nafter\n") << k;
        EXPECT_TRUE(k == 0 ? lost : k < kAllocations || !lost) << k;
    }
}

// How many allocations an operation makes, into a buffer that is new.
TEST(Allocations, AreFew) {
    const ContentCoding codec;
    LogNull log;
    const std::string greek = x(9, "Καλημέρα κόσμε, "), bytes = noise(5000);
    const auto decode = [&](const char* value) {
        StringBuffer text(value);
        const long before = made;
        ContentCoding::QB_DecodeToUtf8(text, log);
        return made - before;
    };
    EXPECT_LE(decode("=?utf-8?Q?Gr=C3=BC=C3=9Fe?= =?UTF-8?B?R3LDvMOfZQ==?= and more"), 1);
    EXPECT_LE(decode("=?koi8-r?B?8NLJ18XU?= =?koi8-r?Q?=F0=D2=C9?="), 2);
    const auto encode = [&](auto append) {
        StringBuffer text;
        const long before = made;
        append(text);
        return made - before;
    };
    EXPECT_LE(
        encode([&](StringBuffer& text) { codec.qEncodeData2("Gr\xC3\xBC", 4, "utf-8", text); }), 1);
    constexpr int kWords = 4;  // 72 characters each, at most
    EXPECT_LE(encode([&](StringBuffer& text) {
                  codec.bEncodeForMimeField(greek.data(), size32(greek), true, 65001, "utf-8", text,
                                            log);
              }),
              2 * kWords);
    EXPECT_EQ(encode([&](StringBuffer& text) {
                  EXPECT_TRUE(codec.encodeBase64_crEntity(bytes.data(), size32(bytes), text));
              }),
              1);
}

// Those of a result alone; none where there is room.
TEST(Allocations, AreThoseOfTheResult) {
    for (const std::size_t size : {16u, 64u, 4096u}) {
        const std::string bytes = noise(static_cast<unsigned int>(size));
        std::vector<char> room(4 * size + 100);
        const auto check = [&](const char* name, auto encode, auto encodeInto, auto decode,
                               auto decodeInto) {
            std::string text = encode(bytes), back = *decode(text);
            long before = made;
            text = encode(bytes);
            EXPECT_LE(made - before, 1) << name << size;
            before = made;
            back = *decode(text);
            EXPECT_LE(made - before, 1) << name << size;
            EXPECT_EQ(back, bytes) << name << size;
            before = made;
            EXPECT_TRUE(encodeInto(room, bytes) && decodeInto(room, text)) << name << size;
            EXPECT_EQ(made - before, 0) << name << size;
        };
#define CHECK_FORMAT(format)                                                                \
    check(                                                                                  \
        #format, [](const auto& in) { return contentcoding::format::encode(in); },          \
        [](auto& to, const auto& in) { return contentcoding::format::encodeInto(to, in); }, \
        [](const auto& in) { return contentcoding::format::decode(in); },                   \
        [](auto& to, const auto& in) { return contentcoding::format::decodeInto(to, in); });
        CHECK_FORMAT(ascii85)
        CHECK_FORMAT(base16)
        CHECK_FORMAT(base32)
        CHECK_FORMAT(base64)
        CHECK_FORMAT(eda)
#undef CHECK_FORMAT
    }
}
