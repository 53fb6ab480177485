#include "codec/HeaderWords.h"

#include "contentcoding/base64.hpp"
#include "support/CharsetForms.h"

namespace contentcoding::header_words {
namespace {

constexpr ByteClass kKept = byteClass(
    [](unsigned char b) { return b > 32 && b < 127 && b != '=' && b != '?' && b != '_'; });
constexpr ByteClass kKeptWithoutComma =
    byteClass([](unsigned char b) { return kKept[b] && b != ',' && b != ':'; });

constexpr EscapeRules kEscapes = {.kept = kKept, .replaced = ' ', .replacement = '_'};
constexpr EscapeRules kEscapesWithComma = {
    .kept = kKeptWithoutComma, .replaced = ' ', .replacement = '_'};

constexpr UnescapeRules kUnescapes = {
    .kept = byteClass([](unsigned char b) {
        return (b >= 32 && b < 127 && b != '=' && b != '?' && b != '_') || b >= 0xA0;
    }),
    .replaced = '_',
    .replacement = ' '};

}  // namespace

bool encodeQ(Bytes bytes, bool keepsComma, Window& out) {
    const EscapeRules& rules = keepsComma ? kEscapes : kEscapesWithComma;
    const unsigned char* p = bytes.data();
    for (std::size_t n = bytes.size(); n > 0;) {
        constexpr std::size_t kSpare = kOverwrite + kEscapeRoom;
        const std::size_t wanted = std::min(n, (Window::kMostAsked - kSpare) / 3) * 3;
        const std::span<char> room = out.room(wanted + kSpare);
        if (room.empty()) return false;
        const auto done = kernels().escape(p, n, rules, room.data(), room.size() - kOverwrite);
        out.wrote(done.written);
        p += done.read;
        n -= done.read;
    }
    return true;
}

bool decodeQ(std::string_view text, Window& out) {
    while (!text.empty()) {
        const std::size_t wanted = std::min(text.size(), Window::kMostAsked - kOverwrite);
        const std::span<char> room = out.room(wanted + kOverwrite);
        if (room.empty()) return false;
        const auto done = kernels().unescape(text.data(), text.size(), kUnescapes, room.data(),
                                             room.size() - kOverwrite);
        out.wrote(done.written);
        text.remove_prefix(done.read);
        if (done.read > 0) continue;
        if (!out.put('=')) return false;  // not an escape
        text.remove_prefix(1);
    }
    return true;
}

bool decode(const Word& word, Window& out) {
    if (!word.isB) return decodeQ(word.text, out);
    base64::Decoder decoder(base64::kAnything);
    return decoder.write(word.text, out) && decoder.end(out);
}

std::size_t pieceOfUtf8(std::string_view text, std::size_t most, Units units) {
    std::size_t at = 0, count = 0;
    while (at < text.size()) {
        const auto* const p = reinterpret_cast<const unsigned char*>(text.data()) + at;
        const auto left = static_cast<unsigned int>(std::min<std::size_t>(text.size() - at, 4));
        const Decoded decoded = decodeUtf8(p, left);
        if (decoded.character == kIllFormed) return text.npos;
        count += units == Units::kUtf16 && decoded.character > 0xFFFF ? 2 : 1;
        if (count > most) break;
        at += decoded.length;
    }
    return at;
}

}  // namespace contentcoding::header_words
