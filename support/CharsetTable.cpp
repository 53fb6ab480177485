#include "support/CharsetTable.h"

#include <unicode/ucnv.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <cstdint>

#include "support/Ascii.h"
#include "support/Charset.h"
#include "support/charset/SingleByte.h"

namespace contentcoding {

namespace {

using enum CharsetForm;

// By code page. A name that the conversion library maps to the same converter needs no alias here.
// The aliases are frequent names, which are found faster here, names that the library lacks, and
// names for which the library's choice is not that of Windows. The usual names of GB 2312 denote
// GBK, which contains it.
constexpr Charset kCharsets[] = {
    {37, kTable, "IBM037", "ibm-37_P100-1995"},
    {437, kTable, "IBM437", "ibm-437_P100-1995"},
    {500, kTable, "IBM500", "ibm-500_P100-1995"},
    {720, kTable, "DOS-720", "ibm-720_P100-1997"},
    {737, kTable, "IBM737", "ibm-737_P100-1997"},
    {775, kTable, "IBM775", "ibm-775_P100-1996"},
    {850, kTable, "IBM850", "ibm-850_P100-1995"},
    {852, kTable, "IBM852", "ibm-852_P100-1995"},
    {855, kTable, "IBM855", "ibm-855_P100-1995"},
    {857, kTable, "IBM857", "ibm-857_P100-1995"},
    {858, kTable, "IBM00858", "ibm-858_P100-1997"},
    {860, kTable, "IBM860", "ibm-860_P100-1995"},
    {861, kTable, "IBM861", "ibm-861_P100-1995"},
    {862, kTable, "IBM862", "ibm-862_P100-1995"},
    {863, kTable, "IBM863", "ibm-863_P100-1995"},
    {864, kTable, "IBM864", "ibm-864_X110-1999"},
    {865, kTable, "IBM865", "ibm-865_P100-1995"},
    {866, kTable, "IBM866", "ibm-866_P100-1995"},
    {869, kTable, "IBM869", "ibm-869_P100-1995"},
    {870, kTable, "IBM870", "ibm-870_P100-1995"},
    {874, kTable, "windows-874", "windows-874-2000", "tis620 tis6202533 ms874"},
    {875, kTable, "cp875", "ibm-875_P100-1995"},
    {932, kTable, "Shift_JIS", "ibm-943_P15A-2003",
     "sjis xsjis mskanji csshiftjis windows31j cswindows31j ms932"},
    {936, kTable, "GBK", "windows-936-2000", "gb2312 csgb2312 eucgb2312cn cngb xgbk ms936"},
    {949, kTable, "ks_c_5601-1987", "windows-949-2000",
     "ksc56011989 ksc5601 csksc56011987 korean uhc ms949"},
    {950, kTable, "Big5", "windows-950-2000", "big5eten csbig5 xbig5 xxbig5 cnbig5 ms950"},
    {1026, kTable, "IBM1026", "ibm-1026_P100-1995"},
    {1047, kTable, "IBM1047", "ibm-1047_P100-1995"},
    {1140, kTable, "IBM01140", "ibm-1140_P100-1997"},
    {1141, kTable, "IBM01141", "ibm-1141_P100-1997"},
    {1142, kTable, "IBM01142", "ibm-1142_P100-1997"},
    {1143, kTable, "IBM01143", "ibm-1143_P100-1997"},
    {1144, kTable, "IBM01144", "ibm-1144_P100-1997"},
    {1145, kTable, "IBM01145", "ibm-1145_P100-1997"},
    {1146, kTable, "IBM01146", "ibm-1146_P100-1997"},
    {1147, kTable, "IBM01147", "ibm-1147_P100-1997"},
    {1148, kTable, "IBM01148", "ibm-1148_P100-1997"},
    {1149, kTable, "IBM01149", "ibm-1149_P100-1997"},
    {1200, kUtf16Le, "UTF-16LE", "UTF-16LE"},
    {1201, kUtf16Be, "UTF-16BE", "UTF-16BE"},
    {1250, kTable, "windows-1250", "ibm-5346_P100-1998"},
    {1251, kTable, "windows-1251", "ibm-5347_P100-1998"},
    {1252, kTable, "windows-1252", "ibm-5348_P100-1997", "ansi"},
    {1253, kTable, "windows-1253", "ibm-5349_P100-1998"},
    {1254, kTable, "windows-1254", "ibm-5350_P100-1998"},
    {1255, kTable, "windows-1255", "ibm-9447_P100-2002"},
    {1256, kTable, "windows-1256", "ibm-9448_X100-2005"},
    {1257, kTable, "windows-1257", "ibm-9449_P100-2002"},
    {1258, kTable, "windows-1258", "ibm-5354_P100-1998"},
    {10000, kTable, "macintosh", "macos-0_2-10.2", "mac macroman xmacroman"},
    {10006, kTable, "x-mac-greek", "macos-6_2-10.4"},
    {10007, kTable, "x-mac-cyrillic", "macos-7_3-10.2"},
    {10029, kTable, "x-mac-ce", "macos-29-10.2"},
    {10081, kTable, "x-mac-turkish", "macos-35-10.2"},
    {12000, kUtf32Le, "UTF-32LE", "UTF-32LE"},
    {12001, kUtf32Be, "UTF-32BE", "UTF-32BE"},
    {20127, kAscii, "US-ASCII", "US-ASCII", "ascii"},
    {20273, kTable, "IBM273", "ibm-273_P100-1995"},
    {20277, kTable, "IBM277", "ibm-277_P100-1995"},
    {20278, kTable, "IBM278", "ibm-278_P100-1995"},
    {20280, kTable, "IBM280", "ibm-280_P100-1995"},
    {20284, kTable, "IBM284", "ibm-284_P100-1995"},
    {20285, kTable, "IBM285", "ibm-285_P100-1995"},
    {20290, kTable, "IBM290", "ibm-290_P100-1995"},
    {20297, kTable, "IBM297", "ibm-297_P100-1995"},
    {20420, kTable, "IBM420", "ibm-420_X120-1999"},
    {20424, kTable, "IBM424", "ibm-424_P100-1995"},
    {20866, kTable, "KOI8-R", "ibm-878_P100-1996", "koi koi8"},
    {20871, kTable, "IBM871", "ibm-871_P100-1995"},
    {20932, kTable, "cp20932", "euc-jp-2007"},
    {21025, kTable, "cp1025", "ibm-1025_P100-1995"},
    {21866, kTable, "KOI8-U", "ibm-1168_P100-2002", "koi8ru"},
    {28591, kLatin1, "ISO-8859-1", "ISO-8859-1", "latin1"},
    {28592, kTable, "ISO-8859-2", "ibm-912_P100-1995", "latin2"},
    {28593, kTable, "ISO-8859-3", "ibm-913_P100-2000"},
    {28594, kTable, "ISO-8859-4", "ibm-914_P100-1995"},
    {28595, kTable, "ISO-8859-5", "ibm-915_P100-1995"},
    {28596, kTable, "ISO-8859-6", "ibm-1089_P100-1995"},
    {28597, kTable, "ISO-8859-7", "ibm-9005_X110-2007"},
    {28598, kTable, "ISO-8859-8", "ibm-5012_P100-1999"},
    {28599, kTable, "ISO-8859-9", "ibm-920_P100-1995"},
    {28600, kTable, "ISO-8859-10", "iso-8859_10-1998"},
    {28601, kTable, "ISO-8859-11", "iso-8859_11-2001"},
    {28603, kTable, "ISO-8859-13", "ibm-921_P100-1995"},
    {28604, kTable, "ISO-8859-14", "iso-8859_14-1998"},
    {28605, kTable, "ISO-8859-15", "ibm-923_P100-1998", "latin9"},
    {28606, kLatin10, "ISO-8859-16", "", "iso8859162001 isoir226 latin10 l10 csiso885916"},
    {50220, kTable, "ISO-2022-JP", "ISO_2022,locale=ja,version=0"},
    {50221, kTable, "csISO2022JP", "ISO_2022,locale=ja,version=3"},
    {50222, kTable, "cp50222", "ISO_2022,locale=ja,version=3"},
    {50225, kTable, "ISO-2022-KR", "ISO_2022,locale=ko,version=0"},
    {51932, kTable, "EUC-JP", "euc-jp-2007"},
    {51936, kTable, "EUC-CN", "ibm-1383_P110-1999", "xeuccn"},
    {51949, kTable, "EUC-KR", "ibm-970_P110_P110-2006_U2", "cseuckr"},
    {51950, kTable, "EUC-TW", "euc-tw-2014"},
    {52936, kTable, "HZ-GB-2312", "HZ", "hz"},
    {54936, kTable, "GB18030", "gb18030"},
    {65000, kTable, "UTF-7", "UTF-7"},
    {65001, kUtf8, "UTF-8", "UTF-8", "unicode11utf8 unicode20utf8 xunicode20utf8"},
};

// Their numbers are those of the little-endian forms.
constexpr Charset kMarkedCharsets[] = {
    {1200, kUtf16Marked, "UTF-16", "UTF-16"},
    {12000, kUtf32Marked, "UTF-32", "UTF-32"},
};

constexpr auto kRowCount = std::size(kCharsets) + std::size(kMarkedCharsets);
constexpr const Charset& row(std::size_t i) {
    return i < std::size(kCharsets) ? kCharsets[i] : kMarkedCharsets[i - std::size(kCharsets)];
}

// Each number stands once, in ascending order.
static_assert(std::adjacent_find(std::begin(kCharsets), std::end(kCharsets), [](auto& a, auto& b) {
                  return a.codePage >= b.codePage;
              }) == std::end(kCharsets));

constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool isLetter(char c) { return toLowerAscii(c) >= 'a' && toLowerAscii(c) <= 'z'; }

// The conversion library's limit for a name, including the terminator.
constexpr std::size_t kNameCapacity = UCNV_MAX_CONVERTER_NAME_LENGTH;

constexpr char kPunctuation = '-', kForbidden = '\0';

// What each byte of a name is in a key: a lower-case letter or a digit, or one of the above. The
// library understands more in a name, such as options after a comma, which does not belong to it.
constexpr auto kKeyCharacters = [] {
    std::array<char, 0x100> characters{};
    for (const char c : std::string_view("-_.:+()"))
        characters[static_cast<unsigned char>(c)] = kPunctuation;
    for (unsigned char b = 0; b < 0x80; ++b) {
        const char c = static_cast<char>(b);
        if (isLetter(c) || isDigit(c)) characters[b] = toLowerAscii(c);
    }
    return characters;
}();
static_assert(kKeyCharacters['Z'] == 'z' && kKeyCharacters[','] == kForbidden);

// A name as names are compared: lower-case letters and digits, without zeros at the start of a
// number. Empty for a text that is not a name.
struct NameKey {
    std::array<char, kNameCapacity> text{};
    std::size_t length = 0;

