#include "support/Charset.h"

#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <functional>
#include <initializer_list>
#include <limits>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include "support/Ascii.h"
#include "support/CharsetForms.h"
#include "support/CharsetTable.h"

namespace contentcoding {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

// What charsets of one byte a character, ours and the library's, put for one that they lack.
constexpr unsigned char kSubstitute = 0x1A;

// The bytes to convert; those before `position` are done.
struct Input {
    const unsigned char* bytes;
    unsigned int size;
    unsigned int position = 0;

    unsigned int left() const { return size - position; }
};

// Where the first fault is. Both sides of a conversion report theirs, the target's later.
struct Faults {
    static constexpr unsigned int kNone = std::numeric_limits<unsigned int>::max();

    // The offset of a byte is at most 2^32 - 2, which leaves kNone.
    void add(unsigned int offset) { first = std::min(first, offset); }
    bool any() const { return first != kNone; }

    unsigned int first = kNone;
};

// Characters on their way from the one charset to the other.
struct Piece {
    static constexpr std::size_t kCapacity = 1024;

    void add(char32_t character, unsigned int offset, Faults& faults) {
        if (character == kIllFormed) faults.add(offset);
        characters[size] = character == kIllFormed ? kReplacement : character;
        offsets[size++] = offset;
    }

    std::array<char32_t, kCapacity> characters;
    std::array<unsigned int, kCapacity> offsets;  // of a character's first byte in the input
    unsigned int size = 0;
    bool last = false;
};

template <Decoded (*decode)(const unsigned char*, unsigned int)>
void fill(Input& in, Piece& piece, Faults& faults) {
    while (piece.size < Piece::kCapacity && in.left() > 0) {
        const Decoded decoded = decode(in.bytes + in.position, in.left());
        piece.add(decoded.character, in.position, faults);
        in.position += decoded.length;
    }
    piece.last = in.left() == 0;
}

template <unsigned int (*encode)(char32_t, unsigned char*)>
bool drain(const Piece& piece, Faults& faults, DataBuffer& out) {
    std::array<unsigned char, Piece::kCapacity * kMaxEncoded> block;
    unsigned int n = 0;
    for (unsigned int i = 0; i < piece.size; ++i) {
        const unsigned int length = encode(piece.characters[i], &block[n]);
        if (length == 0) {
            faults.add(piece.offsets[i]);
            block[n] = kSubstitute;
        }
        n += std::max(length, 1u);
    }
    return out.append(block.data(), n);
}

// How a charset with a form of its own is read and written.
struct Coder {
    void (*fill)(Input& in, Piece& piece, Faults& faults);
    bool (*drain)(const Piece& piece, Faults& faults, DataBuffer& out);
};

constexpr Coder coderOf(CharsetForm form) {
    switch (form) {
        case CharsetForm::Ascii:
            return {fill<decodeByte<0x7F>>, drain<encodeByte<0x7F>>};
        case CharsetForm::Latin1:
            return {fill<decodeByte<0xFF>>, drain<encodeByte<0xFF>>};
        case CharsetForm::Latin10:
            return {fill<decodeLatin10>, drain<encodeLatin10>};
        case CharsetForm::Utf8:
            return {fill<decodeUtf8>, drain<encodeUtf8>};
        case CharsetForm::Utf16Le:
            return {fill<decodeUtf16<false>>, drain<encodeUtf16<false>>};
        case CharsetForm::Utf32Le:
            return {fill<decodeUtf32<false>>, drain<encodeUtf32<false>>};
        case CharsetForm::Utf16Marked:
        case CharsetForm::Utf16Be:
            return {fill<decodeUtf16<true>>, drain<encodeUtf16<true>>};
        case CharsetForm::Utf32Marked:
        case CharsetForm::Utf32Be:
            return {fill<decodeUtf32<true>>, drain<encodeUtf32<true>>};
        case CharsetForm::Table:
            break;
    }
    return {};
}

// The form that a byte-order mark at the start tells; the mark is done with then.
CharsetForm formByMark(CharsetForm form, Input& in) {
    using enum CharsetForm;
    const auto takeMark = [&in](std::string_view mark) {
        const bool there =
            in.size >= mark.size() &&
            std::equal(mark.begin(), mark.end(), in.bytes,
                       [](char m, unsigned char b) { return static_cast<unsigned char>(m) == b; });
        if (there) in.position = static_cast<unsigned int>(mark.size());
        return there;
    };
    using namespace std::string_view_literals;
    if (form == Utf16Marked)
        return !takeMark("\xFE\xFF"sv) && takeMark("\xFF\xFE"sv) ? Utf16Le : Utf16Be;
    if (form == Utf32Marked)
        return !takeMark("\0\0\xFE\xFF"sv) && takeMark("\xFF\xFE\0\0"sv) ? Utf32Le : Utf32Be;
    return form;
}

// The library handles the start and the end of a text in HZ (RFC 1843) in ways of its own.
bool isHz(const UConverter* converter) { return ucnv_getType(converter) == UCNV_HZ; }

// Reads through a converter of the library.
class TableReader {
public:
    explicit TableReader(UConverter& converter) : m_converter(&converter) {
        UErrorCode error = U_ZERO_ERROR;
        ucnv_reset(m_converter);
        ucnv_setToUCallBack(m_converter, onIllFormed, this, nullptr, nullptr, &error);
    }

