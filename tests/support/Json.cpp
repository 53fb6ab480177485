#include "support/Json.h"

#include "tests/TestSupport.h"

namespace {

// A document with the owner of its only reference.
struct Document {
    ClsJsonObject* object = ClsJsonObject::createNewCls();
    RefCountedObjectOwner owner;
    LogText log;
    Document() { owner.take(object); }

    bool load(const std::string& json) {
        const DataBuffer bytes({reinterpret_cast<const unsigned char*>(json.data()), json.size()});
        return object->loadJson(bytes, log);
    }

    // "line:column expected" of a text that does not load; empty for one that does.
    std::string faultOf(const std::string& json) {
        if (load(json)) return "";
        const contentcoding::JsonFault& fault = object->fault();
        return std::to_string(fault.line) + ':' + std::to_string(fault.column) + ' ' +
               (fault.expected ? fault.expected : "");
    }
};

std::string valueText(const contentcoding::JsonContainer& container, int index) {
    XString text;
    return container.StringAt(index, text) ? text.getUtf8() : "none";
}

std::string nested(const std::string& open, const std::string& close, std::size_t levels) {
    return x(levels, open) + x(levels, close);
}

}  // namespace

TEST(Json, AcceptsWhatIsJson) {
    const std::string documents[] = {
        "{}",
        " \t\r\n{ \"a\" : [ ] } \n",
        "\xEF\xBB\xBF{}",
        R"({"a": "\"\\\/\b\f\n\r\t\u0041\uD83D\uDE00\u0000"})",
        "{\"\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF\": 1}",
        R"({"": {"": [null, true, false]}, "": ""})",
        R"({"a": [0, -0, 10, 1.5, -1.5e10, 1E-400, 1e+9, 123456789012345678901234567890]})",
        "{\"a\": 0." + x(400, "0") + "1}",
        "{\"a\":" + nested("[", "]", 999) + "}",
        nested("{\"a\":", "}", 999).insert(999 * 5, "{}"),
        "{\"a\": \"" + x(100'000, "9") + "\"}",
        "{\"a\": 0." + std::string(99'999'999, '0') + "}",
        // Numbers near the largest double, and how the fraction raises the limit of an exponent.
        "{\"a\": [1" + x(308, "0") + ", -1" + x(308, "0") + ", 1797" + x(305, "0") + "]}",
        R"({"a": [1e308, 9.99e308, 999e308, 1.5e309, 0.00123e313, 1e0308, 9e-999999999999]})",
        "{\"a\": 1." + x(16, "1") + "e324}",
    };
    for (const std::string& json : documents) {
        EXPECT_EQ(Document().faultOf(json), "") << json.substr(0, 80);
        // Any cut is noticed, but that of white space at the end.
        const std::size_t last = json.find_last_of('}');
        for (std::size_t n = 0; n <= last && last < 1'000'000; n += 1 + last / 500)
            EXPECT_NE(Document().faultOf(json.substr(0, n)), "") << json.substr(0, n);
    }
}

