#include "support/charset/Coder.h"

#include <algorithm>
#include <string_view>

namespace contentcoding {
namespace {

constexpr unsigned int atMost(std::size_t n, unsigned int most) {
    return static_cast<unsigned int>(std::min<std::size_t>(n, most));
}

template <Decoded (*decode)(const unsigned char*, unsigned int)>
void fill(Input& in, Piece& piece, Faults& faults) {
    while (piece.size < Piece::kCapacity && in.left() > 0) {
        const Decoded decoded = decode(in.bytes + in.position, atMost(in.left(), kMaxEncoded));
        piece.add(decoded.character, in.position, faults);
        in.position += decoded.length;
    }
    piece.last = in.left() == 0;
}

template <unsigned int (*encode)(char32_t, unsigned char*)>
[[nodiscard]] bool drain(const Piece& piece, Faults& faults, Appender out) {
    std::array<unsigned char, Piece::kCapacity * kMaxEncoded> block;
    unsigned int n = 0;
    for (unsigned int i = 0; i < piece.size; ++i) {
        const unsigned int length = encode(piece.characters[i], &block[n]);
        if (length == 0) {
            faults.add(Faults::Side::kTarget, piece.offsets[i]);
            if (faults.drops()) continue;
            block[n] = kSubstitute;
        }
        n += std::max(length, 1u);
    }
    return out.append(block.data(), n);
}

}  // namespace

Coder coderOf(CharsetForm form) {
    switch (form) {
        case CharsetForm::kAscii:
            return {fill<decodeByte<0x7F>>, drain<encodeByte<0x7F>>};
        case CharsetForm::kLatin1:
            return {fill<decodeByte<0xFF>>, drain<encodeByte<0xFF>>};
        case CharsetForm::kLatin10:
            return {fill<decodeLatin10>, drain<encodeLatin10>};
        case CharsetForm::kUtf8:
            return {fill<decodeUtf8>, drain<encodeUtf8>};
        case CharsetForm::kUtf16Le:
            return {fill<decodeUtf16<false>>, drain<encodeUtf16<false>>};
        case CharsetForm::kUtf32Le:
            return {fill<decodeUtf32<false>>, drain<encodeUtf32<false>>};
        case CharsetForm::kUtf16Marked:
        case CharsetForm::kUtf16Be:
            return {fill<decodeUtf16<true>>, drain<encodeUtf16<true>>};
        case CharsetForm::kUtf32Marked:
        case CharsetForm::kUtf32Be:
            return {fill<decodeUtf32<true>>, drain<encodeUtf32<true>>};
        case CharsetForm::kTable:
            break;
    }
    return {};
}

CharsetForm formByMark(CharsetForm form, Input& in) {
    using enum CharsetForm;
    const auto takeMark = [&in](std::string_view mark) {
        const bool there =
            in.size >= mark.size() &&
            std::equal(mark.begin(), mark.end(), in.bytes,
                       [](char m, unsigned char b) { return static_cast<unsigned char>(m) == b; });
        if (there) in.position = mark.size();
        return there;
    };
    using namespace std::string_view_literals;
    if (form == kUtf16Marked)
        return !takeMark("\xFE\xFF"sv) && takeMark("\xFF\xFE"sv) ? kUtf16Le : kUtf16Be;
    if (form == kUtf32Marked)
        return !takeMark("\0\0\xFE\xFF"sv) && takeMark("\xFF\xFE\0\0"sv) ? kUtf32Le : kUtf32Be;
    return form;
}

}  // namespace contentcoding