    // The next characters; false when memory is short.
    bool fill(Input& in, Piece& piece, Faults& faults);

private:
    // A piece holds what comes of one step, and a surrogate that was left before.
    static constexpr std::size_t kUnits = Piece::kCapacity - 1;

    // So few bytes that the units that they become have room: a table may make several of one.
    static constexpr unsigned int kStep = kUnits / 4;

    static void U_CALLCONV onIllFormed(const void* reader, UConverterToUnicodeArgs* args,
                                       const char* bytes, int32_t length,
                                       UConverterCallbackReason reason, UErrorCode* error);
    void addUnit(UChar unit, unsigned int offset, Piece& piece, Faults& faults);
    bool endsHzShort();

    UConverter* m_converter;
    std::array<UChar, kUnits> m_units;
    std::array<int32_t, kUnits> m_offsets;
    const UChar* m_firstFault = nullptr;  // where in m_units the step's first fault is
    char32_t m_high = 0;                  // a high surrogate whose low one is yet to come, or 0
    unsigned int m_highOffset = 0;
    unsigned int m_pending = 0;  // bytes before the step that have not become characters yet
};

// Each ill-formed part becomes one U+FFFD, which is not a fault where the input itself has it.
void TableReader::onIllFormed(const void* reader, UConverterToUnicodeArgs* args, const char*,
                              int32_t, UConverterCallbackReason reason, UErrorCode* error) {
    if (reason > UCNV_IRREGULAR) return;  // a reset or the end of the converter
    auto& self = *static_cast<TableReader*>(const_cast<void*>(reader));
    if (!self.m_firstFault) self.m_firstFault = args->target;
    constexpr UChar kUnit = kReplacement;
    *error = U_ZERO_ERROR;
    ucnv_cbToUWriteUChars(args, &kUnit, 1, 0, error);
}

bool TableReader::fill(Input& in, Piece& piece, Faults& faults) {
    const unsigned int step = std::min(in.left(), kStep);
    const auto* const begin = reinterpret_cast<const char*>(in.bytes + in.position);
    const char* source = begin;
    UChar* target = m_units.data();
    const bool end = step == in.left();
    const UBool flush = end && !isHz(m_converter) ? 1 : 0;
    UErrorCode error = U_ZERO_ERROR;
    m_firstFault = nullptr;
    ucnv_toUnicode(m_converter, &target, target + kUnits, &source, begin + step, m_offsets.data(),
                   flush, &error);
    if (U_FAILURE(error) && error != U_BUFFER_OVERFLOW_ERROR) return false;

    // A character has a negative offset when its first bytes came with an earlier step.
    const auto offsetOf = [&](const UChar* unit) {
        if (unit == target) return in.position;
        const auto offset = m_offsets[static_cast<std::size_t>(unit - m_units.data())];
        return offset < 0 ? in.position - m_pending
                          : in.position + static_cast<unsigned int>(offset);
    };
    if (m_firstFault) faults.add(offsetOf(m_firstFault));
    for (const UChar* unit = m_units.data(); unit != target; ++unit)
        addUnit(*unit, offsetOf(unit), piece, faults);

    in.position += static_cast<unsigned int>(source - begin);
    piece.last = end && error != U_BUFFER_OVERFLOW_ERROR;
    if (piece.last && isHz(m_converter) && endsHzShort())
        piece.add(kIllFormed, in.size - 1, faults);
    if (piece.last && m_high != 0) piece.add(kIllFormed, m_highOffset, faults);
    error = U_ZERO_ERROR;
    m_pending = static_cast<unsigned int>(ucnv_toUCountPending(m_converter, &error));
    return true;
}

// Whether a text in HZ ends within a character or an escape, which is after its first byte. The
// library drops that byte without a word. After a whole text a line that goes on means nothing and
// "." is itself or half a character; after half a text they become more, or a fault.
bool TableReader::endsHzShort() {
    constexpr std::string_view probe = "~\n.";
    const char* source = probe.data();
    UChar* target = m_units.data();
    UErrorCode error = U_ZERO_ERROR;
    m_firstFault = nullptr;
    ucnv_toUnicode(m_converter, &target, target + kUnits, &source, source + probe.size(), nullptr,
                   1, &error);
    return m_firstFault || target - m_units.data() > 1;
}

// Some charsets can write single surrogates, which are not characters.
void TableReader::addUnit(UChar unit, unsigned int offset, Piece& piece, Faults& faults) {
    const char32_t high = std::exchange(m_high, 0);
    if (high != 0 && isLowSurrogate(unit)) {
        piece.add(joinSurrogates(high, unit), m_highOffset, faults);
        return;
    }
    if (high != 0) piece.add(kIllFormed, m_highOffset, faults);
    if (isHighSurrogate(unit)) {
        m_high = unit;
        m_highOffset = offset;
    } else {
        piece.add(isLowSurrogate(unit) ? kIllFormed : unit, offset, faults);
    }
}

// Writes through a converter of the library.
class TableWriter {
public:
    explicit TableWriter(UConverter& converter) : m_converter(&converter) {
        UErrorCode error = U_ZERO_ERROR;
        ucnv_reset(m_converter);
        ucnv_setFromUCallBack(m_converter, onUnmapped, this, nullptr, nullptr, &error);
        if (isHz(m_converter)) startHz();
    }

