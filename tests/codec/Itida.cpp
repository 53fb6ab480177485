#include "codec/Itida.h"

#include <pthread.h>

#include <fstream>
#include <iterator>

#include "contentcoding/einvoice.hpp"
#include "tests/codec/FormatSupport.h"

using contentcoding::ItidaStatus, contentcoding::WrittenName;

namespace einvoice = contentcoding::einvoice;

namespace {

std::string fileText(const char* name) {
    std::ifstream file(TESTS_DATA_DIR "/itida/"s + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

const std::string kNoElement = "something is missing: this element of \"documents\", an object at ";

struct ItidaCase {
    const char* name;
    std::string json;
    std::string canonical;  // or the text that is logged
    const char* options = "";
    std::optional<std::size_t> document = std::nullopt;
    std::string fault = "";  // of a text that has no form, and its place
};

// What a failed test prints of a row.
void PrintTo(const ItidaCase& c, std::ostream* out) { *out << c.name; }

// The form, or the fault and its place.
std::string formOf(std::string_view json, const einvoice::Options& options = {}) {
    const ExactCopy exact(json);
    return shown(einvoice::canonicalize({exact.get(), json.size()}, options));
}

class Itida : public testing::TestWithParam<ItidaCase> {};

// Counts what a walk hands over.
struct CountingVisitor {
    std::size_t tokens = 0, bytes = 0;

    WrittenName name(std::string_view text) {
        value(text);
        return {0, text.size() + 2};
    }
    bool again(const WrittenName&) { return ++tokens > 0; }
    bool value(std::string_view text) {
        bytes += text.size();
        return ++tokens > 0;
    }
};

// The bytes of a thread's stack that canonicalizing takes, by what is left of a pattern.
std::size_t stackFor(const std::string& json) {
    constexpr std::size_t kSize = 1 << 19;
    const std::unique_ptr<char[]> stack(new char[kSize]);
    std::memset(stack.get(), 'S', kSize);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    EXPECT_EQ(pthread_attr_setstack(&attributes, stack.get(), kSize), 0);
    const auto run = [](void* text) -> void* {
        if (text && !einvoice::canonicalize(*static_cast<std::string*>(text)))
            ADD_FAILURE() << "no form";
        return nullptr;
    };
    const auto usedFor = [&](std::string* text) {
        pthread_t thread{};
        EXPECT_EQ(pthread_create(&thread, &attributes, run, text), 0);
        pthread_join(thread, nullptr);
        return kSize - std::string_view(stack.get(), kSize).find_first_not_of('S');
    };
    std::string text = json;
    const std::size_t forThread = usedFor(nullptr), all = usedFor(&text);
    pthread_attr_destroy(&attributes);
    return all - forThread;
}

}  // namespace

TEST_P(Itida, Canonicalizes) {
    const ItidaCase& c = GetParam();
    const DataBuffer json({reinterpret_cast<const unsigned char*>(c.json.data()), c.json.size()});
    DataBuffer out;
    out.appendStr("earlier");
    LogText log;
    log.m_options.append(c.options);
    const bool ok = ContentCoding::canonicalizeItida(json, out, log);
    EXPECT_EQ(ok, log.text().getSize() == 0);
    EXPECT_EQ(str(out) + str(log.text()), c.canonical);
}

// The size that was computed is the one that is written: it passes, and one byte less does not.
TEST_P(Itida, NeedsNoMoreThanTheSizeOfTheForm) {
    const ItidaCase& c = GetParam();
    const std::size_t size = c.canonical.size();
    EXPECT_EQ(formOf(c.json, {c.document, size}), c.fault.empty() ? shown(c.canonical) : c.fault);
    if (c.fault.empty() && size > 0) {
        EXPECT_EQ(formOf(c.json, {c.document, size - 1}), "the result is over its limit at 0");
    }
}

TEST(EInvoice, MayBeAnyDocumentOfASubmission) {
    const std::string text =
        R"({"a\"}[": "\\", "doc\u0075ments" : [ {"b": [1, {}]}, "]," , {} , {"c": "é"}]})";
    struct Row {
        std::string json;
        std::size_t document;
        std::string form, count;
    };
    const Row rows[] = {
        {text, 0, shown(R"("B""B""1""B")"s), "4"},
        {text, 1, kNoElement + "53", "4"},
        {text, 2, shown(""s), "4"},
        {text, 3, shown(R"("C""é")"s), "4"},
        {text, 4, kNoElement + "76", "4"},
        {text, ~std::size_t{0}, kNoElement + "76", "4"},
        {R"({"documents": [ ]})", 0, kNoElement + "16", "0"},
        {R"({"documents": {"a": [{}]}})", 0, kNoElement + "14", "0"},
        {R"({"a": [{}, {}] })", 0, "something is missing: the member \"documents\" at 15", "15"},
        {"\xEF\xBB\xBF{ }", 0, "something is missing: the member \"documents\" at 5", "5"},
        {"{\"documents\": [1 2]}", 0, "a syntax error: expected \",\" or \"]\" at 17", "17"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(formOf(row.json, {.document = row.document}), row.form) << row.json;
        const auto count = einvoice::documentCount(row.json);
        EXPECT_EQ(std::to_string(count ? *count : count.error().offset), row.count) << row.json;
    }
}

// The name stands before each element: 186 KB make 4.3 GB.
TEST(ItidaForm, LooksOnceAtWhatStandsOftenInTheForm) {
    const std::string json = "{\"" + x(90'000) + "\":[1" + x(48'000, ",1") + "]}";
    contentcoding::ItidaForm form;
    ASSERT_EQ(form.load(json), ItidaStatus::kOk);
    EXPECT_EQ(form.measure(~0ull), ItidaStatus::kOk);
    EXPECT_EQ(form.size(), 90'002 + 48'001 * (90'002 + 3ull));
    EXPECT_EQ(form.measure(form.size() - 1), ItidaStatus::kTooLarge);

    ClsJsonObject* const document = ClsJsonObject::createNewCls();
    RefCountedObjectOwner owner;
    owner.take(document);
    LogNull log;
    ASSERT_TRUE(document->loadJson(json, log));
    CountingVisitor visitor;
    contentcoding::OpenContainers open;
    EXPECT_TRUE(contentcoding::walkItida(*document, open, visitor));
    EXPECT_EQ(visitor.bytes, 90'000 + 48'001u);
    EXPECT_EQ(visitor.tokens, 1 + 2 * 48'001u);

    EXPECT_EQ(formOf(json), "the result is over its limit at 0");
}

// The parser keeps 8 KB there, whatever the document. Sanitizers, and builds
// without optimisation, make larger frames.
TEST(ItidaForm, TakesLittleStackHoweverDeepTheDocumentIs) {
#if defined(__OPTIMIZE__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__) && \
    !defined(__SANITIZE_THREAD__)
    constexpr std::size_t kMost = 16 << 10;
#else
    constexpr std::size_t kMost = 64 << 10;
#endif
    const std::size_t deep = stackFor(x(499, "{\"a\":[") + "{\"a\": [1]}" + x(499, "]}"));
    EXPECT_LE(deep, kMost);
    EXPECT_LE(deep, stackFor("{\"a\": {\"b\": [1]}}") + 1024);
}

const std::string kTwo = R"({"documents": [{"a": "1"}, {"a": "2"}]})";

INSTANTIATE_TEST_SUITE_P(
    Vectors, Itida,
    testing::Values(
        ItidaCase{"ObjectsAndArrays", R"({"p": "x", "q": [{"r": "y"}, "z"]})",
                  R"("P""x""Q""Q""R""y""Q""z")"},
        ItidaCase{"ArraysInArrays", R"({"q": [[1, [2, 3], {"r": 4}], 5]})",
                  R"("Q""Q""1""2""3""R""4""Q""5")"},
        ItidaCase{"Empty", "{}", ""},
        ItidaCase{"EmptyInside", R"({"a": [], "b": {}, "c": [[], {}], "": ""})",
                  R"("A""B""C""C""C""""")"},
        // Without a name an array does not repeat it.
        ItidaCase{"NamelessArray", R"({"": [1, 2]})", R"("""1""2")"},
        ItidaCase{"Escapes", R"({"a\\\"b": "\\\"", "c": "\\", "d": "\"\"", "e": "\/\t\u00e9"})",
                  R"("A\"B""\\\"""C""\\""D""\"\"""E""/	é")"},
        ItidaCase{"OtherValues", R"({"a": [true, false, null, -0, 1.00, 1E+05]})",
                  R"("A""A""true""A""false""A""null""A""-0""A""1.00""A""1E+05")"},
        ItidaCase{"UpperCase", R"({"aé\u0131ßﬁ": "aé", "A": 1, "a": 2})",
                  R"("AÉIßﬁ""aé""A""1""A""2")"},
        ItidaCase{"LongerInUpperCase", R"({"\u0250": [1, [2], {"\u0251": [3]}]})",
                  R"("Ɐ""Ɐ""1""Ɐ""2""Ɐ""Ɑ""Ɑ""3")"},
        ItidaCase{"AllDocuments", kTwo, R"("DOCUMENTS""DOCUMENTS""A""1""DOCUMENTS""A""2")"},
        ItidaCase{"FirstDocument", kTwo, R"("A""1")", "Quick,itidacanonFIRSTDOC;Other", 0},
        ItidaCase{"OtherOption", kTwo, R"("DOCUMENTS""DOCUMENTS""A""1""DOCUMENTS""A""2")", "Quick"},
        ItidaCase{"NoDocuments", R"({"a": [1]})", R"("A""A""1")", "ItidaCanonFirstDoc"},
        ItidaCase{"LaterDocuments", R"({"documents": {}, "documents": [{}]})",
                  "Failed to load ITIDA JSON (2)\n", "ItidaCanonFirstDoc", 0, kNoElement + "14"},
        ItidaCase{"FirstIsNotAnObject", R"({"documents": ["a", {}]})",
                  "Failed to load ITIDA JSON (2)\n", "ItidaCanonFirstDoc", 0, kNoElement + "15"},
        ItidaCase{"NoFirst", R"({"documents": []})", "Failed to load ITIDA JSON (2)\n",
                  "ItidaCanonFirstDoc", 0, kNoElement + "15"},
        ItidaCase{"NoObject", "\xEF\xBB\xBF []", "Failed to load ITIDA JSON (1)\n", "",
                  std::nullopt, "a syntax error: expected an object at 4"},
        ItidaCase{"NoJson", "{\"é\":\r\n 1", "Failed to load ITIDA JSON (1)\n",
                  "ItidaCanonFirstDoc", 0, "a syntax error: expected \",\" or \"}\" at 10"},
        ItidaCase{"Invoice", fileText("invoice.json"), fileText("invoice.canonical")},
        ItidaCase{"Deepest", x(999, "{\"a\":") + "{}" + x(999, "}"), x(999, "\"A\"")}),
    byName<ItidaCase>);
