#include "support/CharsetTable.h"

#include <unicode/ucnv.h>

#include <algorithm>
#include <array>
#include <charconv>

#include "support/Ascii.h"
#include "support/Charset.h"

namespace contentcoding {

namespace {

using enum CharsetForm;

// By code page. Names that the conversion library maps to the same converter need no alias here;
// aliases stand where they are frequent, or where the library's choice is not the Windows one.
constexpr Charset kCharsets[] = {
    {37, Table, "IBM037", "ibm-37_P100-1995"},
    {437, Table, "IBM437", "ibm-437_P100-1995"},
    {500, Table, "IBM500", "ibm-500_P100-1995"},
    {720, Table, "DOS-720", "ibm-720_P100-1997"},
    {737, Table, "IBM737", "ibm-737_P100-1997"},
    {775, Table, "IBM775", "ibm-775_P100-1996"},
    {850, Table, "IBM850", "ibm-850_P100-1995"},
    {852, Table, "IBM852", "ibm-852_P100-1995"},
    {855, Table, "IBM855", "ibm-855_P100-1995"},
    {857, Table, "IBM857", "ibm-857_P100-1995"},
    {858, Table, "IBM00858", "ibm-858_P100-1997"},
    {860, Table, "IBM860", "ibm-860_P100-1995"},
    {861, Table, "IBM861", "ibm-861_P100-1995"},
    {862, Table, "IBM862", "ibm-862_P100-1995"},
    {863, Table, "IBM863", "ibm-863_P100-1995"},
    {864, Table, "IBM864", "ibm-864_X110-1999"},
    {865, Table, "IBM865", "ibm-865_P100-1995"},
    {866, Table, "IBM866", "ibm-866_P100-1995"},
    {869, Table, "IBM869", "ibm-869_P100-1995"},
    {870, Table, "IBM870", "ibm-870_P100-1995"},
    {874, Table, "windows-874", "windows-874-2000", "tis620 tis6202533 ms874"},
    {875, Table, "cp875", "ibm-875_P100-1995"},
    {932, Table, "Shift_JIS", "ibm-943_P15A-2003",
     "sjis xsjis mskanji csshiftjis windows31j cswindows31j ms932"},
    {936, Table, "GBK", "windows-936-2000", "gb2312 csgb2312 xgbk ms936"},
    {949, Table, "ks_c_5601-1987", "windows-949-2000",
     "ksc56011989 ksc5601 csksc56011987 korean uhc ms949"},
    {950, Table, "Big5", "windows-950-2000", "big5eten csbig5 xbig5 xxbig5 cnbig5 ms950"},
    {1026, Table, "IBM1026", "ibm-1026_P100-1995"},
    {1047, Table, "IBM1047", "ibm-1047_P100-1995"},
    {1140, Table, "IBM01140", "ibm-1140_P100-1997"},
    {1141, Table, "IBM01141", "ibm-1141_P100-1997"},
    {1142, Table, "IBM01142", "ibm-1142_P100-1997"},
    {1143, Table, "IBM01143", "ibm-1143_P100-1997"},
    {1144, Table, "IBM01144", "ibm-1144_P100-1997"},
    {1145, Table, "IBM01145", "ibm-1145_P100-1997"},
    {1146, Table, "IBM01146", "ibm-1146_P100-1997"},
    {1147, Table, "IBM01147", "ibm-1147_P100-1997"},
    {1148, Table, "IBM01148", "ibm-1148_P100-1997"},
    {1149, Table, "IBM01149", "ibm-1149_P100-1997"},
    {1200, Utf16Le, "UTF-16LE", "UTF-16LE"},
    {1201, Utf16Be, "UTF-16BE", "UTF-16BE"},
    {1250, Table, "windows-1250", "ibm-5346_P100-1998"},
    {1251, Table, "windows-1251", "ibm-5347_P100-1998"},
    {1252, Table, "windows-1252", "ibm-5348_P100-1997", "ansi"},
    {1253, Table, "windows-1253", "ibm-5349_P100-1998"},
    {1254, Table, "windows-1254", "ibm-5350_P100-1998"},
    {1255, Table, "windows-1255", "ibm-9447_P100-2002"},
    {1256, Table, "windows-1256", "ibm-9448_X100-2005"},
    {1257, Table, "windows-1257", "ibm-9449_P100-2002"},
    {1258, Table, "windows-1258", "ibm-5354_P100-1998"},
    {10000, Table, "macintosh", "macos-0_2-10.2", "mac macroman xmacroman"},
    {10006, Table, "x-mac-greek", "macos-6_2-10.4"},
    {10007, Table, "x-mac-cyrillic", "macos-7_3-10.2"},
    {10029, Table, "x-mac-ce", "macos-29-10.2"},
    {10081, Table, "x-mac-turkish", "macos-35-10.2"},
    {12000, Utf32Le, "UTF-32LE", "UTF-32LE"},
    {12001, Utf32Be, "UTF-32BE", "UTF-32BE"},
    {20127, Ascii, "US-ASCII", "US-ASCII", "ascii"},
    {20273, Table, "IBM273", "ibm-273_P100-1995"},
    {20277, Table, "IBM277", "ibm-277_P100-1995"},
    {20278, Table, "IBM278", "ibm-278_P100-1995"},
    {20280, Table, "IBM280", "ibm-280_P100-1995"},
    {20284, Table, "IBM284", "ibm-284_P100-1995"},
    {20285, Table, "IBM285", "ibm-285_P100-1995"},
    {20290, Table, "IBM290", "ibm-290_P100-1995"},
    {20297, Table, "IBM297", "ibm-297_P100-1995"},
    {20420, Table, "IBM420", "ibm-420_X120-1999"},
    {20424, Table, "IBM424", "ibm-424_P100-1995"},
    {20866, Table, "KOI8-R", "ibm-878_P100-1996", "koi koi8"},
    {20871, Table, "IBM871", "ibm-871_P100-1995"},
    {20932, Table, "cp20932", "euc-jp-2007"},
    {21025, Table, "cp1025", "ibm-1025_P100-1995"},
    {21866, Table, "KOI8-U", "ibm-1168_P100-2002", "koi8ru"},
    {28591, Latin1, "ISO-8859-1", "ISO-8859-1", "latin1"},
    {28592, Table, "ISO-8859-2", "ibm-912_P100-1995", "latin2"},
    {28593, Table, "ISO-8859-3", "ibm-913_P100-2000"},
    {28594, Table, "ISO-8859-4", "ibm-914_P100-1995"},
    {28595, Table, "ISO-8859-5", "ibm-915_P100-1995"},
    {28596, Table, "ISO-8859-6", "ibm-1089_P100-1995"},
    {28597, Table, "ISO-8859-7", "ibm-9005_X110-2007"},
    {28598, Table, "ISO-8859-8", "ibm-5012_P100-1999"},
    {28599, Table, "ISO-8859-9", "ibm-920_P100-1995"},
    {28600, Table, "ISO-8859-10", "iso-8859_10-1998"},
    {28601, Table, "ISO-8859-11", "iso-8859_11-2001"},
    {28603, Table, "ISO-8859-13", "ibm-921_P100-1995"},
    {28604, Table, "ISO-8859-14", "iso-8859_14-1998"},
    {28605, Table, "ISO-8859-15", "ibm-923_P100-1998", "latin9"},
    {28606, Latin10, "ISO-8859-16", "", "iso8859162001 isoir226 latin10 l10 csiso885916"},
    {50220, Table, "ISO-2022-JP", "ISO_2022,locale=ja,version=0"},
    {50221, Table, "csISO2022JP", "ISO_2022,locale=ja,version=3"},
    {50222, Table, "cp50222", "ISO_2022,locale=ja,version=3"},
    {50225, Table, "ISO-2022-KR", "ISO_2022,locale=ko,version=0"},
    {51932, Table, "EUC-JP", "euc-jp-2007"},
    {51936, Table, "EUC-CN", "ibm-1383_P110-1999", "xeuccn"},
    {51949, Table, "EUC-KR", "ibm-970_P110_P110-2006_U2", "cseuckr"},
    {51950, Table, "EUC-TW", "euc-tw-2014"},
    {52936, Table, "HZ-GB-2312", "HZ", "hz"},
    {54936, Table, "GB18030", "gb18030"},
    {65000, Table, "UTF-7", "UTF-7"},
    {65001, Utf8, "UTF-8", "UTF-8", "unicode11utf8 unicode20utf8 xunicode20utf8"},
};

// Their numbers are those of the forms that they have when somebody asks for a number.
constexpr Charset kMarkedCharsets[] = {
    {1200, Utf16Marked, "UTF-16", "UTF-16"},
    {12000, Utf32Marked, "UTF-32", "UTF-32"},
};

constexpr auto kRowCount = std::size(kCharsets) + std::size(kMarkedCharsets);
constexpr const Charset& row(std::size_t i) {
    return i < std::size(kCharsets) ? kCharsets[i] : kMarkedCharsets[i - std::size(kCharsets)];
}

static_assert(std::is_sorted(std::begin(kCharsets), std::end(kCharsets),
                             [](auto& a, auto& b) { return a.codePage <= b.codePage; }));

constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool isLetter(char c) { return toLowerAscii(c) >= 'a' && toLowerAscii(c) <= 'z'; }

// The conversion library's limit for a name, with the terminator.
constexpr std::size_t kNameCapacity = UCNV_MAX_CONVERTER_NAME_LENGTH;

// A name as names are compared: small letters and digits, no zeros at the start of a number.
// Empty for what is not a name.
struct NameKey {
    std::array<char, kNameCapacity> text{};
    std::size_t length = 0;