    // Appends the piece; false when memory is short.
    bool drain(const Piece& piece, Faults& faults, DataBuffer& out);

private:
    static void U_CALLCONV onUnmapped(const void* writer, UConverterFromUnicodeArgs* args,
                                      const UChar* units, int32_t length, UChar32 character,
                                      UConverterCallbackReason reason, UErrorCode* error);
    unsigned int offsetBefore(const UChar* end, int32_t length) const;

    void startHz();
    void addUnit(char32_t unit, unsigned int offset);
    bool write(UBool flush, unsigned int extra, DataBuffer& out);

    // A character takes two units at most; one is for the end of HZ.
    static constexpr std::size_t kUnits = 2 * Piece::kCapacity + 1;

    UConverter* m_converter;
    std::array<UChar, kUnits> m_units;
    std::array<unsigned int, kUnits> m_offsets;
    unsigned int m_size = 0;
    unsigned int m_lastOffset = 0;  // of the piece before
    Faults* m_faults = nullptr;
};

void TableWriter::onUnmapped(const void* writer, UConverterFromUnicodeArgs* args, const UChar*,
                             int32_t length, UChar32, UConverterCallbackReason reason,
                             UErrorCode* error) {
    if (reason > UCNV_IRREGULAR) return;
    const auto& self = *static_cast<const TableWriter*>(writer);
    self.m_faults->add(self.offsetBefore(args->source, length));
    *error = U_ZERO_ERROR;
    ucnv_cbFromUWriteSub(args, 0, error);
}

// The library looks ahead in a copy of its own where a table has sequences of characters; the fault
// is then after the piece before.
unsigned int TableWriter::offsetBefore(const UChar* end, int32_t length) const {
    const UChar* const begin = m_units.data();
    const std::less_equal<> notAfter;
    if (!notAfter(begin + length, end) || !notAfter(end, begin + m_size)) return m_lastOffset;
    return m_offsets[static_cast<std::size_t>(end - begin - length)];
}

// The library writes "~}" before the first ASCII letter of a text, where no "~{" has gone before.
// It does so here, and nobody sees it.
void TableWriter::startHz() {
    constexpr UChar letter = 'A';
    const UChar* source = &letter;
    std::array<char, 8> ignored;
    char* target = ignored.data();
    UErrorCode error = U_ZERO_ERROR;
    ucnv_fromUnicode(m_converter, &target, target + ignored.size(), &source, source + 1, nullptr, 0,
                     &error);
}

bool TableWriter::drain(const Piece& piece, Faults& faults, DataBuffer& out) {
    if (m_size > 0) m_lastOffset = m_offsets[m_size - 1];
    m_size = 0;
    m_faults = &faults;
    for (unsigned int i = 0; i < piece.size; ++i) {
        const char32_t c = piece.characters[i];
        addUnit(c < 0x10000 ? c : highSurrogateOf(c), piece.offsets[i]);
        if (c >= 0x10000) addUnit(lowSurrogateOf(c), piece.offsets[i]);
    }
    // The library leaves HZ in the state that it is in. A letter more brings the end of the state;
    // the letter itself, the last byte of all, is not passed on.
    const unsigned int extra = piece.last && isHz(m_converter) ? 1 : 0;
    if (extra > 0) addUnit('A', m_lastOffset);
    return write(piece.last ? 1 : 0, extra, out);
}

void TableWriter::addUnit(char32_t unit, unsigned int offset) {
    m_units[m_size] = static_cast<UChar>(unit);
    m_offsets[m_size++] = offset;
}

// Appends what the units become, without the last `extra` bytes.
bool TableWriter::write(UBool flush, unsigned int extra, DataBuffer& out) {
    const UChar* source = m_units.data();
    const UChar* const limit = source + m_size;
    UErrorCode error = U_BUFFER_OVERFLOW_ERROR;
    while (error == U_BUFFER_OVERFLOW_ERROR) {
        std::array<char, 2 * Piece::kCapacity> block;
        char* target = block.data();
        error = U_ZERO_ERROR;
        ucnv_fromUnicode(m_converter, &target, target + block.size(), &source, limit, nullptr,
                         flush, &error);
        auto n = static_cast<unsigned int>(target - block.data());
        if (error != U_BUFFER_OVERFLOW_ERROR) n -= std::min(n, extra);
        if (!out.append(block.data(), n)) return false;
    }
    return U_SUCCESS(error);
}

enum class Outcome { Converted, WithFaults, UnknownCharset, NoMemory };

// A converter of the library, kept until another is needed.
class ConverterSlot {
public:
    ConverterSlot() = default;
    ~ConverterSlot() { ucnv_close(m_converter); }
    ConverterSlot(const ConverterSlot&) = delete;
    ConverterSlot& operator=(const ConverterSlot&) = delete;

