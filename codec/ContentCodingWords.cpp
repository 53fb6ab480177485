#include <algorithm>
#include <cassert>
#include <cstring>
#include <limits>
#include <string_view>

#include "codec/Base64.h"
#include "codec/BufferWindow.h"
#include "codec/Bytes.h"
#include "codec/ContentCoding.h"
#include "codec/HeaderWords.h"
#include "support/Ascii.h"
#include "support/BufferAccess.h"
#include "support/Charset.h"

// The methods of the class for MIME headers: adaptors over the words, the charsets and the log.

namespace {

namespace words = contentcoding::header_words;

using contentcoding::Blocks;
using contentcoding::BufferAccess;
using contentcoding::BufferWindow;
using contentcoding::byteClass;
using contentcoding::ByteClass;
using contentcoding::runLength;
using contentcoding::SpanWindow;

constexpr unsigned int kBlockBytes = 2000;
constexpr unsigned int kMost = std::numeric_limits<unsigned int>::max();

constexpr int kUtf8 = 65001;
constexpr int kUtf16LE = 1200;
constexpr int kUtf32LE = 12000;
constexpr int kFirstIso2022 = 50220;
constexpr int kLastIso2022 = 50225;

constexpr char kFoldingBreak[] = "\r\n ";

std::string_view viewOf(const void* data, unsigned int n) {
    return {static_cast<const char*>(data), n};
}

const unsigned char* bytesOf(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

unsigned int size32(std::string_view text) { return static_cast<unsigned int>(text.size()); }

// ---- Raw encoding ----

char* newQ(const void* data, unsigned int n, bool keepsComma, unsigned int* outLen) {
    if (!outLen) return nullptr;
    *outLen = 0;
    if (!data || n == 0) return nullptr;
    StringBuffer text;
    {
        BufferWindow<StringBuffer, kBlockBytes> window(text, Blocks::of(kBlockBytes).goingOn());
        // What could be held is returned, as the interface has it.
        (void)(words::encodeQ({data, n}, keepsComma, window) && window.finish());
    }
    return text.extractString(outLen);
}

// B_Encode takes no more.
constexpr unsigned int kLongestB = kMost / 5;

// ---- Encoded words ----

// What starts the text of a word, in either case, whatever the charset before it is.
constexpr const char* kMarkers[] = {"?Q?", "?B?", "?q?", "?b?"};

// How much of the data is searched for a marker.
constexpr std::size_t kSearchedBytes = 100;

// The charsets whose words are B-encoded.
constexpr std::string_view kBCharsets[] = {
    "shift_jis",   "shift-jis",    "Windows-31J", "iso-2022-jp",  "euc-jp",  "euc-kr",
    "iso-2022-kr", "gb2312",       "gbk",         "hz-gb-2312",   "euc-cn",  "cp-936",
    "euc-tw",      "big5",         "cp-950",      "cp-932",       "tis-620", "windows-874",
    "iso-8859-9",  "windows-1254", "iso-8859-6",  "windows-1256", "cp-1256",
};

// Appends a word in its frame. `encode(window)` writes its text, `most` characters at most; a text
// for which there is no room is left out.
template <class Encode>
void appendWord(const char* charset, const char* marker, std::uint64_t most, StringBuffer& out,
                Encode encode) {
    constexpr std::uint64_t kFrame = 2 + 3 + 2;
    const std::uint64_t all = most + kFrame + zqStrLen(charset);
    // Without room for all, the parts below do what they can.
    if (all <= kMost) (void)BufferAccess::reserve(out, static_cast<unsigned int>(all));
    out.append("=?");
    out.append(charset);
    out.append(marker);
    const unsigned int before = out.getSize();
    {
        BufferWindow<StringBuffer, kBlockBytes> window(out, Blocks::of(kBlockBytes));
        if (!encode(window) || !window.finish()) BufferAccess::setSize(out, before);
    }
    out.append("?=");
}

// ---- Folding ----

constexpr unsigned int kLongestPlain = 900;
constexpr unsigned int kLongestWord = 60;

// What a piece of a folded value holds, and the form of fixed width in which it is cut.
struct Pieces {
    int widePage;
    unsigned int wideBytes;
    unsigned int units;
    words::Units unit;
};
constexpr Pieces kBPieces = {kUtf32LE, 72 * 4, 72, words::Units::kCharacters};
constexpr Pieces kQPieces = {kUtf16LE, 50 * 2, 50, words::Units::kUtf16};

struct Target {
    int codePage;
    const char* name;

    static Target orUtf8(int codePage, const char* name) {
        return codePage == 0 || !name ? Target{kUtf8, "utf-8"} : Target{codePage, name};
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

// Has `appendPiece(bytes, n)` append a word for each piece of the value. Well-formed UTF-8 is cut
// as it is; other text in a form of fixed width, so that no piece ends inside a character.
template <class AppendPiece>
void foldValue(std::string_view value, int codePage, const Pieces& pieces, StringBuffer& out,
               LogBase& log, AppendPiece appendPiece) {
    constexpr auto kNone = std::string_view::npos;
    if (codePage == kUtf8 && words::pieceOfUtf8(value, kNone, pieces.unit) != kNone) {
        for (std::string_view left = value; !left.empty();) {
            if (left.size() < value.size()) out.append(kFoldingBreak);
            const std::size_t n = words::pieceOfUtf8(left, pieces.units, pieces.unit);
            appendPiece(bytesOf(left), static_cast<unsigned int>(n));
            left.remove_prefix(n);
        }
        return;
    }
    EncodingConvert converter;
    DataBuffer wide, piece;
    // With faults what could be converted is folded; an empty result is the failure.
    (void)converter.EncConvert(codePage, pieces.widePage, bytesOf(value), size32(value), wide, log);
    const unsigned char* next = wide.getData2();
    for (unsigned int left = wide.getSize(); left > 0;) {
        if (next != wide.getData2()) out.append(kFoldingBreak);
        const unsigned int n = pieceSize(next, left, pieces.wideBytes, pieces.widePage);
        piece.clear();
        (void)converter.EncConvert(pieces.widePage, codePage, next, n, piece, log);
        appendPiece(piece.getData2(), piece.getSize());
        next += n;
        left -= n;
    }
}

// ---- Decoding ----

// Appends the bytes of a word; nothing when memory for them is short.
bool appendDecoded(const words::Word& word, DataBuffer& out) {
    BufferWindow<DataBuffer, kBlockBytes> window(out, Blocks::of(kBlockBytes));
    return window.expect(word.text.size()) && words::decode(word, window) && window.finish();
}

// The text of a buffer up to its first NUL.
std::string_view textOf(const StringBuffer& value) { return value.getString(); }

struct BytesVisitor {
    DataBuffer& out;

    void plain(std::string_view text) const {
        text.remove_prefix(text.find_first_not_of(" \t"));
        out.append(text.data(), size32(text));
    }
    void word(const words::Word& word) const { (void)appendDecoded(word, out); }
};

class Utf8Visitor {
public:
    Utf8Visitor(DataBuffer& out, LogBase& log) : m_out(out), m_log(log) {}

    void plain(std::string_view text) { m_out.append(text.data(), size32(text)); }
    void word(const words::Word& word);

private:
    void appendWithoutNuls(const words::Word& word);
    void convert(const void* bytes, unsigned int n);

    // As long as RFC 2047 allows, and more.
    static constexpr std::size_t kShortWord = 256;

    DataBuffer& m_out;
    LogBase& m_log;
    StringBuffer m_charset;
    DataBuffer m_bytes;
    EncodingConvert m_converter;
};

void Utf8Visitor::appendWithoutNuls(const words::Word& word) {
    const unsigned int before = m_out.getSize();
    if (!appendDecoded(word, m_out)) return;
    char* const end = reinterpret_cast<char*>(BufferAccess::spare(m_out).data());
    char* const last = std::remove(end - (m_out.getSize() - before), end, '\0');
    BufferAccess::setSize(m_out, m_out.getSize() - static_cast<unsigned int>(end - last));
}

void Utf8Visitor::word(const words::Word& word) {
    const auto isNamed = [&](std::string_view name) {
        return contentcoding::equalIgnoringCase(word.charset, name);
    };
    if (isNamed("utf-8") || isNamed("8bit")) {
        appendWithoutNuls(word);
        return;
    }
    m_charset.weakClear();
    m_charset.appendN(word.charset.data(), size32(word.charset));
    if (!CharsetNaming::CharsetValid(m_charset)) {
        if (m_log.m_verboseLogging)
            m_log.LogDataSb(word.isB ? "invalidBCharset" : "invalidQCharset", m_charset);
        appendWithoutNuls(word);
        return;
    }
    // Most words are short: they need no memory of their own.
    char few[kShortWord + contentcoding::kOverwrite];
    if (word.text.size() <= kShortWord) {
        SpanWindow window(few);
        (void)(words::decode(word, window) && window.finish());  // there is room
        convert(few, static_cast<unsigned int>(window.size()));
        return;
    }
    m_bytes.clear();
    if (appendDecoded(word, m_bytes)) convert(m_bytes.getData2(), m_bytes.getSize());
}

// Appends bytes in m_charset.
void Utf8Visitor::convert(const void* bytes, unsigned int n) {
    const auto* const p = static_cast<const unsigned char*>(bytes);
    if (m_converter.ChConvert2(m_charset, kUtf8, p, n, m_out, m_log)) return;
    m_log.LogError("Errors in decoding from the specified charset.");
    m_log.LogDataSb("charset", m_charset);
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
    if (!data || n == 0 || n > kLongestB) return nullptr;
    StringBuffer text;
    return encodeBase64_noCrLf(data, n, text) ? text.extractString(outLen) : nullptr;
}

char* ContentCoding::Q_Encode(const void* data, unsigned int n, unsigned int* outLen) const {
    return newQ(data, n, true, outLen);
}

char* ContentCoding::Q_EncodeCommaToo(const void* data, unsigned int n,
                                      unsigned int* outLen) const {
    return newQ(data, n, false, outLen);
}

bool ContentCoding::bEncodeData2(const void* data, unsigned int n, const char* charset,
                                 StringBuffer& out) const {
    assert(contentcoding::BufferAccess::isApart(out, data, n));
    if (!data || !charset || n == 0) return true;
    const std::uint64_t size = (std::uint64_t{n} + 2) / 3 * 4;
    appendWord(charset, "?B?", size, out, [&](contentcoding::Window& window) {
        contentcoding::base64::Encoder encoder;
        return n <= kLongestB && window.expect(size) && encoder.write({data, n}, window) &&
               encoder.end(window);
    });
    return true;
}

bool ContentCoding::qEncodeData2(const void* data, unsigned int n, const char* charset,
                                 StringBuffer& out) const {
    assert(contentcoding::BufferAccess::isApart(out, data, n));
    if (!data || n == 0) return true;
    const bool named = charset && *charset;
    const std::uint64_t escaped = std::uint64_t{n} * 3;
    // Much text has few escapes; a word has not much.
    const std::uint64_t most = n <= kBlockBytes ? escaped : n;
    appendWord(named ? charset : "utf-8", "?Q?", most, out, [&](contentcoding::Window& window) {
        return words::encodeQ({data, n}, !m_qEncodeCommaToo, window);
    });
    return true;
}

bool ContentCoding::qbEncodeData(const void* data, unsigned int n, const char* charset,
                                 StringBuffer& out) const {
    assert(contentcoding::BufferAccess::isApart(out, data, n));
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
    assert(contentcoding::BufferAccess::isApart(out, data, n));
    if (!data || n == 0) return true;
    const auto target = Target::orUtf8(codePage, charset);
    const std::string_view value = viewOf(data, n);
    if (words::isBlankText(value) || isPlain(value, target.codePage))
        return out.appendN(value.data(), n);
    if (n <= kLongestWord || !foldLongValues) return bEncodeData2(data, n, target.name, out);
    foldValue(value, target.codePage, kBPieces, out, log,
              [&](const unsigned char* piece, unsigned int size) {
                  bEncodeData2(piece, size, target.name, out);
              });
    return true;
}

bool ContentCoding::qEncodeForMimeField(const void* data, unsigned int n, bool foldLongValues,
                                        int codePage, const char* charset,
                                        StringBuffer& out) const {
    assert(contentcoding::BufferAccess::isApart(out, data, n));
    if (!data || n == 0) return true;
    const auto target = Target::orUtf8(codePage, charset);
    const std::string_view value = viewOf(data, n);
    if (words::isBlankText(value)) return out.appendN(value.data(), n);
    if (n <= kLongestWord || !foldLongValues) return qEncodeData2(data, n, target.name, out);
    LogNull log;
    foldValue(value, target.codePage, kQPieces, out, log,
              [&](const unsigned char* piece, unsigned int size) {
                  qEncodeData2(piece, size, target.name, out);
              });
    return true;
}

unsigned char* ContentCoding::Q_Decode(const char* text, unsigned int n, unsigned int* outLen) {
    if (!text) return nullptr;
    if (n == 0) n = zqStrLen(text);
    if (n == 0 || n == std::numeric_limits<unsigned int>::max()) return nullptr;
    const std::uint64_t size = std::uint64_t{n} + 1 + contentcoding::kOverwrite;
    if (size > std::numeric_limits<std::size_t>::max()) return nullptr;
    char* const bytes = new (std::nothrow) char[static_cast<std::size_t>(size)];
    if (!bytes) return nullptr;
    SpanWindow window({bytes, static_cast<std::size_t>(size)});
    // There is room for all.
    (void)(words::decodeQ({text, n}, window) && window.finish());
    bytes[window.size()] = '\0';
    if (outLen) *outLen = static_cast<unsigned int>(window.size());
    return reinterpret_cast<unsigned char*>(bytes);
}

bool ContentCoding::QB_Decode(StringBuffer& value, DataBuffer& out) {
    words::walk(textOf(value), BytesVisitor{out});
    return true;
}

bool ContentCoding::QB_DecodeToUtf8(StringBuffer& value, LogBase& log) {
    if (log.m_verboseLogging) log.LogDataSb("QB_DecodeToUtf8_input", value);
    // Most values have no words, and stay as they are.
    const std::string_view text = textOf(value);
    if (text.find("=?") != text.npos || text.size() != value.getSize() ||
        words::isBlankText(text)) {
        DataBuffer decoded;
        // Words of UTF-8 get shorter.
        (void)BufferAccess::reserve(decoded, size32(text));
        words::walk(text, Utf8Visitor(decoded, log));
        value.weakClear();
        value.append(decoded);
    }
    if (log.m_verboseLogging) log.LogDataSb("QB_DecodeToUtf8_output", value);
    return true;
}

bool ContentCoding::decodeStarEncoded(StringBuffer& value, const char* defaultCharset,
                                      StringBuffer& decodedValue, StringBuffer& charset,
                                      LogBase& log) {
    assert(&value != &decodedValue && &value != &charset && &charset != &decodedValue);
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