    constexpr explicit NameKey(std::string_view name) {
        if (name.size() >= kNameCapacity) return;
        for (std::size_t i = 0; i < name.size(); ++i) {
            const char c = kKeyCharacters[static_cast<unsigned char>(name[i])];
            if (c == kForbidden) {
                length = 0;
                return;
            }
            const bool zeroBeforeNumber = c == '0' && i + 1 < name.size() && isDigit(name[i + 1]) &&
                                          (length == 0 || !isDigit(text[length - 1]));
            if (c != kPunctuation && !zeroBeforeNumber) text[length++] = c;
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

// Calls `visit` with every name of every row, in the form in which names are compared, and the
// index of the row.
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

// All names in ascending order, each with the index of its row.
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

// Aliases are looked up as they stand, so one that is not its own key would never match.
static_assert([] {
    bool matched = true;
    forEachName([&](std::string_view name, std::size_t) {
        matched = matched && !name.empty() && NameKey(name).view() == name;
    });
    return matched;
}());

// No name or alias denotes two charsets.
static_assert(std::adjacent_find(kIndex.begin(), kIndex.end(), [](auto& a, auto& b) {
                  return a.view() == b.view();
              }) == kIndex.end());
static_assert(kRowCount <= 0xFF);

// The charset "cp936", "windows-936", "win-936" or "x-cp936", for any number in the table.
std::optional<Charset> findNumbered(std::string_view key) {
    for (const std::string_view prefix : {"cp", "windows", "win", "xcp"}) {
        if (!key.starts_with(prefix)) continue;
        int number = 0;
        const auto end = key.data() + key.size();
        const auto parsed = std::from_chars(key.data() + prefix.size(), end, number);
        if (parsed.ptr == end && parsed.ec == std::errc()) return findCharset(number);
    }
    return std::nullopt;
}

// The charset that the conversion library knows by `name`. Of rows with the same converter it is
// the last, the one with the usual number.
std::optional<Charset> findInLibrary(std::string_view name) {
    char terminated[kNameCapacity] = {};
    name.copy(terminated, kNameCapacity - 1);
    UErrorCode error = U_ZERO_ERROR;
    const char* converter = ucnv_getAlias(terminated, 0, &error);
    if (!converter || U_FAILURE(error)) return std::nullopt;
    for (std::size_t i = kRowCount; i-- > 0;) {
        if (std::string_view(row(i).converter) == converter) return row(i);
    }
    return Charset{0, kTable, converter, converter};
}

enum class Opening : unsigned char { kUnknown, kSucceeds, kFails };

// What is remembered of one converter. Several threads may find out the same thing at once. No
// other memory depends on it, so relaxed access is enough.
struct Remembered {
    std::atomic<const char*> converter;
    std::atomic<Opening> opening;
    std::atomic<const SingleByteTable*> table;
};

// Room for all converters: ICU 72 and the table have fewer than 500 together. If all entries were
// taken, the other converters would be opened at each look-up.
constinit std::array<Remembered, 1024> remembered{};

// The entry of a converter, which is taken for it if there is none yet; null if all are taken.
Remembered* rememberedOf(const char* converter) {
    constexpr std::size_t count = remembered.size();
    const std::size_t first = reinterpret_cast<std::uintptr_t>(converter) / 4;
    for (std::size_t i = 0; i < count; ++i) {
        Remembered& entry = remembered[(first + i) % count];
        const char* there = entry.converter.load(std::memory_order_relaxed);
        if (!there &&
            entry.converter.compare_exchange_strong(there, converter, std::memory_order_relaxed))
            return &entry;
        if (there == converter) return &entry;
    }
    return nullptr;
}

// Opens a converter once, and makes its table if it can have one.
Opening tryToOpen(const char* converter, Remembered* entry) {
    UErrorCode error = U_ZERO_ERROR;
    UConverter* const opened = ucnv_open(converter, &error);
    if (opened) {
        if (entry) entry->table.store(makeSingleByteTable(*opened), std::memory_order_release);
        ucnv_close(opened);
        return Opening::kSucceeds;
    }
    return error == U_MEMORY_ALLOCATION_ERROR ? Opening::kUnknown : Opening::kFails;
}

// Whether the charset can be converted: the library knows names of converters whose tables are not
// installed. The answer is remembered for each converter, not for each spelling, so that memory is
// bounded however many names are looked up. A charset that could not be opened because memory is
// short counts as convertible, and the next look-up tries again.
[[nodiscard]] bool canBeConverted(const Charset& charset) {
    if (charset.form != kTable) return true;
    Remembered* const entry = rememberedOf(charset.converter);
    Opening opening = entry ? entry->opening.load(std::memory_order_relaxed) : Opening::kUnknown;
    if (opening == Opening::kUnknown) {
        opening = tryToOpen(charset.converter, entry);
        if (entry) entry->opening.store(opening, std::memory_order_relaxed);
    }
    return opening != Opening::kFails;
}

constexpr std::string_view trimmed(std::string_view name) {
    constexpr std::string_view spaceAndTab = " \t";
    const auto begin = std::min(name.find_first_not_of(spaceAndTab), name.size());
    return name.substr(begin, name.find_last_not_of(spaceAndTab) + 1 - begin);
}

constexpr bool isLanguageCharacter(char c) { return isLetter(c) || isDigit(c) || c == '-'; }

// The name before a language; empty if the text after "*" is not one.
constexpr std::string_view withoutLanguage(std::string_view name) {
    name = trimmed(name);
    const auto star = name.find('*');
    if (star == std::string_view::npos) return name;
    const std::string_view language = name.substr(star + 1);
    return std::all_of(language.begin(), language.end(), isLanguageCharacter)
               ? trimmed(name.substr(0, star))
               : std::string_view();
}

// The charset of that name, whether or not its converter opens.
std::optional<Charset> findNamed(std::string_view name) {
    const NameKey key(name);
    if (key.length == 0) return std::nullopt;
    const auto found =
        std::lower_bound(kIndex.begin(), kIndex.end(), key.view(),
                         [](const IndexEntry& entry, auto text) { return entry.view() < text; });
    if (found != kIndex.end() && found->view() == key.view()) return row(found->row);
    if (auto numbered = findNumbered(key.view())) return numbered;
    return findInLibrary(name);
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
    auto found = findNamed(withoutLanguage(name));
    if (found && !canBeConverted(*found)) found.reset();
    return found;
}

const SingleByteTable* singleByteTableOf(const Charset& charset) {
    if (charset.form != kTable) return singleByteTableOf(charset.form);
    if (!canBeConverted(charset)) return nullptr;
    const Remembered* const entry = rememberedOf(charset.converter);
    return entry ? entry->table.load(std::memory_order_acquire) : nullptr;
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

std::span<const std::string_view> charsetNames() {
    static constexpr auto kNames = [] {
        std::array<std::string_view, kRowCount> names;
        for (std::size_t i = 0; i < kRowCount; ++i)
            names[i] = row(i).name;
        return names;
    }();
    return kNames;
}

}  // namespace contentcoding