    // Opens the converter of that name, which lives for ever, unless it is the open one.
    Outcome open(const char* name) {
        if (m_converter && m_name == name) return Outcome::Converted;
        ucnv_close(m_converter);
        UErrorCode error = U_ZERO_ERROR;
        m_converter = ucnv_open(name, &error);
        m_name = name;
        if (m_converter) return Outcome::Converted;
        return error == U_MEMORY_ALLOCATION_ERROR ? Outcome::NoMemory : Outcome::UnknownCharset;
    }

    UConverter& converter() const { return *m_converter; }

private:
    UConverter* m_converter = nullptr;
    std::string_view m_name;
};

}  // namespace

// One for each side, since the shift states of reading and writing may share their place.
struct OpenConverters {
    ConverterSlot source;
    ConverterSlot target;
};

namespace {

using OpenPointer = std::unique_ptr<OpenConverters>;

// A number as it is written, without an allocation.
class Decimal {
public:
    explicit Decimal(long long n)
        : m_end(std::to_chars(m_text.data(), m_text.data() + m_text.size(), n).ptr) {}
    std::string_view view() const {
        return {m_text.data(), static_cast<std::size_t>(m_end - m_text.data())};
    }

private:
    std::array<char, 20> m_text;
    const char* m_end;
};

// Logs the words as one line; nothing when there is no memory for it.
void logLine(std::initializer_list<std::string_view> words, LogBase& log) {
    StringBuffer line;
    for (const auto word : words) {
        if (!line.appendN(word.data(), static_cast<unsigned int>(word.size()))) return;
    }
    log.LogError(line.getString());
}

Outcome unknownCodePage(int codePage, LogBase& log) {
    logLine({"Unknown code page: ", Decimal(codePage).view(), "."}, log);
    return Outcome::UnknownCharset;
}

// A text from one charset to another, piece by piece.
class Conversion {
public:
    Conversion(const Charset& from, const Charset& to, const unsigned char* data, unsigned int n)
        : m_from(from),
          m_to(to),
          m_in{data, n},
          m_source(coderOf(formByMark(from.form, m_in))),
          m_target(coderOf(to.form)) {}

