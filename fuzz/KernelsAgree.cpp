// Every kernel that the processor can run gives the same result as the portable one, wherever its
// input lies, and stays within its room. What the contract leaves open is not compared.
#include <algorithm>
#include <string>

#include "codec/Base64.h"
#include "codec/Bytes.h"
#include "codec/kernels/Kernels.h"
#include "fuzz/Input.h"

namespace {

using contentcoding::Base64Format;
using contentcoding::Base64Values;
using contentcoding::ByteClass;
using contentcoding::EscapeRules;
using contentcoding::Kernels;
using contentcoding::Transfer;
using contentcoding::UnescapeRules;

// Bytes at a chosen offset in memory that ends where they do.
class Placed {
public:
    Placed(std::string_view text, std::size_t offset)
        : m_memory(std::string(offset, '\0').append(text), HeapCopy::kExact), m_offset(offset) {}

    const char* chars() const { return m_memory.chars() + m_offset; }
    const unsigned char* bytes() const { return m_memory.bytes() + m_offset; }
    std::size_t size() const { return m_memory.size() - m_offset; }
    std::string_view view() const { return {chars(), size()}; }

private:
    HeapCopy m_memory;
    std::size_t m_offset;
};

// Room for exactly `size` bytes.
class Room {
public:
    explicit Room(std::size_t n) : m_bytes(new char[n]) {}

