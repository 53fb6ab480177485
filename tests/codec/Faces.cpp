// What all formats with streams have in common, on every short input.

#include "contentcoding/detail/formats.hpp"
#include "tests/codec/FormatSupport.h"

namespace {

namespace ascii85 = contentcoding::ascii85;
namespace base16 = contentcoding::base16;
namespace base32 = contentcoding::base32;
namespace base64 = contentcoding::base64;
namespace dkim = contentcoding::dkim;
namespace eda = contentcoding::eda;
namespace quoted_printable = contentcoding::quoted_printable;

using contentcoding::Bytes;

// A format: its coders, what they are set to, and the characters that matter, which follow each of
// the starts. Functions are found in the namespace of their last argument.

// Most formats have one text for each input, and no byte from 0x80 up.
struct Strict {
    static constexpr bool kOneText = true;
    static constexpr std::string_view kFault = "\x80";
};

struct Base16 : Strict {
    using Encoder = base16::Encoder;
    using Decoder = base16::Decoder;
    static constexpr base16::Format kFormats[] = {
        base16::kUpper, base16::kLower, {.columns = 4, .lineEnd = "\n"}};
    static constexpr base16::Accept kAccepts[] = {base16::kStrict, base16::kStrictLower,
                                                  base16::kFromMime, base16::kAnything};
    static constexpr std::string_view kCharacters = "3Ba \ng";
    static constexpr std::string_view kStarts[] = {""};
};

struct Base32 : Strict {
    using Encoder = base32::Encoder;
    using Decoder = base32::Decoder;
    static constexpr base32::Format kFormats[] = {
        base32::kPlain, base32::kHex, {.padded = false}, {.columns = 9, .lineEnd = "\n"}};
    static constexpr base32::Accept kAccepts[] = {
        base32::kStrict,
        base32::kStrictHex,
        base32::kFromMime,
        base32::kAnything,
        {.padding = base32::Padding::kOptional, .leftoverBits = true, .concatenated = true}};
    static constexpr std::string_view kCharacters = "MQ=a\n1";
    static constexpr std::string_view kStarts[] = {"", "MAM", "MA==", "MFRGGZDFMY",
                                                   "MFRGGZDFMY==="};
};

struct Ascii85 : Strict {
    using Encoder = ascii85::Encoder;
    using Decoder = ascii85::Decoder;
    static constexpr ascii85::Format kFormats[] = {
        ascii85::kPlain, ascii85::kFramed, {.framed = true, .columns = 4, .lineEnd = "\n"}};
    static constexpr ascii85::Accept kAccepts[] = {
        ascii85::kStrict,
        ascii85::kFromMime,
        ascii85::kAnything,
        {.whiteSpace = true, .framed = ascii85::Frame::kRequired}};
    static constexpr std::string_view kCharacters = "!<~>z\nu";
    static constexpr std::string_view kStarts[] = {"", "9jqo", "<~9jq", "s8W"};
};

struct Eda : Strict {
    using Encoder = eda::Encoder;
    using Decoder = eda::Decoder;
    static constexpr eda::Format kFormats[] = {eda::kPlain};
    static constexpr eda::Accept kAccepts[] = {eda::kStrict, eda::kAnything};
    static constexpr std::string_view kCharacters = "05ZJ=z";
    static constexpr std::string_view kStarts[] = {"", "ZJ"};
};

struct Base64 : Strict {
    using Encoder = base64::Encoder;
    using Decoder = base64::Decoder;
    static constexpr base64::Format kFormats[] = {
        base64::kPlain, base64::kMime, base64::kUrlSafe, {.columns = 9, .lineEnd = "\n"}};
    static constexpr base64::Accept kAccepts[] = {
        base64::kStrict,
        base64::kStrictUrlSafe,
        base64::kForgiving,
        base64::kFromMime,
        base64::kAnything,
        {.alphabet = base64::Alphabet::kEither, .cutGroup = true, .concatenated = true}};
    static constexpr std::string_view kCharacters = "QR=-\n\0"sv;
    static constexpr std::string_view kStarts[] = {"", "QUI", "QQ==", "Q Q =", "QUJDRA"};
};

struct QuotedPrintable {
    using Encoder = quoted_printable::Encoder;
    using Decoder = quoted_printable::Decoder;
    static constexpr quoted_printable::Format kFormats[] = {
        quoted_printable::kBinary,
        quoted_printable::kPlain,
        {.newlines = quoted_printable::Newlines::kCrLf, .columns = 10, .lineEnd = "\n"},
        {.columns = 0, .protectLineStarts = false}};
    static constexpr quoted_printable::Accept kAccepts[] = {
        quoted_printable::kStrict,
        quoted_printable::kFromMime,
        {.lineEnd = "\n", .trailingSpace = true},
        {.badEscapes = true, .lineEnds = true},
        {.lowerCase = true, .longLines = true}};
    static constexpr bool kOneText = false;
    static constexpr std::string_view kFault = "=";
    static constexpr std::string_view kCharacters = "=\r\n 4f";
    static constexpr std::string_view kStarts[] = {
        "",
        "=4",
        "= \t",
        "a \r",
        "...........................................................................",  // 75
    };
};

struct Dkim {
    using Encoder = dkim::Encoder;
    using Decoder = dkim::Decoder;
    static constexpr dkim::Format kFormats[] = {dkim::kPlain, {.columns = 10}};
    static constexpr dkim::Accept kAccepts[] = {
        dkim::kStrict, dkim::kFromMime, dkim::kAnything, {.badEscapes = true}, {.foreign = true}};
    static constexpr bool kOneText = false;
    static constexpr std::string_view kFault = "\x80";
    static constexpr std::string_view kCharacters = "=4f; \xE9";
    static constexpr std::string_view kStarts[] = {"", "=", "=4"};
};

template <class Face>
void forEachText(auto visit) {
    for (const std::string_view start : Face::kStarts)
        forEachString(Face::kCharacters, 4,
                      [&](const std::string& text) { visit(std::string(start) + text); });
}

void forEachBytes(auto visit) { forEachString("\0\xFF@"sv, 6, visit); }

// Calls `visit` with the text in two pieces, cut at every place, and in pieces of a byte.
void forEachCut(std::string_view text, auto visit) {
    for (std::size_t i = 0; i <= text.size(); ++i)
        visit(std::vector{text.substr(0, i), text.substr(i)});
    std::vector<std::string_view> bytes;
    for (std::size_t i = 0; i < text.size(); ++i)
        bytes.push_back(text.substr(i, 1));
    visit(bytes);
}

auto collectIn(std::string& all) {
    return [&all](std::string_view block) { all += block; };
}

std::string encodePieces(auto& encoder, const std::vector<std::string_view>& pieces) {
    std::string text;
    bool ok = true;
    for (const std::string_view piece : pieces)
        ok = encoder.feed(piece, collectIn(text)) && ok;
    EXPECT_TRUE(encoder.finish(collectIn(text)) && ok);
    return text;
}

Result<std::string> decodePieces(auto& decoder, const std::vector<std::string_view>& pieces) {
    std::string bytes;
    for (const std::string_view piece : pieces)
        if (const auto fed = decoder.feed(piece, collectIn(bytes)); !fed) return fed.error();
    if (const auto done = decoder.finish(collectIn(bytes)); !done) return done.error();
    return bytes;
}

std::size_t mostOf(std::size_t n, const auto& format) {
    if constexpr (requires { encodedSize(n, format); })
        return encodedSize(n, format);
    else
        return maxEncodedSize(n, format);
}

bool sizeIsExact(const auto& format) {
    return requires { encodedSize(std::size_t{}, format); };
}

template <class Face>
class Faces : public testing::Test {};

using AllFaces = testing::Types<Ascii85, Base16, Base32, Base64, Dkim, Eda, QuotedPrintable>;

struct Names {
    template <class Face>
    static std::string GetName(int i) {
#define CONTENTCODING_NAME(name) #name,
        constexpr const char* kNames[] = {CONTENTCODING_STREAMED_FORMATS(CONTENTCODING_NAME)};
        return kNames[i];
    }
};

}  // namespace