    Outcome run(OpenPointer& open, DataBuffer& out, LogBase& log);

private:
    Outcome openTables(OpenPointer& open);
    bool convertPieces(DataBuffer& out);
    bool fill(Piece& piece);

    const Charset m_from;
    const Charset m_to;
    Input m_in;
    const Coder m_source;
    const Coder m_target;
    std::optional<TableReader> m_reader;  // where the source has no coder
    std::optional<TableWriter> m_writer;  // where the target has none
    Faults m_faults;
};

Outcome Conversion::openTables(OpenPointer& open) {
    if (m_source.fill && m_target.drain) return Outcome::Converted;
    if (!open) open.reset(new (std::nothrow) OpenConverters);
    if (!open) return Outcome::NoMemory;
    Outcome opened = Outcome::Converted;
    if (!m_source.fill) {
        opened = open->source.open(m_from.converter);
        if (opened == Outcome::Converted) m_reader.emplace(open->source.converter());
    }
    if (!m_target.drain && opened == Outcome::Converted) {
        opened = open->target.open(m_to.converter);
        if (opened == Outcome::Converted) m_writer.emplace(open->target.converter());
    }
    return opened;
}

bool Conversion::fill(Piece& piece) {
    if (m_reader) return m_reader->fill(m_in, piece, m_faults);
    m_source.fill(m_in, piece, m_faults);
    return true;
}

bool Conversion::convertPieces(DataBuffer& out) {
    for (bool last = false; !last;) {
        Piece piece;
        if (!fill(piece)) return false;
        if (!(m_writer ? m_writer->drain(piece, m_faults, out)
                       : m_target.drain(piece, m_faults, out)))
            return false;
        last = piece.last;
    }
    return true;
}

Outcome Conversion::run(OpenPointer& open, DataBuffer& out, LogBase& log) {
    const Outcome opened = openTables(open);
    if (opened == Outcome::UnknownCharset)
        logLine({"No table to convert from ", m_from.name, " to ", m_to.name, "."}, log);
    if (opened != Outcome::Converted) return opened;
    if (!convertPieces(out)) return Outcome::NoMemory;
    if (!m_faults.any()) return Outcome::Converted;
    logLine({"Errors in converting from ", m_from.name, " to ", m_to.name,
             ", the first at byte offset ", Decimal(m_faults.first).view(), "."},
            log);
    return Outcome::WithFaults;
}

Outcome convert(int fromCodePage, int toCodePage, const unsigned char* data, unsigned int n,
                OpenPointer& open, DataBuffer& out, LogBase& log) {
    if (!data || n == 0) return Outcome::Converted;
    const auto from = findCharset(fromCodePage);
    if (!from) return unknownCodePage(fromCodePage, log);
    const auto to = findCharset(toCodePage);
    if (!to) return unknownCodePage(toCodePage, log);
    return Conversion(*from, *to, data, n).run(open, out, log);
}

}  // namespace

}  // namespace contentcoding

