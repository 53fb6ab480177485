#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>

#include "codec/Bytes.h"
#include "codec/ContentCoding.h"
#include "codec/EscapedText.h"
#include "codec/StagingWriter.h"
#include "codec/Tables.h"
#include "support/Ascii.h"
#include "support/Charset.h"

namespace {

using contentcoding::byteClass;
using contentcoding::ByteClass;
using contentcoding::EscapedText;
using contentcoding::Escapes;
using contentcoding::runLength;
using contentcoding::StagingWriter;
using contentcoding::ToText;
using contentcoding::Unescapes;

constexpr unsigned int kBlockBytes = 2000;

constexpr int kUtf8 = 65001;
constexpr int kUtf16LE = 1200;
constexpr int kUtf32LE = 12000;
constexpr int kFirstIso2022 = 50220;
constexpr int kLastIso2022 = 50225;

constexpr char kFoldingBreak[] = "\r\n ";

constexpr bool isBlank(char c) { return c == ' ' || c == '\t'; }

bool allBlank(std::string_view text) { return std::all_of(text.begin(), text.end(), isBlank); }

std::string_view viewOf(const void* data, unsigned int n) {
    return {static_cast<const char*>(data), n};
}

const unsigned char* bytesOf(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

unsigned int size32(std::string_view text) { return static_cast<unsigned int>(text.size()); }

// ---- Raw encoding ----

constexpr ByteClass kKeptInQ = byteClass(
    [](unsigned char b) { return b > 32 && b < 127 && b != '=' && b != '?' && b != '_'; });
constexpr ByteClass kKeptInQWithoutComma =
    byteClass([](unsigned char b) { return kKeptInQ[b] && b != ',' && b != ':'; });

constexpr Escapes kQEscapes = {.kept = kKeptInQ, .replaced = ' ', .replacement = '_'};
constexpr Escapes kQEscapesWithComma = {
    .kept = kKeptInQWithoutComma, .replaced = ' ', .replacement = '_'};

char* encodeQ(const void* data, unsigned int n, const Escapes& escapes, unsigned int* outLen) {
    if (!outLen) return nullptr;
    *outLen = 0;
    if (!data || n == 0) return nullptr;
    StringBuffer text;
    StagingWriter<ToText, kBlockBytes> out(ToText{text});
    EscapedText in(data, n, escapes);
    for (std::string_view part = in.next(); !part.empty(); part = in.next()) {
        out.put(part);
        in.skip(part.size());
    }
    (void)out.finish();  // what could be held is returned, as the interface has it
    return text.extractString(outLen);
}

// ---- Encoded words ----

// What starts the text of a word, in either case, whatever the charset before it is.
constexpr const char* kMarkers[] = {"?Q?", "?B?", "?q?", "?b?"};

// How much of the data is searched for a marker.
constexpr std::size_t kSearchedBytes = 100;

// The charsets whose words are B-encoded: Q would escape most of their bytes.
constexpr std::string_view kBCharsets[] = {
    "shift_jis",   "shift-jis",    "Windows-31J", "iso-2022-jp",  "euc-jp",  "euc-kr",
    "iso-2022-kr", "gb2312",       "gbk",         "hz-gb-2312",   "euc-cn",  "cp-936",
    "euc-tw",      "big5",         "cp-950",      "cp-932",       "tis-620", "windows-874",
    "iso-8859-9",  "windows-1254", "iso-8859-6",  "windows-1256", "cp-1256",
};

void appendWord(const char* charset, const char* marker, char* text, StringBuffer& out) {
    ByteArrayOwner owner;
    owner.m_ownedArray = text;
    out.append("=?");
    out.append(charset);
    out.append(marker);
    out.append(text);
    out.append("?=");
}

// ---- Folding ----

constexpr unsigned int kLongestPlain = 900;
constexpr unsigned int kLongestWord = 60;
constexpr unsigned int kBPieceBytes = 72 * 4;  // characters of UTF-32
constexpr unsigned int kQPieceBytes = 50 * 2;  // units of UTF-16

struct Charset {
    int codePage;
    const char* name;

    static Charset orUtf8(int codePage, const char* name) {
        return codePage == 0 || !name ? Charset{kUtf8, "utf-8"} : Charset{codePage, name};
    }
};

constexpr ByteClass kPlain =
    byteClass([](unsigned char b) { return b < 0x80 && b != '\r' && b != '\n'; });
constexpr ByteClass kPlainInIso2022 =
    byteClass([](unsigned char b) { return b < 0x80 && b != 0x1B && b != '[' && b != '$'; });

bool isPlain(std::string_view value, int codePage) {
    const bool iso2022 = codePage >= kFirstIso2022 && codePage <= kLastIso2022;
    if (!iso2022 && value.size() > kLongestPlain) return false;
    return runLength(bytesOf(value), value.size(), iso2022 ? kPlainInIso2022 : kPlain) ==
           value.size();
}

// Whether the first unit of UTF-16LE text is the high half of a surrogate pair.
bool isHighSurrogate(const unsigned char* unit) { return (unit[1] & 0xFC) == 0xD8; }

// How much of `n` bytes the next piece takes: `most`, but for a pair that would be cut.
unsigned int pieceSize(const unsigned char* wide, unsigned int n, unsigned int most, int widePage) {
    if (n <= most) return n;
    return widePage == kUtf16LE && isHighSurrogate(wide + most - 2) ? most - 2 : most;
}

// Has `appendPiece(bytes, n)` append a word for each piece of the value. The pieces are cut in a
// form of fixed width, so that none ends inside a character.
template <class AppendPiece>
void foldValue(std::string_view value, int codePage, int widePage, unsigned int pieceBytes,
               StringBuffer& out, LogBase& log, AppendPiece appendPiece) {
    EncodingConvert converter;
    DataBuffer wide, piece;
    // With faults what could be converted is folded; an empty result is the failure.
    (void)converter.EncConvert(codePage, widePage, bytesOf(value), size32(value), wide, log);
    const unsigned char* next = wide.getData2();
    for (unsigned int left = wide.getSize(); left > 0;) {
        if (next != wide.getData2()) out.append(kFoldingBreak);
        const unsigned int n = pieceSize(next, left, pieceBytes, widePage);
        piece.clear();
        (void)converter.EncConvert(widePage, codePage, next, n, piece, log);
        appendPiece(piece.getData2(), piece.getSize());
        next += n;
        left -= n;
    }
}

// ---- Decoding ----

constexpr Unescapes kQUnescapes = {
    .kept = byteClass([](unsigned char b) {
        return (b >= 32 && b < 127 && b != '=' && b != '?' && b != '_') || b >= 0xA0;
    }),
    .replaced = '_',
    .replacement = ' '};

struct Word {
    std::string_view charset;
    bool isB;
    const unsigned char* bytes;
    unsigned int n;
};

// Shows the visitor the parts of a header value in order: plain(text) for a gap or tail that is
// not all blanks, word(word) for every encoded word that decodes. The walk ends at a "=?" that
// starts no complete word. Each step goes on where the one before it ended, so it is linear.
template <class Visitor>
void walkWords(std::string_view value, Visitor&& visit) {
    constexpr auto kNone = std::string_view::npos;
    for (;;) {
        const std::size_t start = value.find("=?");
        const std::string_view plain = value.substr(0, start);
        if (!allBlank(plain)) visit.plain(plain);
        if (start == kNone) return;
        value.remove_prefix(start + 2);

        const std::size_t charsetEnd = value.find('?');
        if (charsetEnd == kNone) return;
        const std::string_view charset = value.substr(0, charsetEnd);
        value.remove_prefix(charsetEnd + 1);

        if (value.size() < 3 || value[1] != '?') return;
        const bool isB = value[0] == 'B' || value[0] == 'b';
        value.remove_prefix(2);

        const std::size_t end = value.find("?=");
        if (end == kNone) return;
        if (end > 0) {
            const auto length = static_cast<unsigned int>(end);
            unsigned int n = 0;
            unsigned char* const bytes =
                isB ? ContentCoding::decodeBase64a(value.data(), length, _base64DecodeTable.data(),
                                                   &n)
                    : ContentCoding::Q_Decode(value.data(), length, &n);
            ByteArrayOwner owner;
            owner.m_ownedArray = bytes;
            if (bytes) visit.word({charset, isB, bytes, n});
        }
        value.remove_prefix(end + 2);
    }
}

// The text of a buffer up to its first NUL.
std::string_view textOf(const StringBuffer& value) { return value.getString(); }

struct BytesVisitor {
    DataBuffer& out;

    void plain(std::string_view text) const {
        text.remove_prefix(text.find_first_not_of(" \t"));
        out.append(text.data(), size32(text));
    }
    void word(const Word& word) const { out.append(word.bytes, word.n); }
};

class Utf8Visitor {
public:
    Utf8Visitor(DataBuffer& out, LogBase& log) : m_out(out), m_log(log) {}

    void plain(std::string_view text) { m_out.append(text.data(), size32(text)); }
    void word(const Word& word);

private:
    DataBuffer& m_out;
    LogBase& m_log;
    StringBuffer m_charset;
    EncodingConvert m_converter;
};

void Utf8Visitor::word(const Word& word) {
    m_charset.weakClear();
    m_charset.appendN(word.charset.data(), size32(word.charset));
    if (m_charset.equalsIgnoreCase("8bit")) m_charset.setString("utf-8");
    if (m_charset.equalsIgnoreCase("utf-8")) {
        m_out.appendSkipNulls(word.bytes, word.n);
    } else if (CharsetNaming::CharsetValid(m_charset)) {
        if (m_converter.ChConvert2(m_charset, kUtf8, word.bytes, word.n, m_out, m_log)) return;
        m_log.LogError("Errors in decoding from the specified charset.");
        m_log.LogDataSb("charset", m_charset);
    } else {
        if (m_log.m_verboseLogging)
            m_log.LogDataSb(word.isB ? "invalidBCharset" : "invalidQCharset", m_charset);
        m_out.appendSkipNulls(word.bytes, word.n);
    }
}

int codePageOf(const char* charset) {
    _zqCharset found;
    (void)found.setByName(charset);  // none selected: the number is 0
    return found.getCodePage();
}

void decodePercents(StringBuffer& text) {
    // When memory is short the escapes stay.
    if (text.containsChar('%')) (void)_zqUrlEncode::urlDecodeSb(text);
}

}  // namespace

char* ContentCoding::B_Encode(const void* data, unsigned int n, unsigned int* outLen) const {
    if (!outLen) return nullptr;
    *outLen = 0;
    if (!data || n == 0 || n > std::numeric_limits<unsigned int>::max() / 5) return nullptr;
    StringBuffer text;
    return encodeBase64_noCrLf(data, n, text) ? text.extractString(outLen) : nullptr;
}

char* ContentCoding::Q_Encode(const void* data, unsigned int n, unsigned int* outLen) const {
    return encodeQ(data, n, kQEscapes, outLen);
}

char* ContentCoding::Q_EncodeCommaToo(const void* data, unsigned int n,
                                      unsigned int* outLen) const {
    return encodeQ(data, n, kQEscapesWithComma, outLen);
}

bool ContentCoding::bEncodeData2(const void* data, unsigned int n, const char* charset,
                                 StringBuffer& out) const {
    if (!data || !charset || n == 0) return true;
    unsigned int textLen = 0;
    appendWord(charset, "?B?", B_Encode(data, n, &textLen), out);
    return true;
}

bool ContentCoding::qEncodeData2(const void* data, unsigned int n, const char* charset,
                                 StringBuffer& out) const {
    if (!data || n == 0) return true;
    const bool named = charset && *charset;
    unsigned int textLen = 0;
    char* const text =
        m_qEncodeCommaToo ? Q_EncodeCommaToo(data, n, &textLen) : Q_Encode(data, n, &textLen);
    appendWord(named ? charset : "utf-8", "?Q?", text, out);
    return true;
}

bool ContentCoding::qbEncodeData(const void* data, unsigned int n, const char* charset,
                                 StringBuffer& out) const {
    if (!data || n == 0) return true;
    std::string_view start = viewOf(data, n).substr(0, kSearchedBytes);
    start = start.substr(0, start.find('\0'));
    const auto found = [start](const char* marker) {
        return start.find(marker) != std::string_view::npos;
    };
    if (std::any_of(std::begin(kMarkers), std::end(kMarkers), found))
        return out.appendN(static_cast<const char*>(data), n);
    const auto named = [charset](std::string_view name) {
        return contentcoding::equalIgnoringCase(name, charset);
    };
    return charset && std::any_of(std::begin(kBCharsets), std::end(kBCharsets), named)
               ? bEncodeData2(data, n, charset, out)
               : qEncodeData2(data, n, charset, out);
}

bool ContentCoding::bEncodeForMimeField(const void* data, unsigned int n, bool foldLongValues,
                                        int codePage, const char* charset, StringBuffer& out,
                                        LogBase& log) const {
    if (!data || n == 0) return true;
    const auto target = Charset::orUtf8(codePage, charset);
    const std::string_view value = viewOf(data, n);
    if (allBlank(value) || isPlain(value, target.codePage)) return out.appendN(value.data(), n);
    if (n <= kLongestWord || !foldLongValues) return bEncodeData2(data, n, target.name, out);
    foldValue(value, target.codePage, kUtf32LE, kBPieceBytes, out, log,
              [&](const unsigned char* piece, unsigned int size) {
                  bEncodeData2(piece, size, target.name, out);
              });
    return true;
}

bool ContentCoding::qEncodeForMimeField(const void* data, unsigned int n, bool foldLongValues,
                                        int codePage, const char* charset,
                                        StringBuffer& out) const {
    if (!data || n == 0) return true;
    const auto target = Charset::orUtf8(codePage, charset);
    const std::string_view value = viewOf(data, n);
    if (allBlank(value)) return out.appendN(value.data(), n);
    if (n <= kLongestWord || !foldLongValues) return qEncodeData2(data, n, target.name, out);
    LogNull log;
    foldValue(value, target.codePage, kUtf16LE, kQPieceBytes, out, log,
              [&](const unsigned char* piece, unsigned int size) {
                  qEncodeData2(piece, size, target.name, out);
              });
    return true;
}

unsigned char* ContentCoding::Q_Decode(const char* text, unsigned int n, unsigned int* outLen) {
    if (!text) return nullptr;
    if (n == 0) n = zqStrLen(text);
    if (n == 0 || n == std::numeric_limits<unsigned int>::max()) return nullptr;
    const std::uint64_t size = std::uint64_t{n} + 1 + contentcoding::kSlack;
    if (size > std::numeric_limits<std::size_t>::max()) return nullptr;
    char* const bytes = new (std::nothrow) char[static_cast<std::size_t>(size)];
    if (!bytes) return nullptr;
    char* end = bytes;
    for (std::string_view in(text, n); !in.empty();) {
        const auto done =
            contentcoding::kernels().unescape(in.data(), in.size(), kQUnescapes, end, in.size());
        end += done.written;
        in.remove_prefix(done.read);
        if (in.empty()) break;
        *end++ = '=';  // no escape
        in.remove_prefix(1);
    }
    *end = '\0';
    if (outLen) *outLen = static_cast<unsigned int>(end - bytes);
    return reinterpret_cast<unsigned char*>(bytes);
}

bool ContentCoding::QB_Decode(StringBuffer& value, DataBuffer& out) {
    walkWords(textOf(value), BytesVisitor{out});
    return true;
}

bool ContentCoding::QB_DecodeToUtf8(StringBuffer& value, LogBase& log) {
    if (log.m_verboseLogging) log.LogDataSb("QB_DecodeToUtf8_input", value);
    // Most values have no words, and stay as they are.
    const std::string_view text = textOf(value);
    if (text.find("=?") != text.npos || text.size() != value.getSize() || allBlank(text)) {
        DataBuffer decoded;
        walkWords(text, Utf8Visitor(decoded, log));
        value.weakClear();
        value.append(decoded);
    }
    if (log.m_verboseLogging) log.LogDataSb("QB_DecodeToUtf8_output", value);
    return true;
}

bool ContentCoding::decodeStarEncoded(StringBuffer& value, const char* defaultCharset,
                                      StringBuffer& decodedValue, StringBuffer& charset,
                                      LogBase& log) {
    const LogContextExitor context(log, "decodeStarEncoded");
    constexpr const char* kSeparator = "''";
    charset.weakClear();
    StringBuffer text(value);
    int codePage = 0;
    if (text.containsSubstring(kSeparator)) {
        charset.setString(text);
        charset.chopAtFirstChar('\'');
        charset.toLowerCase();
        codePage = codePageOf(charset.getString());
        // A NUL in front hides the separator, and what follows it.
        const char* const found = zqStrStr(text.getString(), kSeparator);
        text.setString(found ? found + std::strlen(kSeparator) : nullptr);
    } else {
        codePage = codePageOf(defaultCharset ? defaultCharset : "utf-8");
    }
    decodePercents(text);
    if (codePage != 0 && codePage != kUtf8) text.convertEncoding(codePage, kUtf8, log);
    return decodedValue.append(text);
}
