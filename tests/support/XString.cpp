#include "support/XString.h"

#include "tests/TestSupport.h"

namespace {
std::string str(const XString& text) { return std::string(text.view()); }
}  // namespace

TEST(XString, HoldsAText) {
    XString text;
    EXPECT_TRUE(text.isEmpty());
    EXPECT_STREQ(text.getUtf8(), "");
    for (const std::string& held : {"abc"s, ""s, x(100), "b"s}) {
        EXPECT_TRUE(text.setFromUtf8(held.c_str()));
        EXPECT_STREQ(text.getUtf8(), held.c_str());
        EXPECT_EQ(text.isEmpty(), held.empty());
    }
    for (const std::string& held : {"abc"s, x(40), ""s}) {
        ASSERT_TRUE(text.setFromUtf8(held.c_str()));
        const XString copy(text);
        XString assigned;
        assigned = text;
        EXPECT_STREQ(copy.getUtf8(), held.c_str());
        EXPECT_STREQ(assigned.getUtf8(), held.c_str());
    }
    EXPECT_TRUE(text.setFromUtf8(nullptr));
    EXPECT_TRUE(text.isEmpty());
}

TEST(XString, TurnsToUpperCaseByCharacter) {
    const struct {
        std::string text, upper;
    } cases[] = {
        {"", ""},
        {"azAZ@[`{09", "AZAZ@[`{09"},
        {"éàß\u0131iÿ", "ÉÀß\u0049IŸ"},      // the sharp s has no single upper-case character
        {"\u0250\u0251", "\u2C6F\u2C6D"},    // longer in upper case
        {"\u1E9E\uFB01ǆ", "\u1E9E\uFB01Ǆ"},  // the small ligature stays
        {"жλ𐐨", "ЖΛ𐐀"},
        {"شركة", "شركة"},
        {"a\xFF\xC3é\xED\xA0\x80z\xE2\x82", "A\xFF\xC3É\xED\xA0\x80Z\xE2\x82"},  // no UTF-8: kept
    };
    for (const auto& c : cases) {
        XString text;
        ASSERT_TRUE(text.setFromUtf8(c.text.c_str()));
        EXPECT_TRUE(text.toUpperCase());
        EXPECT_EQ(str(text), c.upper);
        EXPECT_STREQ(text.getUtf8(), c.upper.c_str());
    }
}

TEST(XString, ReplacesEveryOccurrence) {
    const struct {
        const char *text, *what, *by;
        bool ignoreCase;
        const char* result;
    } cases[] = {
        {"abcabc", "b", "xyz", false, "axyzcaxyzc"},
        {"aaa", "aa", "a", false, "aa"},
        {"aBab", "ab", "-", false, "aB-"},
        {"aBab", "Ab", "-", true, "--"},
        {"abc", "", "x", false, "abc"},
        {"abc", "abc", "", false, ""},
        {"", "a", "b", true, ""},
        {"abc", "bcd", "x", true, "abc"},
        {"abc", nullptr, "x", false, "abc"},
        {"abc", "b", nullptr, false, "ac"},
    };
    for (const auto& c : cases) {
        XString text;
        ASSERT_TRUE(text.setFromUtf8(c.text));
        EXPECT_TRUE(text.replaceAllOccurancesUtf8(c.what, c.by, c.ignoreCase));
        EXPECT_STREQ(text.getUtf8(), c.result) << c.text;
    }
}

TEST(XString, FindsAText) {
    XString text;
    EXPECT_TRUE(text.containsSubstringUtf8(""));
    EXPECT_FALSE(text.containsSubstringUtf8(nullptr));
    ASSERT_TRUE(text.setFromUtf8("aéb"));
    EXPECT_TRUE(text.containsSubstringUtf8("éb"));
    EXPECT_FALSE(text.containsSubstringUtf8("EB"));
}