TEST(Json, ReportsWhereATextIsNotJson) {
    const struct {
        std::string json, fault;
    } cases[] = {
        {"", "1:1 an object"},
        {"\xEF\xBB\xBF", "1:1 an object"},
        {" \n [1]", "2:2 an object"},
        {"\"a\"", "1:1 an object"},
        {"{", "1:2 a member's name"},
        {"{a: 1}", "1:2 a member's name"},
        {"{'a': 1}", "1:2 a member's name"},
        {R"({"a": 1,})", "1:9 a member's name"},
        {R"({"a" 1})", "1:6 \":\""},
        {R"({"a":})", "1:6 a value"},
        {R"({"a": 1 "b": 2})", "1:9 \",\" or \"}\""},
        {R"({"a": [1 2]})", "1:10 \",\" or \"]\""},
        {R"({"a": [1,]})", "1:10 a value"},
        {R"({"a": [1}})", "1:9 \",\" or \"]\""},
        {R"({"a": True})", "1:7 a value"},
        {R"({"a": nul})", "1:10 a value"},
        {R"({"a": NaN})", "1:7 a value"},
        {R"({"a": -})", "1:8 a value"},
        {R"({"a": +1})", "1:7 a value"},
        {R"({"a": .5})", "1:7 a value"},
        {R"({"a": 01})", "1:8 \",\" or \"}\""},
        {R"({"a": 1.})", "1:9 a digit"},
        {R"({"a": 1e})", "1:9 a digit"},
        {R"({"a": 0x1})", "1:8 \",\" or \"}\""},
        {R"({"a": 1e400})", "1:7 a smaller number"},
        {R"({"a": 1e309})", "1:7 a smaller number"},
        {R"({"a": [1.5e309, 1.5e310]})", "1:17 a smaller number"},
        {R"({"a": 0e309})", "1:7 a smaller number"},
        {"{\"a\": 1" + x(309, "0") + "}", "1:7 a smaller number"},
        {"{\"a\": " + x(309, "9") + "}", "1:7 a smaller number"},
        {"{\"a\": -1798" + x(305, "0") + ".5}", "1:7 a smaller number"},
        {R"({"a": ")" + x(9) + "\n\"}", "1:17 a valid escape (control characters need one)"},
        {R"({"a": "\x"})", "1:8 a valid escape (control characters need one)"},
        {R"({"a": "\u12g4"})", "1:8 four hexadecimal digits"},
        {R"({"a": "\ud83d"})", "1:8 surrogates in pairs"},
        {R"({"a": "\ud83dA"})", "1:8 surrogates in pairs"},
        {R"({"a": "x\ude00"})", "1:8 surrogates in pairs"},
        {R"({"\udc00": 1})", "1:3 surrogates in pairs"},
        {R"({"a": "b)", "1:9 a closing quotation mark"},
        {"{} {}", "1:4 the end of the document"},
        {"{}\n\n}", "3:1 the end of the document"},
        {"{}\0"s, "1:3 the end of the document"},
        {"{\"a\0\": 1}"s, "1:4 a closing quotation mark"},
        {"{\"a\": // no\n 1}", "1:7 a value"},
        {"{\"a\": \"\x80\"}", "1:8 UTF-8"},
        {"{\"a\": \"\xC0\x80\"}", "1:8 UTF-8"},
        {"{\"a\": \"\xED\xA0\x80\"}", "1:8 UTF-8"},
        {"{\"a\": \"\xF4\x90\x80\x80\"}", "1:8 UTF-8"},
        {"{\"\xE2\x82", "1:3 UTF-8"},
        {"{} \xC2\xA0", "1:4 the end of the document"},
        {"{]\xFF", "1:2 a member's name"},
        {"{\"é\u20AC😀\": x}", "1:9 a value"},                 // columns are characters
        {"{\r\n\"a\":\r1,\n\r\n x}", "5:2 a member's name"},  // three kinds of line ends
        {"{\"a\":" + nested("[", "]", 1000) + "}", "1:1005 at most 1000 levels"},
        {x(1'000'000, "{\"a\":"), "1:5001 at most 1000 levels"},
        {"{\"a\":" + x(1'000'000, "["), "1:1005 at most 1000 levels"},
        // Where the reader of numbers would overflow.
        {"{\"a\": 0." + std::string(100'000'000, '0') + "e1}", "1:9 fewer digits"},
    };
    for (const auto& c : cases) {
        Document document;
        EXPECT_EQ(document.faultOf(c.json), c.fault) << c.json.substr(0, 80);
        EXPECT_TRUE(document.log.text().containsSubstring("no JSON document")) << c.fault;
    }
}

// Neither read nor called a fault: the parser counts in 32 bits.
TEST(Json, RefusesATextOf4GiB) {
    if (sizeof(std::size_t) < 8) GTEST_SKIP();
    const ZeroPages zeros;
    Document document;
    EXPECT_FALSE(document.object->loadJson({zeros.get(), std::size_t{1} << 32}, document.log));
    EXPECT_EQ(document.object->fault().expected, nullptr);
    EXPECT_EQ(document.log.text().getSize(), 0u);
}

// Wherever they stand: the parser looks at sixteen characters at a time.
TEST(Json, RefusesControlCharactersInStrings) {
    for (char c = 1; c < 0x20; ++c) {
        for (std::size_t n = 0; n <= 40; ++n) {
            for (const char* escape : {"", "\\n"}) {
                const std::string start = "{\"a\": \"" + std::string(escape) + x(n);
                EXPECT_EQ(Document().faultOf(start + c + "b\"}"),
                          "1:" + std::to_string(start.size() + 1) +
                              " a valid escape (control characters need one)")
                    << int{c} << " after " << n;
            }
        }
    }
}

