#include <fstream>
#include <iterator>

#include "tests/TestSupport.h"

namespace {

std::string fileText(const char* name) {
    std::ifstream file(TESTS_DATA_DIR "/itida/"s + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

struct ItidaCase {
    const char* name;
    std::string json;
    std::string canonical;  // or the text that is logged
    const char* options = "";
};

class Itida : public testing::TestWithParam<ItidaCase> {};

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
        ItidaCase{"AllDocuments", kTwo, R"("DOCUMENTS""DOCUMENTS""A""1""DOCUMENTS""A""2")"},
        ItidaCase{"FirstDocument", kTwo, R"("A""1")", "Quick,itidacanonFIRSTDOC;Other"},
        ItidaCase{"NoDocuments", R"({"a": [1]})", R"("A""A""1")", "ItidaCanonFirstDoc"},
        ItidaCase{"LaterDocuments", R"({"documents": {}, "documents": [{}]})",
                  "Failed to load ITIDA JSON (2)\n", "ItidaCanonFirstDoc"},
        ItidaCase{"FirstIsNoObject", R"({"documents": ["a", {}]})",
                  "Failed to load ITIDA JSON (2)\n", "ItidaCanonFirstDoc"},
        ItidaCase{"NoFirst", R"({"documents": []})", "Failed to load ITIDA JSON (2)\n",
                  "ItidaCanonFirstDoc"},
        ItidaCase{"NoObject", "[]", "Failed to load ITIDA JSON (1)\n"},
        ItidaCase{"NoJson", "{\"a\": 1", "Failed to load ITIDA JSON (1)\n", "ItidaCanonFirstDoc"},
        ItidaCase{"Invoice", fileText("invoice.json"), fileText("invoice.canonical")},
        ItidaCase{"Deepest", x(999, "{\"a\":") + "{}" + x(999, "}"), x(999, "\"A\"")}),
    byName<ItidaCase>);
