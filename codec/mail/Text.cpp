#include "codec/mail/Text.h"

#include <new>

#include "codec/Alphabet.h"
#include "codec/Bytes.h"
#include "support/Ascii.h"
#include "support/charset/Utf8.h"

namespace contentcoding::mail {
namespace {

constexpr int kAscii = 20127;
constexpr int kIso2022Jp = 50220;
constexpr int kUtf8 = 65001;
constexpr int kBig5 = 950;

// Every byte has a character in windows-1252.
constexpr int kLastResort = 1252;
constexpr std::string_view kReplacementUtf8 = "\uFFFD";

// Numbers of charsets that are read as larger ones, as the WHATWG Encoding Standard has it. The
// table of charsets does the same for Shift_JIS and GB 2312.
struct Widened {
    int from, to;
};
constexpr Widened kWidened[] = {{28591, 1252}, {28599, 1254}, {28601, 874}, {51949, 949}};

// Labels of that standard, and some more of senders, that the table of charsets does not have, or
// has for another charset.
struct Alias {
    std::string_view label, name;
};
constexpr Alias kAliases[] = {
    {"big5_tw", "big5"},           {"chinese", "gbk"},
    {"csiso58gb231280", "gbk"},    {"csiso88596e", "iso-8859-6"},
    {"csiso88596i", "iso-8859-6"}, {"csiso88598e", "iso-8859-8"},
    {"csiso88598i", "iso-8859-8"}, {"dos-874", "windows-874"},
    {"eucjp-ms", "euc-jp"},        {"eucjp-win", "euc-jp"},
    {"gb_2312-80", "gbk"},         {"iso-2022-jp-ms", "iso-2022-jp"},
    {"iso-ir-58", "gbk"},          {"logical", "iso-8859-8"},
    {"mac-iceland", "macintosh"},  {"sjis-win", "shift_jis"},
    {"visual", "iso-8859-8"},      {"x-mac-ukrainian", "x-mac-cyrillic"},
};

constexpr ByteClass kPlainAscii =
    byteClass([](unsigned char b) { return (b >= 0x20 && b < 0x7F) || b == '\t'; });

// Bytes of UTF-8 that start none of the characters in question; these start with 0xC2 or 0xE2.
constexpr ByteClass kHarmless = byteClass(
    [](unsigned char b) { return kPlainAscii[b] || (b >= 0x80 && b != 0xC2 && b != 0xE2); });

constexpr ByteClass kTokenBytes = byteClass([](unsigned char b) { return b > 0x20 && b != 0x7F; });

std::size_t runOf(std::string_view text, const ByteClass& members) {
    return runLength(reinterpret_cast<const unsigned char*>(text.data()), text.size(), members);
}

bool appendTo(void* text, const void* bytes, std::size_t n) {
    static_cast<std::string*>(text)->append(static_cast<const char*>(bytes), n);
    return true;
}

std::uint64_t offsetAt(std::size_t at, std::span<const Place> places) {
    const auto after = std::upper_bound(places.begin(), places.end(), at,
                                        [](std::size_t n, const Place& p) { return n < p.at; });
    return after == places.begin() ? 0 : std::prev(after)->offset;
}

}  // namespace

std::optional<Charset> charsetOfSenders(std::string_view label) {
    for (const Alias& alias : kAliases) {
        if (equalIgnoringCase(alias.label, label)) label = alias.name;
    }
    const auto found = findCharset(label);
    if (!found) return found;
    if (found->codePage == kBig5) {
        const auto withHongKong = findCharset("big5-hkscs");
        return withHongKong ? withHongKong : found;
    }
    for (const Widened& widened : kWidened) {
        if (found->codePage == widened.from) return findCharset(widened.to);
    }
    return found;
}

// ---- Control characters ----

void TextReader::takeControl(char32_t c, std::string_view utf8, std::uint64_t offset,
                             std::string& out) {
    m_defects.add(Fault::kControl, offset);
    switch (m_options.controls) {
        case header::Controls::kDrop:
            break;
        case header::Controls::kKeep:
            out.append(utf8);
            break;
        case header::Controls::kShow:
            if (c < 0x20 || c == 0x7F) {
                // U+2400 to U+2421 are pictures of them.
                out.append({'\xE2', '\x90', static_cast<char>(c == 0x7F ? 0xA1 : 0x80 + c)});
            } else {
                out.append(kReplacementUtf8);
            }
            break;
    }
}

// Appends well-formed text that comes from the place `offset`.
void TextReader::appendClean(std::string_view utf8, std::uint64_t offset, std::string& out) {
    while (!utf8.empty()) {
        const std::size_t n = runOf(utf8, kHarmless);
        out.append(utf8, 0, n);
        utf8.remove_prefix(n);
        if (utf8.empty()) return;
        const Decoded first = firstOfUtf8(utf8);
        const std::string_view character = utf8.substr(0, first.length);
        if (isControl(first.character))
            takeControl(first.character, character, offset, out);
        else
            out.append(character);
        utf8.remove_prefix(first.length);
    }
}

// ---- Raw text ----

// Reads the line end that `text` starts with, and returns its length. Before a space or tab it is
// folding.
std::size_t TextReader::takeLineEnd(std::string_view text, std::uint64_t offset, std::string& out) {
    const std::size_t n = text.starts_with("\r\n") ? 2 : 1;
    const bool folds = n < text.size() && isWhiteSpace(static_cast<unsigned char>(text[n]));
    if (!folds) {
        m_defects.add(Fault::kLineEnd, offset);
        out.push_back(' ');
    }
    return n;
}

void TextReader::appendRaw(std::string_view text, std::uint64_t offset, std::string& out) {
    if (appendIso2022(text, offset, out)) return;
    while (!text.empty()) {
        std::size_t n = runOf(text, kPlainAscii);
        out.append(text, 0, n);
        offset += n;
        text.remove_prefix(n);
        if (text.empty()) return;
        const auto b = static_cast<unsigned char>(text.front());
        if (b >= 0x80) {
            // What stands between spaces is one piece: a charset of two bytes may use ASCII.
            n = runOf(text, kTokenBytes);
            appendUnlabelled(text.substr(0, n), offset, out);
        } else if (b == '\r' || b == '\n') {
            n = takeLineEnd(text, offset, out);
        } else {
            n = 1;
            takeControl(b, text.substr(0, 1), offset, out);
        }
        offset += n;
        text.remove_prefix(n);
    }
}

// Raw ISO-2022-JP looks like ASCII with escapes.
bool TextReader::appendIso2022(std::string_view text, std::uint64_t offset, std::string& out) {
    const std::size_t at = text.find("\x1B$");
    if (at == text.npos) return false;
    const Place places[] = {{0, offset}};
    const std::size_t before = out.size();
    if (convert(text, *findCharset(kIso2022Jp), places, Handling::kStop, out)) {
        m_defects.add(Fault::kMalformed, offset + at, "text in ISO-2022-JP without a label");
        return true;
    }
    out.resize(before);
    return false;
}

// Bytes without a charset, or with one that is not known.
void TextReader::appendUnlabelled(std::string_view bytes, std::uint64_t offset, std::string& out) {
    const std::size_t valid = wellFormedPrefix(bytes);
    if (valid == bytes.size()) {
        appendClean(bytes, offset, out);
        return;
    }
    m_defects.add(Fault::kMalformed, offset + valid, "8-bit text without a charset");
    const Place places[] = {{0, offset}};
    const auto fallback = charsetOfSenders(m_options.fallbackCharset);
    const bool usable = fallback && fallback->codePage != kAscii;
    if (!(usable && convert(bytes, *fallback, places, Handling::kReplace, out)))
        (void)convert(bytes, *findCharset(kLastResort), places, Handling::kReplace, out);
}

// ---- Charsets ----

TextReader::~TextReader() {
    for (Open& open : m_open) {
        if (!open.converters) continue;
        keepSpareConverters(std::move(open.converters));
        return;
    }
}

std::unique_ptr<OpenConverters>* TextReader::convertersFor(const Charset& charset) {
    for (Open& open : m_open) {
        if (open.converter == charset.converter) return &open.converters;
    }
    if (m_open.size() >= kMostConverters && charset.codePage != kLastResort) return nullptr;
    const bool isFirst = m_open.empty();
    Open& added = m_open.emplace_back(Open{charset.converter, nullptr});
    if (isFirst) added.converters = takeSpareConverters();
    return &added.converters;
}

// False when it cannot be converted: nothing is appended then. With kStop, also at a fault.
bool TextReader::convert(std::string_view bytes, const Charset& charset,
                         std::span<const Place> places, Handling handling, std::string& out) {
    auto* const open = convertersFor(charset);
    if (!open) {
        m_defects.add(Fault::kTooLong, places.front().offset, "too many charsets");
        return false;
    }
    m_converted.clear();
    Conversion conversion(charset, *findCharset(kUtf8),
                          {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()},
                          handling);
    const ConversionOutcome outcome = conversion.run(*open, {&m_converted, appendTo});
    if (outcome == ConversionOutcome::kNoMemory) throw std::bad_alloc();
    if (outcome == ConversionOutcome::kNoTable) return false;
    if (conversion.faults().stops()) return false;
    if (outcome == ConversionOutcome::kWithFaults)
        m_defects.add(Fault::kMalformed, offsetAt(conversion.faults().first, places));
    appendClean(m_converted, places.front().offset, out);
    return true;
}

void TextReader::append(std::string_view bytes, std::string_view label,
                        std::span<const Place> places, std::string& out) {
    const std::uint64_t offset = places.front().offset;
    // Most words are in UTF-8, and most are sound.
    if (equalIgnoringCase(label, "utf-8") && isWellFormed(bytes)) {
        appendClean(bytes, offset, out);
        return;
    }
    const auto charset = charsetOfSenders(label);
    if (!charset) m_defects.add(Fault::kUnknownCharset, offset);
    const bool isLabelled =
        charset && !(charset->codePage == kAscii && asciiPrefix(bytes) < bytes.size());
    if (!(isLabelled && convert(bytes, *charset, places, Handling::kReplace, out)))
        appendUnlabelled(bytes, offset, out);
}

}  // namespace contentcoding::mail
