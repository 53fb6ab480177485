#include "support/charset/SingleByte.h"

#include <atomic>

#include "support/charset/Utf8.h"

namespace contentcoding {
namespace {

// The library and the table of charsets have fewer than 200 such charsets together.
constinit std::array<SingleByteTable, 256> tables{};
constinit std::atomic<std::size_t> tableCount{0};

// The character of one byte; kNone if it has none.
bool readByte(UConverter& converter, unsigned char b, char16_t& character) {
    std::array<UChar, 4> units;
    const char byte = static_cast<char>(b);
    const char* source = &byte;
    UChar* target = units.data();
    UErrorCode error = U_ZERO_ERROR;
    ucnv_resetToUnicode(&converter);
    ucnv_toUnicode(&converter, &target, target + units.size(), &source, source + 1, nullptr, 1,
                   &error);
    if (error == U_MEMORY_ALLOCATION_ERROR) return false;
    character = U_FAILURE(error) ? SingleByteTable::kNone : units[0];
    return U_FAILURE(error) ||
           (target - units.data() == 1 && !isHighSurrogate(units[0]) && !isLowSurrogate(units[0]));
}

void checkAscii(SingleByteTable& table) {
    table.hasAscii = true;
    for (char16_t c = 0; c < 0x80; ++c)
        table.hasAscii = table.hasAscii && table.characters[c] == c;
}

template <Decoded (*decode)(const unsigned char*, unsigned int)>
constexpr SingleByteTable kTableOf = [] {
    SingleByteTable table{};
    for (unsigned int b = 0; b < table.characters.size(); ++b) {
        const auto byte = static_cast<unsigned char>(b);
        const char32_t c = decode(&byte, 1).character;
        table.characters[b] = c == kIllFormed ? SingleByteTable::kNone : static_cast<char16_t>(c);
    }
    table.hasAscii = true;
    return table;
}();

}  // namespace

const SingleByteTable* singleByteTableOf(CharsetForm form) {
    switch (form) {
        case CharsetForm::kAscii:
            return &kTableOf<decodeByte<0x7F>>;
        case CharsetForm::kLatin1:
            return &kTableOf<decodeByte<0xFF>>;
        case CharsetForm::kLatin10:
            return &kTableOf<decodeLatin10>;
        default:
            return nullptr;
    }
}

const SingleByteTable* makeSingleByteTable(UConverter& converter) {
    if (ucnv_getMaxCharSize(&converter) != 1) return nullptr;
    UErrorCode error = U_ZERO_ERROR;
    ucnv_setToUCallBack(&converter, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);
    SingleByteTable table;
    for (unsigned int b = 0; b < table.characters.size(); ++b) {
        if (!readByte(converter, static_cast<unsigned char>(b), table.characters[b]))
            return nullptr;
    }
    checkAscii(table);
    const std::size_t slot = tableCount.fetch_add(1, std::memory_order_relaxed);
    if (slot >= tables.size()) return nullptr;
    tables[slot] = table;
    return &tables[slot];
}

void fillFromTable(const SingleByteTable& table, Input& in, Piece& piece, Faults& faults) {
    for (; piece.size < Piece::kCapacity && in.left() > 0; ++in.position) {
        const char16_t c = table.characters[in.bytes[in.position]];
        piece.add(c == SingleByteTable::kNone ? kIllFormed : c, in.position, faults);
    }
    piece.last = in.left() == 0;
}

bool writeAsUtf8(const SingleByteTable& table, Input& in, Faults& faults, Appender out) {
    std::array<unsigned char, 3 * Piece::kCapacity> block;
    while (in.left() > 0 && !faults.stops()) {
        const std::size_t end = in.position + std::min<std::size_t>(in.left(), Piece::kCapacity);
        std::size_t n = 0;
        while (in.position < end) {
            if (table.hasAscii && end - in.position >= sizeof(std::uint64_t)) {
                std::uint64_t eight;
                std::memcpy(&eight, in.bytes + in.position, sizeof eight);
                if ((eight & kHighBits) == 0) {
                    std::memcpy(&block[n], &eight, sizeof eight);
                    n += sizeof eight;
                    in.position += sizeof eight;
                    continue;
                }
            }
            const std::size_t at = in.position++;
            const char16_t c = table.characters[in.bytes[at]];
            if (c < 0x80) {
                block[n++] = static_cast<unsigned char>(c);
            } else if (c != SingleByteTable::kNone) {
                n += encodeUtf8(c, &block[n]);
            } else {
                faults.add(Faults::Side::kSource, at);
                if (!faults.drops()) n += encodeUtf8(kReplacement, &block[n]);
            }
        }
        if (!out.append(block.data(), n)) return false;
    }
    return true;
}

}  // namespace contentcoding