TEST(Json, KeepsMembersAsTheyAreWritten) {
    Document document;
    ASSERT_TRUE(document.load(R"({"b": "x", "a": 1.00, "b": [-0, 1E5], "c\u0000d": "e\u0000f",
        "n": null, "t": true, "o": {"k": "v"}, "big": 1234567890123456789012345678901234567890})"));
    const struct {
        const char *name, *text;
        int type;
    } members[] = {{"b", "x", 1},    {"a", "1.00", 2},
                   {"b", "none", 4}, {"c", "e", 1},
                   {"n", "null", 6}, {"t", "true", 5},
                   {"o", "none", 3}, {"big", "1234567890123456789012345678901234567890", 2}};
    const ClsJsonObject& object = *document.object;
    ASSERT_EQ(object.get_Size(), 8);
    for (int i = 0; i < 8; ++i) {
        XString name;
        EXPECT_TRUE(object.NameAt(i, name));
        EXPECT_STREQ(name.getUtf8(), members[i].name);
        EXPECT_EQ(valueText(object, i), members[i].text);
        EXPECT_EQ(object.TypeAt(i), members[i].type);
        EXPECT_TRUE(object.hasMember(members[i].name, document.log));
    }
    for (const char* name : {"", "d", "c\0d", static_cast<const char*>(nullptr)})
        EXPECT_EQ(object.hasMember(name, document.log), name && *name == 'c');
    for (const int none : {-1, 8, 1 << 30}) {
        XString name;
        EXPECT_FALSE(object.NameAt(none, name));
        EXPECT_EQ(valueText(object, none), "none");
        EXPECT_EQ(object.TypeAt(none), 0);
        EXPECT_EQ(object.ObjectAt(none), nullptr);
        EXPECT_EQ(object.ArrayAt(none), nullptr);
    }
    EXPECT_EQ(object.ObjectAt(2), nullptr);
    EXPECT_EQ(object.ArrayAt(6), nullptr);
    RefCountedObjectOwner owner;
    ClsJsonArray* const array = object.ArrayAt(2);
    owner.take(array);
    ASSERT_EQ(array->get_Size(), 2);
    EXPECT_EQ(valueText(*array, 0) + valueText(*array, 1), "-01E5");
}

TEST(Json, FindsObjectsByPath) {
    Document document;
    ASSERT_TRUE(document.load(R"({"a": {"b": [1, [{}], {"c": {"is": "it"}}], "": {"is": "no name"}},
        "a": {"is": "the second"}, "documents": [{"is": "first", "": {}, "x": {}}],
        "x.y": {}, "s": "text", "": {}})"));
    const struct {
        const char *path, *is;
    } cases[] = {
        {"documents[0]", "first"},
        {"a.b[2].c", "it"},
        {"a.b[2]", ""},
        {"a.b[1][0]", ""},
        {"a", ""},
        {"a.", "no name"},
        {"", ""},
        {"b", nullptr},
        {"a.b", nullptr},
        {"a.b[0]", nullptr},
        {"a.b[3]", nullptr},
        {"x.y", nullptr},
        {"documents[1]", nullptr},
        {"documents", nullptr},
        {"documents[-0]", nullptr},
        {"documents[+0]", nullptr},
        {"documents[ 0]", nullptr},
        {"documents[0", nullptr},
        {"documents[]", nullptr},
        {"documents[0]x", nullptr},
        {"documents[0].", ""},
        {"documents[4294967296]", nullptr},
        {"documents[0][0]", nullptr},
        {"[0]", nullptr},
        {"s.a", nullptr},
        {"s[0]", nullptr},
        {"a[0]", nullptr},
        {"documents.a", nullptr},
        {"documents[99999999999999999999]", nullptr},
        {".", nullptr},
        {nullptr, nullptr},
    };
    for (const auto& c : cases) {
        document.log.clear();
        RefCountedObjectOwner owner;
        ClsJsonObject* const object = document.object->objectOf(c.path, document.log);
        owner.take(object);
        EXPECT_EQ(object != nullptr, c.is != nullptr) << (c.path ? c.path : "null");
        EXPECT_EQ(str(document.log.text()), object ? ""
                                                   : "There is no object at this path.\npath: "s +
                                                         (c.path ? c.path : "") + "\n");
        if (object && *c.is) {
            EXPECT_EQ(valueText(*object, 0), c.is);
        }
    }
}

// The address sanitizer sees to what is released too early, twice or never.
TEST(Json, KeepsANestedObjectAsLongAsItIsHeld) {
    RefCountedObjectOwner arrayOwner, objectOwner;
    ClsJsonArray* array = nullptr;
    ClsJsonObject* object = nullptr;
    {
        Document document;
        ASSERT_TRUE(document.load(R"({"a": [{"b": "deep"}, "scalar"]})"));
        EXPECT_EQ(document.object->getRefCount(), 1u);
        arrayOwner.take(array = document.object->ArrayAt(0));
        objectOwner.take(object = array->ObjectAt(0));
        EXPECT_EQ(array->getRefCount(), 3u);  // the document's own, and two on parts of it
        EXPECT_EQ(document.object->getRefCount(), 1u);

        EXPECT_FALSE(document.load("{"));  // keeps what there is
        EXPECT_EQ(document.object->get_Size(), 1);
        EXPECT_NE(document.object->fault().expected, nullptr);
        EXPECT_TRUE(document.load("{}"));
        EXPECT_EQ(document.object->get_Size(), 0);
        EXPECT_EQ(document.object->fault().expected, nullptr);
    }
    EXPECT_EQ(array->getRefCount(), 2u);
    arrayOwner.take(nullptr);
    EXPECT_EQ(object->getRefCount(), 1u);
    EXPECT_EQ(valueText(*object, 0), "deep");
    LogNull log;
    EXPECT_FALSE(object->loadJson(DataBuffer(), log));  // a part stays as it is
    object->incRefCount();
    EXPECT_EQ(object->getRefCount(), 2u);
    object->decRefCount();
}