    constexpr explicit NameKey(std::string_view name) {
        if (name.size() >= kNameCapacity) return;
        for (std::size_t i = 0; i < name.size(); ++i) {
            const bool zeroBeforeNumber = name[i] == '0' && i + 1 < name.size() &&
                                          isDigit(name[i + 1]) &&
                                          (length == 0 || !isDigit(text[length - 1]));
            if ((isLetter(name[i]) || isDigit(name[i])) && !zeroBeforeNumber)
                text[length++] = toLowerAscii(name[i]);
        }
    }
    constexpr std::string_view view() const { return {text.data(), length}; }
};

struct IndexEntry {
    std::array<char, 24> text{};
    unsigned char length = 0;
    unsigned char row = 0;

    constexpr std::string_view view() const { return {text.data(), length}; }
};

// Calls `visit` with every name of every row, as names are compared, and the row.
template <class Visit>
constexpr void forEachName(Visit visit) {
    for (std::size_t i = 0; i < kRowCount; ++i) {
        visit(NameKey(row(i).name).view(), i);
        std::string_view rest = row(i).aliases;
        while (!rest.empty()) {
            const auto end = std::min(rest.find(' '), rest.size());
            visit(rest.substr(0, end), i);
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
    }
}

constexpr auto kNameCount = [] {
    std::size_t count = 0;
    forEachName([&](std::string_view, std::size_t) { ++count; });
    return count;
}();

// All names in their order, each with its row.
constexpr auto kIndex = [] {
    std::array<IndexEntry, kNameCount> index{};
    auto* entry = index.data();
    forEachName([&](std::string_view name, std::size_t i) {
        name.copy(entry->text.data(), name.size());
        entry->length = static_cast<unsigned char>(name.size());
        entry->row = static_cast<unsigned char>(i);
        ++entry;
    });
    std::sort(index.begin(), index.end(),
              [](const auto& a, const auto& b) { return a.view() < b.view(); });
    return index;
}();

// Neither name nor alias denotes two charsets.
static_assert(std::adjacent_find(kIndex.begin(), kIndex.end(), [](auto& a, auto& b) {
                  return a.view() == b.view();
              }) == kIndex.end());
static_assert(kRowCount <= 0xFF);

// The charset "cp936" or "windows-936", for any number in the table.
std::optional<Charset> findNumbered(std::string_view key) {
    for (const std::string_view prefix : {"cp", "windows"}) {
        if (!key.starts_with(prefix)) continue;
        int number = 0;
        const auto end = key.data() + key.size();
        const auto parsed = std::from_chars(key.data() + prefix.size(), end, number);
        if (parsed.ptr == end && parsed.ec == std::errc()) return findCharset(number);
    }
    return std::nullopt;
}

// The charset that the conversion library knows by `name`. Of rows with the same converter the
// last is meant, since it is the one with the usual number.
std::optional<Charset> findInLibrary(std::string_view name) {
    char terminated[kNameCapacity] = {};
    name.copy(terminated, kNameCapacity - 1);
    UErrorCode error = U_ZERO_ERROR;
    const char* converter = ucnv_getAlias(terminated, 0, &error);
    if (!converter || U_FAILURE(error)) return std::nullopt;
    for (std::size_t i = kRowCount; i-- > 0;) {
        if (std::string_view(row(i).converter) == converter) return row(i);
    }
    return Charset{0, Table, converter, converter};
}

constexpr std::string_view trimmed(std::string_view name) {
    constexpr std::string_view blanks = " \t";
    const auto begin = std::min(name.find_first_not_of(blanks), name.size());
    return name.substr(begin, name.find_last_not_of(blanks) + 1 - begin);
}

constexpr bool isNameCharacter(char c) {
    return isLetter(c) || isDigit(c) ||
           std::string_view("-_.:+()").find(c) != std::string_view::npos;
}

}  // namespace

std::optional<Charset> findCharset(int codePage) {
    const auto* found =
        std::lower_bound(std::begin(kCharsets), std::end(kCharsets), codePage,
                         [](const Charset& charset, int n) { return charset.codePage < n; });
    if (found == std::end(kCharsets) || found->codePage != codePage) return std::nullopt;
    return *found;
}

std::optional<Charset> findCharset(std::string_view name) {
    name = trimmed(name.substr(0, name.find('*')));
    // What else the library understands, such as options after a comma, is not part of a name.
    if (!std::all_of(name.begin(), name.end(), isNameCharacter)) return std::nullopt;
    const NameKey key(name);
    if (key.length == 0) return std::nullopt;
    const auto found =
        std::lower_bound(kIndex.begin(), kIndex.end(), key.view(),
                         [](const IndexEntry& entry, auto text) { return entry.view() < text; });
    if (found != kIndex.end() && found->view() == key.view()) return row(found->row);
    if (auto numbered = findNumbered(key.view())) return numbered;
    return findInLibrary(name);
}

std::span<const KnownCharset> knownCharsets() {
    static constexpr auto kKnown = [] {
        std::array<KnownCharset, kRowCount> known{};
        for (std::size_t i = 0; i < kRowCount; ++i)
            known[i] = {row(i).codePage, row(i).name};
        return known;
    }();
    return kKnown;
}

}  // namespace contentcoding