using namespace contentcoding;

EncodingConvert::EncodingConvert() = default;
EncodingConvert::~EncodingConvert() = default;

bool EncodingConvert::EncConvert(int fromCodePage, int toCodePage, const unsigned char* data,
                                 unsigned int n, DataBuffer& out, LogBase& log) {
    return convert(fromCodePage, toCodePage, data, n, m_open, out, log) == Outcome::Converted;
}

bool EncodingConvert::ChConvert2(StringBuffer& charset, int toCodePage, const unsigned char* data,
                                 unsigned int n, DataBuffer& out, LogBase& log) {
    if (!data || n == 0) return true;
    const auto from = findCharset(charset.view());
    if (!from) {
        constexpr std::size_t longestLogged = 60;
        logLine({"Unknown charset: ", charset.view().substr(0, longestLogged), "."}, log);
        return false;
    }
    const auto to = findCharset(toCodePage);
    if (!to) return unknownCodePage(toCodePage, log) == Outcome::Converted;
    return Conversion(*from, *to, data, n).run(m_open, out, log) == Outcome::Converted;
}

bool StringBuffer::convertEncoding(int fromCodePage, int toCodePage, LogBase& log) {
    OpenPointer open;
    DataBuffer converted;
    const auto* const data = reinterpret_cast<const unsigned char*>(getString());
    const Outcome outcome =
        convert(fromCodePage, toCodePage, data, getSize(), open, converted, log);
    if (outcome == Outcome::UnknownCharset || outcome == Outcome::NoMemory) return false;
    StringBuffer replacement;
    if (!replacement.append(converted)) return false;
    *this = std::move(replacement);
    return outcome == Outcome::Converted;
}

bool _zqCharset::setByName(const char* name) {
    const auto charset = name ? findCharset(std::string_view(name)) : std::nullopt;
    m_codePage = charset ? charset->codePage : 0;
    return charset.has_value();
}

bool CharsetNaming::CharsetValid(StringBuffer& name) {
    return findCharset(name.view()).has_value();
}

bool _zqUrlEncode::urlDecodeSb(StringBuffer& text) {
    const std::string_view encoded = text.view();
    StringBuffer decoded;
    if (!decoded.expectNumBytes(text.getSize())) return false;
    for (std::size_t i = 0; i < encoded.size(); ++i) {
        const auto digit = [&](std::size_t at) {
            return i + at < encoded.size() ? hexDigitValue(encoded[i + at]) : kNoHexDigit;
        };
        const bool escape = encoded[i] == '%' && digit(1) != kNoHexDigit && digit(2) != kNoHexDigit;
        decoded.appendChar(escape ? static_cast<char>(digit(1) << 4 | digit(2)) : encoded[i]);
        if (escape) i += 2;
    }
    text = std::move(decoded);
    return true;
}
