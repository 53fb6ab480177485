#include "contentcoding/charset.hpp"

#include <algorithm>

#include "tests/TestSupport.h"

namespace {

using namespace contentcoding;
using charset::Malformed;

// What the three ways to take faults give; `stopped` is the fault, if there is one.
struct Case {
    const char* name;
    std::string_view charset;
    std::string_view bytes;
    std::string_view replaced, dropped;
    std::size_t faults = 0;
    std::size_t offset = 0;
    Fault fault = Fault::kMalformed;
};

void expectAll(const Case& row,
               Result<charset::Converted> (*convert)(Bytes, std::string_view, Malformed)) {
    const auto replaced = convert(row.bytes, row.charset, Malformed::kReplace);
    const auto dropped = convert(row.bytes, row.charset, Malformed::kDrop);
    const auto stopped = convert(row.bytes, row.charset, Malformed::kStop);
    ASSERT_TRUE(replaced && dropped) << row.name;
    EXPECT_EQ(replaced->text, row.replaced) << row.name;
    EXPECT_EQ(dropped->text, row.dropped) << row.name;
    EXPECT_EQ(replaced->replaced, row.faults) << row.name;
    EXPECT_EQ(dropped->replaced, row.faults) << row.name;
    ASSERT_EQ(stopped.has_value(), row.faults == 0) << row.name;
    if (stopped)
        EXPECT_EQ(stopped->text, row.replaced) << row.name;
    else
        EXPECT_EQ(stopped.error(), (Error{row.fault, row.offset})) << row.name;
}

}  // namespace

TEST(Charsets, ConvertToUtf8) {
    const std::string ascii(5000, 'a');
    const Case rows[] = {
        {"Empty", "utf-8", "", "", ""},
        {"Table", "koi8-r", "\xD0\xD2", "пр", "пр"},
        {"Language", "ISO_8859-1*de", "\xFC", "ü", "ü"},
        {"Utf8", "utf8", "a\xC3\xA9\xF0\x9F\x98\x80", "aé😀", "aé😀"},
        {"IllFormed", "utf-8", "a\xE2\x82z\xFF\xC3", "a\uFFFDz\uFFFD\uFFFD", "az", 3, 1},
        {"OverlongAndSurrogate", "utf-8", "\xC0\xAF\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD",
         "", 5, 0},
        {"AReplacementIsNotAFault", "utf-8", "\uFFFD", "\uFFFD", "\uFFFD"},
        {"MarkGivesTheOrder", "utf-16",
         "\xFF\xFE"
         "a\0"sv,
         "a", "a"},
        {"CutPair", "utf-16be", "\0a\xD8\x3D"sv, "a\uFFFD", "a", 1, 2},
        {"TableFaults", "shift_jis", "a\x82\xFF\x82", "a\uFFFD\uFFFD\uFFFD", "a", 3, 1},
        {"ShiftStates", "iso-2022-jp", "\x1B$B%F%9%H\x1B(B", "テスト", "テスト"},
    };
    for (const Case& row : rows)
        expectAll(row, charset::toUtf8);
    const auto later = charset::toUtf8(ascii + "\xFF", "us-ascii");
    ASSERT_FALSE(later);
    EXPECT_EQ(later.error(), (Error{Fault::kMalformed, ascii.size()}));
}

TEST(Charsets, ConvertFromUtf8) {
    const Case rows[] = {
        {"Table", "koi8-r", "пр", "\xD0\xD2", "\xD0\xD2"},
        {"Lacking", "iso-8859-1", "a€b",
         "a\x1A"
         "b",
         "ab", 1, 1, Fault::kUnmappable},
        {"LackingInATable", "koi8-r", "п€р😀", "\xD0\x1A\xD2\x1A", "\xD0\xD2", 2, 2,
         Fault::kUnmappable},
        {"IllFormedCountsOnce", "iso-8859-1", "a\xFF€", "a\x1A\x1A", "a", 2, 1},
        {"EndsInTheInitialState", "iso-2022-jp", "テ", "\x1B$B%F\x1B(B", "\x1B$B%F\x1B(B"},
        {"BigEndianWithoutAMark", "utf-16", "é", "\0\xE9"sv, "\0\xE9"sv},
    };
    for (const Case& row : rows)
        expectAll(row, charset::fromUtf8);
}

TEST(Charsets, AreKnownByName) {
    for (const auto name : charset::names()) {
        EXPECT_TRUE(charset::isKnown(name)) << name;
        EXPECT_EQ(charset::canonicalName(name), name);
    }
    EXPECT_GT(charset::names().size(), 100u);
    EXPECT_EQ(charset::canonicalName(" cp1252*en"), "windows-1252");
    for (const std::string_view name : {""sv, "x-unknown"sv, "utf-8\0"sv}) {
        EXPECT_FALSE(charset::isKnown(name));
        EXPECT_EQ(charset::canonicalName(name), "");
        EXPECT_EQ(charset::toUtf8("a", name).error(), (Error{Fault::kUnknownCharset, 0}));
        EXPECT_EQ(charset::fromUtf8("a", name).error(), (Error{Fault::kUnknownCharset, 0}));
    }
}