TYPED_TEST_SUITE(Faces, AllFaces, Names);

// One coder for all: it is as new after each text.
TYPED_TEST(Faces, EncodersTakePiecesCutAnywhere) {
    for (const auto& format : TypeParam::kFormats) {
        typename TypeParam::Encoder encoder(format);
        const auto check = [&](const std::string& bytes) {
            const std::string whole = encode(bytes, format);
            forEachCut(bytes, [&](const auto& pieces) {
                ASSERT_EQ(encodePieces(encoder, pieces), whole) << testing::PrintToString(bytes);
            });
        };
        forEachBytes(check);
        check(noise(47));
        const std::string large = noise(70000);
        for (const std::size_t cut : {1u, 16383u, 40001u})
            ASSERT_EQ(encodePieces(encoder, {std::string_view(large).substr(0, cut),
                                             std::string_view(large).substr(cut)}),
                      encode(large, format));
    }
}

TYPED_TEST(Faces, DecodersTakePiecesCutAnywhere) {
    for (const auto& accept : TypeParam::kAccepts) {
        typename TypeParam::Decoder decoder(accept);
        const auto check = [&](const std::string& text) {
            const std::string whole = shown(decode(Bytes(text), accept));
            forEachCut(text, [&](const auto& pieces) {
                const Result<std::string> inPieces = decodePieces(decoder, pieces);
                ASSERT_EQ(shown(inPieces), whole) << testing::PrintToString(text);
                if (!inPieces) decoder = typename TypeParam::Decoder(accept);
            });
        };
        forEachText<TypeParam>(check);
        for (const auto& format : TypeParam::kFormats)
            check(encode(noise(47), format));
    }
    typename TypeParam::Decoder decoder;
    const std::string large = noise(70000), text = encode(large, TypeParam::kFormats[0]);
    for (const std::size_t cut : {1u, 16383u, 40001u})
        ASSERT_EQ(*decodePieces(decoder, {std::string_view(text).substr(0, cut),
                                          std::string_view(text).substr(cut)}),
                  large);
}

