#include "contentcoding/transfer.hpp"

#include <random>

#include "tests/mail/MailSupport.h"

namespace {

using namespace contentcoding;
using transfer::Encoding;

constexpr Encoding kAll[] = {Encoding::k7Bit, Encoding::k8Bit, Encoding::kQuotedPrintable,
                             Encoding::kBase64};

std::string random(std::mt19937& engine, std::size_t size, std::string_view characters) {
    std::string text(size, '\0');
    for (char& c : text)
        c = characters[engine() % characters.size()];
    return text;
}

}  // namespace

TEST(Transfer, SuggestsWhatArrives) {
    const std::string longest(998, 'a');
    const struct {
        std::string body;
        Encoding encoding, on8Bit;
    } rows[] = {
        {"", Encoding::k7Bit, Encoding::k7Bit},
        {"a\r\nb\nc \x1B\t", Encoding::k7Bit, Encoding::k7Bit},
        {longest + "\r\n" + longest, Encoding::k7Bit, Encoding::k7Bit},
        {longest + "b\r\n", Encoding::kQuotedPrintable, Encoding::kQuotedPrintable},
        {"a b caf\xC3\xA9\n", Encoding::kQuotedPrintable, Encoding::k8Bit},
        {"\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\n", Encoding::kBase64, Encoding::k8Bit},
        {"a lone\rCR", Encoding::kBase64, Encoding::kBase64},
        {"a last CR\r", Encoding::kBase64, Encoding::kBase64},
        {"two\r\r\n", Encoding::kBase64, Encoding::kBase64},
        {"a NUL \0 in it"s, Encoding::kBase64, Encoding::kBase64},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(transfer::suggest(row.body), row.encoding) << row.body;
        EXPECT_EQ(transfer::suggest(row.body, transfer::Path::k8Bit), row.on8Bit) << row.body;
    }
    std::mt19937 engine(1);
    for (int i = 0; i < 2000; ++i) {
        const std::string body =
            random(engine, engine() % (i % 100 == 0 ? 30000 : 300), "ab cdef. \t\n=\xC3\xA9\xFF");
        const Encoding encoding = transfer::suggest(body);
        const std::string sent = transfer::encode(body, encoding);
        for (const Encoding other : {Encoding::kQuotedPrintable, Encoding::kBase64}) {
            const bool may = encoding == Encoding::k7Bit || other == encoding;
            const std::size_t size = transfer::encode(body, other).size();
            EXPECT_TRUE(may || sent.size() <= size - (other < encoding ? 1 : 0)) << body;
        }
        const std::string text = transfer::encode(body, Encoding::k8Bit);
        EXPECT_EQ(transfer::decode(sent, transfer::name(encoding)).value_or("-"),
                  encoding == Encoding::kBase64 ? body : text);
    }
}

TEST(Transfer, KnowsNamesAsTheyOccur) {
    const std::pair<std::string_view, std::optional<Encoding>> rows[] = {
        {"", Encoding::k7Bit},
        {" 7BIT\r\n", Encoding::k7Bit},
        {"8-bit", Encoding::k8Bit},
        {"binary", Encoding::k8Bit},
        {"(really) Quoted-Printable (yes)", Encoding::kQuotedPrintable},
        {"\"base64\"; x=y", Encoding::kBase64},
        {"Base 64.", Encoding::kBase64},
        {"x-uuencode", {}},
        {"uuencode", {}},
        {"base32", {}},
        {"base64 base64", {}},
        {"base64\xC3\xA9", {}},
    };
    for (const auto& [name, encoding] : rows)
        EXPECT_EQ(transfer::encodingOf(name), encoding) << name;
    for (const Encoding encoding : kAll)
        EXPECT_EQ(transfer::encodingOf(transfer::name(encoding)), encoding);
    const Error refused = transfer::decode("abc", "uuencode").error();
    EXPECT_EQ(refused, (Error{Fault::kUnknownEncoding, 0}));
    EXPECT_NE(refused.message().find("base64"), std::string::npos);
    std::string out;
    transfer::Decoder unknown("uuencode");
    const auto sink = [&](std::string_view block) { out += block; };
    EXPECT_EQ(unknown.feed("abc", sink).error(), (Error{Fault::kUnknownEncoding, 0}));
    EXPECT_EQ(unknown.finish(sink).error(), (Error{Fault::kUnknownEncoding, 0}));
}

TEST(Transfer, WorksInPieces) {
    const std::string_view bodies[] = {"", "a\nb\r\nc\r\r\nd\r", "Caf\xC3\xA9 =3D \n\n.\nFrom "};
    for (const std::string_view body : bodies) {
        for (const Encoding encoding : kAll) {
            const std::string text = transfer::encode(body, encoding);
            const auto back = transfer::decode(text, transfer::name(encoding));
            transfer::Encoder encoder(encoding);
            transfer::Decoder decoder(transfer::name(encoding));
            for (std::size_t cut = 0; cut <= std::max(body.size(), text.size()); ++cut) {
                std::string sent, received;
                const auto send = [&](std::string_view block) { sent += block; };
                const auto receive = [&](std::string_view block) { received += block; };
                const std::size_t n = std::min(cut, body.size()), m = std::min(cut, text.size());
                EXPECT_TRUE(encoder.feed(body.substr(0, n), send) &&
                            encoder.feed(body.substr(n), send) && encoder.finish(send));
                EXPECT_TRUE(decoder.feed(std::string_view(text).substr(0, m), receive) &&
                            decoder.feed(std::string_view(text).substr(m), receive) &&
                            decoder.finish(receive));
                EXPECT_EQ(sent, text);
                EXPECT_EQ(received, *back);
            }
            const auto refuse = [](std::string_view) { return false; };
            EXPECT_EQ(encoder.feed(body, refuse) && encoder.finish(refuse), text.empty());
            EXPECT_EQ(decoder.feed(text, refuse) && decoder.finish(refuse), text.empty());
        }
    }
    EXPECT_EQ(transfer::encode("a\nb\r\nc", Encoding::k7Bit), "a\r\nb\r\nc");
    EXPECT_EQ(transfer::decode("SGk=\r\n--\r\n", "base64").value_or(""), "Hi");
    EXPECT_EQ(transfer::decode("QUJDR", "base64").error().fault, Fault::kCutGroup);
}

TEST(Transfer, FindsTheSameFaultsInPieces) {
    std::mt19937 engine(2);
    for (int i = 0; i < 500; ++i) {
        const std::string noise = random(engine, engine() % 12, "AB=3\r\n \t\xE9");
        const std::string_view name = transfer::name(kAll[i % 4]);
        const auto whole = transfer::decode(noise, name);
        for (std::size_t cut = 0; cut <= noise.size(); ++cut) {
            std::string received;
            const auto receive = [&](std::string_view block) { received += block; };
            transfer::Decoder decoder(name);
            auto done = decoder.feed(std::string_view(noise).substr(0, cut), receive);
            if (done) done = decoder.feed(std::string_view(noise).substr(cut), receive);
            if (done) done = decoder.finish(receive);
            ASSERT_EQ(done.has_value(), whole.has_value()) << noise;
            if (done)
                EXPECT_EQ(received, *whole) << noise;
            else
                EXPECT_EQ(done.error(), whole.error()) << noise;
        }
    }
}