    char* chars() { return m_bytes.get(); }
    unsigned char* bytes() { return reinterpret_cast<unsigned char*>(chars()); }
    std::string_view view(std::size_t n) const { return {m_bytes.get(), n}; }

private:
    std::unique_ptr<char[]> m_bytes;
};

bool hasBit(std::string_view bits, unsigned int b) {
    return b / 8 < bits.size() && (static_cast<unsigned char>(bits[b / 8]) >> b % 8 & 1) != 0;
}

// A class drawn byte by byte; printable ASCII if nothing is drawn.
ByteClass drawClass(Input& input) {
    if (!input.flag())
        return contentcoding::byteClass(
            [](unsigned char b) { return b >= 32 && b < 127 && b != '='; });
    const std::string_view bits = input.text(32);
    return contentcoding::byteClass([bits](unsigned char b) { return hasBit(bits, b); });
}

void encodesBase64(const Kernels& kernels, const Kernels& portable, Input& input, Placed& bytes) {
    std::string alphabet(input.flag() ? _base64_table : _modBase64_table, 64);
    const std::string_view drawn = input.flag() ? input.text(64) : "";
    std::copy(drawn.begin(), drawn.end(), alphabet.begin());
    const std::size_t groups = bytes.size() / 3;
    const Base64Format format = {alphabet.data(), input.byte() + 1, "&#xD;\r\n", input.byte() % 8};
    const std::size_t n = groups * 4 + groups / format.lineGroups * format.breakSize;
    Room expected(n), text(n);
    portable.encodeBase64(bytes.bytes(), groups, format, expected.chars());
    kernels.encodeBase64(bytes.bytes(), groups, format, text.chars());
    expect(text.view(n) == expected.view(n));
}

Base64Values drawValues(Input& input) {
    Base64Values values{{}, Base64Values::kOther};
    std::fill(std::begin(values.entry), std::end(values.entry), contentcoding::kBase64Skipped);
    const unsigned int choice = input.byte() % 3;
    if (choice == 2) {
        // Any value below 64 is a digit's.
        const std::string_view drawn = input.text(256);
        for (std::size_t c = 0; c < drawn.size(); ++c) {
            const auto value = static_cast<unsigned char>(drawn[c]);
            if (value < 64) values.entry[c] = value;
        }
        return values;
    }
    values.alphabet = choice == 0 ? Base64Values::kStandard : Base64Values::kUrlSafe;
    const char* const digits = choice == 0 ? _base64_table : _modBase64_table;
    for (unsigned char v = 0; v < 64; ++v)
        values.entry[static_cast<unsigned char>(digits[v])] = v;
    return values;
}

// How far past the last quantum a kernel goes on reading is its own affair.
void decodesBase64(const Kernels& kernels, const Kernels& portable, Input& input, Placed& text) {
    const Base64Values values = drawValues(input);
    const std::size_t room = text.size() / 4 * 3;
    Room expected(room), bytes(room);
    const auto digitsLeft = [&](const Transfer& done) {
        const std::string_view left = text.view().substr(done.read);
        return std::count_if(left.begin(), left.end(), [&](char c) {
            return values.entry[static_cast<unsigned char>(c)] < 64;
        });
    };
    const Transfer wanted =
        portable.decodeBase64(text.chars(), text.size(), values, expected.bytes());
    const Transfer done = kernels.decodeBase64(text.chars(), text.size(), values, bytes.bytes());
    expect(done.read <= text.size() && done.written == wanted.written);
    expect(digitsLeft(done) <= 3 && digitsLeft(done) == digitsLeft(wanted));
    expect(bytes.view(done.written) == expected.view(done.written));
}

void measuresRuns(const Kernels& kernels, const Kernels& portable, Input& input, Placed& bytes) {
    const ByteClass members = drawClass(input);
    expect(kernels.runLength(bytes.bytes(), bytes.size(), members) ==
           portable.runLength(bytes.bytes(), bytes.size(), members));
    const auto a = static_cast<unsigned char>(input.byte()),
               b = static_cast<unsigned char>(input.byte());
    expect(kernels.lengthUntil(bytes.bytes(), bytes.size(), a, b) ==
           portable.lengthUntil(bytes.bytes(), bytes.size(), a, b));
}

// What is kept is not replaced, and a coder that goes by lines neither keeps nor replaces their
// ends.
EscapeRules drawEscapes(Input& input) {
    const ByteClass drawn = drawClass(input);
    const unsigned int replaced = input.flag() ? input.byte() : 0x100;
    EscapeRules rules{};
    rules.crlfAware = input.flag();
    rules.kept = contentcoding::byteClass([&](unsigned char b) {
        return drawn[b] && b != replaced && !(rules.crlfAware && (b == '\r' || b == '\n'));
    });
    if (replaced < 0x100 && !rules.crlfAware) {
        rules.replaced = static_cast<unsigned char>(replaced);
        rules.replacement = '_';
    }
    return rules;
}

// A kernel may stop early where the room is short.
void escapes(const Kernels& kernels, const Kernels& portable, Input& input, Placed& bytes) {
    const EscapeRules rules = drawEscapes(input);
    const std::size_t most = input.number();
    const std::size_t room = std::min(most, bytes.size() * 3);
    Room expected(room + contentcoding::kOverwrite), text(room + contentcoding::kOverwrite);
    const Transfer wanted =
        portable.escape(bytes.bytes(), bytes.size(), rules, expected.chars(), room);
    const Transfer done = kernels.escape(bytes.bytes(), bytes.size(), rules, text.chars(), room);
    expect(done.read <= wanted.read && done.written <= wanted.written && wanted.written <= room);
    expect(done.read == wanted.read ||
           (room < bytes.size() * 3 && room - done.written < contentcoding::kEscapeRoom));
    expect(text.view(done.written) == expected.view(done.written));
}

// What is kept is not replaced, and a coder that goes by lines keeps all else.
UnescapeRules drawUnescapes(Input& input) {
    const ByteClass drawn = drawClass(input);
    const unsigned int settings = input.byte();
    UnescapeRules rules{};
    rules.crlfAware = (settings & 4) != 0;
    const bool replaces = (settings & 32) != 0 && !rules.crlfAware;
    rules.kept = contentcoding::byteClass(
        [&](unsigned char b) { return rules.crlfAware || (drawn[b] && !(replaces && b == '_')); });
    if (settings & 1) rules.signMask = 0x7F;
    if (settings & 2) rules.digitMask = 0x7F;
    rules.stopsAtEscapedFf = (settings & 8) != 0;
    rules.stopsAtZero = (settings & 16) != 0;
    if (replaces) {
        rules.replaced = '_';
        rules.replacement = static_cast<unsigned char>(input.byte());
    }
    return rules;
}

void unescapes(const Kernels& kernels, const Kernels& portable, Input& input, Placed& text) {
    const UnescapeRules rules = drawUnescapes(input);
    const std::size_t most = input.number();
    const std::size_t room = std::min(most, text.size());
    Room expected(room + contentcoding::kOverwrite), bytes(room + contentcoding::kOverwrite);
    const Transfer wanted =
        portable.unescape(text.chars(), text.size(), rules, expected.chars(), room);
    const Transfer done = kernels.unescape(text.chars(), text.size(), rules, bytes.chars(), room);
    expect(done.read == wanted.read && done.written == wanted.written && done.written <= room);
    expect(bytes.view(done.written) == expected.view(done.written));
}

void encodesBase32(const Kernels& kernels, const Kernels& portable, Input&, Placed& bytes) {
    const std::size_t groups = bytes.size() / 5, n = groups * 8;
    Room expected(n), text(n);
    portable.encodeBase32(bytes.bytes(), groups, expected.chars());
    kernels.encodeBase32(bytes.bytes(), groups, text.chars());
    expect(text.view(n) == expected.view(n));
}

void encodesRadix(const Kernels& kernels, const Kernels& portable, Input&, Placed& bytes) {
    const std::size_t fours = bytes.size() / 4, pairs = bytes.size() / 2;
    Room expected(pairs * 3), text(pairs * 3);
    const std::size_t wanted = portable.encodeAscii85(bytes.bytes(), fours, expected.chars());
    expect(kernels.encodeAscii85(bytes.bytes(), fours, text.chars()) == wanted);
    expect(text.view(wanted * 5) == expected.view(wanted * 5));
    portable.encodeEda(bytes.bytes(), pairs, expected.chars());
    kernels.encodeEda(bytes.bytes(), pairs, text.chars());
    expect(text.view(pairs * 3) == expected.view(pairs * 3));
}

// Groups of characters to groups of bytes, as far as the kernel can.
template <auto Decode, std::size_t Chars, std::size_t BytesOfGroup>
void decodesGroups(const Kernels& kernels, const Kernels& portable, Input&, Placed& text) {
    const std::size_t groups = text.size() / Chars;
    Room expected(groups * BytesOfGroup), bytes(groups * BytesOfGroup);
    const std::size_t wanted = (portable.*Decode)(text.chars(), groups, expected.bytes());
    expect((kernels.*Decode)(text.chars(), groups, bytes.bytes()) == wanted);
    expect(bytes.view(wanted * BytesOfGroup) == expected.view(wanted * BytesOfGroup));
}

constexpr decltype(&encodesBase64) kComparisons[] = {
    encodesBase64,
    decodesBase64,
    measuresRuns,
    escapes,
    unescapes,
    encodesBase32,
    decodesGroups<&Kernels::decodeBase32, 8, 5>,
    encodesRadix,
    decodesGroups<&Kernels::decodeAscii85, 5, 4>,
    decodesGroups<&Kernels::decodeEda, 3, 2>,
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const Kernels* const* portable = contentcoding::availableKernels();
    while (portable[1])
        ++portable;
    for (const Kernels* const* kernels = contentcoding::availableKernels(); kernels != portable;
         ++kernels) {
        Input input(data, size);
        const auto compare = kComparisons[input.byte() % std::size(kComparisons)];
        const std::size_t offset = input.byte() % 64;
        Input settings = input;
        // The bytes start where the settings are drawn from.
        Placed bytes(input.rest().view(), offset);
        compare(**kernels, **portable, settings, bytes);
    }
    return 0;
}