// What the encoder writes is strictly accepted, and in most formats nothing else.
TYPED_TEST(Faces, StrictTextIsThatOfTheEncoder) {
    const auto& format = TypeParam::kFormats[0];
    const auto& strict = TypeParam::kAccepts[0];
    forEachBytes([&](const std::string& bytes) {
        ASSERT_EQ(shown(decode(Bytes(encode(bytes, format)), strict)), shown(bytes));
    });
    std::size_t accepted = 0;
    forEachText<TypeParam>([&](const std::string& text) {
        const Result<std::string> bytes = decode(Bytes(text), strict);
        if (bytes) {
            if (TypeParam::kOneText) {
                ASSERT_EQ(encode(*bytes, format), text);
            }
            ++accepted;
        }
    });
    EXPECT_GT(accepted, 1u);
}

TYPED_TEST(Faces, RoomOfTheExactSizeIsEnough) {
    const auto expectFits = [](const std::string& expected, auto into) {
        std::vector<char> room(expected.size());
        ASSERT_EQ(into(room).value_or(~std::size_t{0}), expected.size());
        ASSERT_EQ(std::string(room.begin(), room.end()), expected);
        if (room.empty()) return;
        std::vector<char> less(expected.size() - 1);
        ASSERT_EQ(into(less).error().fault, Fault::kNoRoom);
    };
    const auto check = [&](const std::string& bytes) {
        for (const auto& format : TypeParam::kFormats) {
            const std::string text = encode(bytes, format);
            const std::size_t most = mostOf(bytes.size(), format);
            ASSERT_TRUE(sizeIsExact(format) ? text.size() == most : text.size() <= most);
            expectFits(text, [&](auto& room) { return encodeInto(room, bytes, format); });
        }
        const std::string text = encode(bytes, TypeParam::kFormats[0]);
        const auto& strict = TypeParam::kAccepts[0];
        expectFits(bytes, [&](auto& room) { return decodeInto(room, text, strict); });
    };
    forEachBytes(check);
    for (const std::size_t n : {47u, 1300u, 1301u, 1302u, 1303u})
        check(noise(n));
}

TYPED_TEST(Faces, ContainersKeepWhatTheyHad) {
    const auto& format = TypeParam::kFormats[0];
    const auto& strict = TypeParam::kAccepts[0];
    std::string held = "held";
    append(held, "abc"sv, format);
    EXPECT_EQ(held, "held" + encode("abc"sv, format));
    held = "held";
    EXPECT_FALSE(decodeAppend(
        held, Bytes(encode(noise(50), format) + std::string(TypeParam::kFault)), strict));
    EXPECT_EQ(held, "held");
    EXPECT_TRUE(decodeAppend(held, Bytes(encode("abc"sv, format)), strict));
    EXPECT_EQ(held, "heldabc");
    std::vector<std::byte> bytes(1, std::byte{'x'});
    append(bytes, "abc"sv, format);
    EXPECT_EQ(Bytes(bytes).text(), "x" + encode("abc"sv, format));
}

TYPED_TEST(Faces, ASinkMayEndTheWork) {
    const std::string bytes = noise(50000), text = encode(bytes, TypeParam::kFormats[0]);
    std::size_t blocks = 0;
    const auto refuse = [&](std::string_view) { return ++blocks == 0; };
    typename TypeParam::Encoder encoder(TypeParam::kFormats[0]);
    EXPECT_FALSE(encoder.feed(bytes, refuse));
    EXPECT_EQ(blocks, 1u);
    typename TypeParam::Decoder decoder(TypeParam::kAccepts[0]);
    EXPECT_EQ(decoder.feed(text, refuse).error().fault, Fault::kStopped);
    EXPECT_EQ(blocks, 2u);
}
