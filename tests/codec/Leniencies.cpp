// The tables of docs/formats.md: what a decoder refuses by default, and what allows it.

#include <fstream>
#include <map>
#include <regex>

#include "contentcoding/detail/formats.hpp"
#include "tests/codec/FormatSupport.h"

namespace {

const std::map<std::string, Fault> kFaults = {
#define ROW(fault) \
    { #fault, Fault::fault }
    ROW(kForeignCharacter), ROW(kPadding), ROW(kAfterEnd),  ROW(kLeftoverBits), ROW(kCutGroup),
    ROW(kGroupTooLarge),    ROW(kFrame),   ROW(kBadEscape), ROW(kLowerCase),    ROW(kLongLine),
    ROW(kTrailingSpace),    ROW(kLineEnd), ROW(kTooLong),
};

// Sets a member as the tables write it; false when there is no such member, or it is set another
// way.
template <class Accept>
bool allow(Accept& accept, const std::string& setting) {
#define SET(member, text, value)                       \
    if constexpr (requires { accept.member = value; }) \
        if (setting == text) return accept.member = value, true;
#define FLAG(member) SET(member, #member, true)
#define FLAGS(a, b, c, d) FLAG(a) FLAG(b) FLAG(c) FLAG(d)
#define CHOICE(member, name) SET(member, #member " = " #name, decltype(accept.member)::name)
    FLAGS(whiteSpace, foreign, leftoverBits, cutGroup)
    FLAGS(concatenated, anyCase, longZeros, badEscapes)
    FLAGS(lowerCase, longLines, trailingSpace, lineEnds)
    CHOICE(alphabet, kEither)
    CHOICE(padding, kOptional)
    CHOICE(framed, kOptional)
    SET(maxSize, "maxSize = 0", 0u)
    return false;
}

struct Row {
    std::string needed, setting, text;
    Error error;
};

template <class Accept>
void expectLeniency(const Row& row) {
    Accept accept;
    ASSERT_TRUE(row.needed.empty() || allow(accept, row.needed));
    EXPECT_EQ(shown(decode(contentcoding::Bytes(row.text), accept)), shown(row.error));
    ASSERT_TRUE(allow(accept, row.setting));
    EXPECT_TRUE(decode(contentcoding::Bytes(row.text), accept));
}

const std::map<std::string, void (*)(const Row&)> kFormats = {
#define FORMAT(name) {#name, expectLeniency<contentcoding::name::Accept>},
    CONTENTCODING_FORMATS(FORMAT)};

}  // namespace

TEST(Leniencies, AreThoseOfTheDocument) {
    const std::regex heading("### .*<contentcoding/(.*)\\.hpp>`");
    // What it allows, with what it needs beside; the member; the fault; how often which text,
    // where.
    const std::regex row(
        "\\| .*?(?:, with (`.*`))? \\| (`.*`) \\| `(k.*)` \\| (?:([\\d,]+) times )?`(.*)`, (\\d+) "
        "\\|");
    const auto code = [](const std::string& text) {
        return std::regex_replace(text, std::regex("`"), "");
    };
    const auto number = [](const std::string& digits) {
        return std::stoul(std::regex_replace(digits, std::regex(","), ""));
    };
    std::ifstream document(TESTS_DATA_DIR "/../../docs/formats.md");
    std::map<std::string, std::size_t> rows;
    std::string format;
    std::smatch found;
    for (std::string line; std::getline(document, line);) {
        if (std::regex_match(line, found, heading)) format = found[1];
        if (format.empty() || !line.starts_with("| ") || line.starts_with("| Leniency")) continue;
        SCOPED_TRACE(format + ": " + line);
        ASSERT_TRUE(std::regex_match(line, found, row) && kFaults.count(found[3]) == 1 &&
                    kFormats.count(format) == 1);
        std::string text = std::regex_replace(found[5].str(), std::regex("\\\\r"), "\r");
        text = x(found[4].matched ? number(found[4]) : 1,
                 std::regex_replace(text, std::regex("\\\\n"), "\n"));
        kFormats.at(format)(
            {code(found[1]), code(found[2]), text, {kFaults.at(found[3]), number(found[6])}});
        ++rows[format];
    }
    EXPECT_EQ(rows.size(), kFormats.size());
}
