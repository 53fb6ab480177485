#include <map>

#include "contentcoding/base58.hpp"
#include "tests/codec/FormatSupport.h"

namespace {

namespace base58 = contentcoding::base58;

const std::string kBase58 = "123456789ABCDEFGHJKLMNPQRSTUVWXYZabcdefghijkmnopqrstuvwxyz";

std::string encode58(std::string_view bytes) {
    StringBuffer out;
    LogNull log;
    EXPECT_TRUE(ContentCoding::encodeBase58(ExactCopy(bytes).get(), size32(bytes), out, log));
    EXPECT_EQ(base58::encode(bytes), str(out));
    return str(out);
}

std::string decode58(const std::string& text) {
    DataBuffer out;
    LogText log;
    const bool ok = ContentCoding::decodeBase58(text.c_str(), out, log);
    EXPECT_EQ(ok, log.text().getSize() == 0);
    EXPECT_EQ(base58::decode(text, base58::kAnything).value_or(str(log.text())),
              ok ? str(out) : str(log.text()));
    return str(out) + str(log.text());
}

// Schoolbook conversion, a digit at a time; zeros in front are kept one for one.
std::string convert(const std::string& digits, unsigned int from, unsigned int to) {
    std::string result;
    for (const char c : digits) {
        unsigned int carry = static_cast<unsigned char>(c);
        for (char& d : result) {
            carry += from * static_cast<unsigned char>(d);
            d = static_cast<char>(carry % to);
            carry /= to;
        }
        for (; carry > 0; carry /= to)
            result += static_cast<char>(carry % to);
    }
    result.append(std::min(digits.find_first_not_of('\0'), digits.size()), '\0');
    return {result.rbegin(), result.rend()};
}

std::string reference58(const std::string& text) {
    std::string digits;
    for (const char c : text) {
        const auto value = kBase58.find(c);
        if (value == std::string::npos)
            return static_cast<signed char>(c) < 0 ? "base58 decode error 1\n"
                                                   : "base58 decode error 2\n";
        digits += static_cast<char>(value);
    }
    return convert(digits, 58, 256);
}

}  // namespace

TEST(Base58, EverythingComesBack) { expectEverythingComesBack(encode58, decode58); }

// draft-msporny-base58, and Bitcoin's own test data.
TEST(Base58, Vectors) {
    const std::map<std::string, std::string> vectors = {
        {"Hello World!", "2NEpo7TZRRrLZSi2U"},
        {"The quick brown fox jumps over the lazy dog.",
         "USm3fpXnKG5EUBx2ndxBDMPVciP5hGey2Jh4NDv6gmeo1LkMeiKrLJUUBk6Z"},
        {"\x00\x00\x28\x7F\xB4\xCD"s, "11233QC4"},
        {"\x61", "2g"},
        {"bbb", "a3gV"},
        {"ccc", "aPEr"},
        {"simply a long string", "2cFupjhnEsSn59qHXstmK2ffpLv2"},
        {"\x00\xEB\x15\x23\x1D\xFC\xEB\x60\x92\x58\x86\xB6\x7D\x06\x52\x99\x92\x59\x15\xAE\xB1\x72\xC0\x66\x47"s,
         "1NS17iag9jJgTHD1VXjvLCEnZuQ3rJDE9L"},
        {x(10, "\0"s), x(10, "1")},
        {"\0\0\1"s, "112"},
        {"\0"s, "1"},
        {"", ""}};
    for (const auto& [bytes, text] : vectors) {
        EXPECT_EQ(encode58(bytes), text);
        EXPECT_EQ(decode58(text), bytes);
    }
    for (const char bad : "0OIl \n_-+"sv)
        EXPECT_EQ(decode58("1z"s + bad + "\x80"), "base58 decode error 2\n");
    EXPECT_EQ(decode58("1z\x80 "), "base58 decode error 1\n");
    forEachString("12zl\xFF", 6,
                  [](const std::string& text) { ASSERT_EQ(decode58(text), reference58(text)); });
    forEachString("\0\x01\xFF"sv, 6, [](const std::string& bytes) {
        std::string text = convert(bytes, 256, 58);
        for (char& c : text)
            c = kBase58[static_cast<std::size_t>(c)];
        ASSERT_EQ(encode58(bytes), text);
    });
    // Limbs and words at their limits.
    for (const std::string& unit : {"\xFF"s, "\x01"s, "\x80\0\0\0"s}) {
        for (const std::size_t n : {7u, 8u, 9u, 255u, 256u, 1000u})
            ASSERT_EQ(decode58(encode58(x(n, unit))), x(n, unit));
    }
    for (const std::size_t n : {9u, 10u, 11u, 12u, 500u})
        ASSERT_EQ(decode58(x(n, "z")), reference58(x(n, "z")));
    StringBuffer out;
    DataBuffer nothing;
    LogNull log;
    EXPECT_TRUE(ContentCoding::encodeBase58(nullptr, 5, out, log));
    EXPECT_TRUE(ContentCoding::decodeBase58(nullptr, nothing, log));
    EXPECT_EQ(out.getSize() + nothing.getSize(), 0u);
}

TEST(Base58, TakesWhatIsAccepted) {
    using enum Fault;
    using base58::kAnything, base58::kFromMime;
    const std::string longest = x(65536, "1");
    expectDecodings<base58::Accept>({
        {"1 2g", {}, Error{kForeignCharacter, 1}},
        {"1 2g", kAnything, Error{kForeignCharacter, 1}},
        {" 1\n2 g\t", kFromMime, "\0a"s},
        {" ", kFromMime, ""s},
        {"1 1 2 0", kFromMime, Error{kForeignCharacter, 6}},
        {"zzzzzzzzzzzzzzl\x80", {}, Error{kForeignCharacter, 14}},
        {"112", {.maxSize = 2}, Error{kTooLong, 2}},
        {"112", {.maxSize = 3}, "\0\0\1"s},
        {longest, {}, x(65536, "\0"s)},
        {longest + "0", {}, Error{kTooLong, 65536}},
        {longest + "1", kAnything, x(65537, "\0"s)},
    });
}

// Numbers in memory of their own, and larger ones.
TEST(Base58, RoomOfTheExactSizeIsEnough) {
    for (const std::size_t n : {1u, 5u, 60u, 2000u}) {
        const std::string bytes = "\0"s + noise(n), text = base58::encode(bytes);
        EXPECT_LE(text.size(), base58::maxEncodedSize(bytes.size()));
        std::vector<char> room(text.size()), less(text.size() - 1);
        EXPECT_EQ(base58::encodeInto(room, bytes).value_or(0), text.size());
        EXPECT_EQ(std::string(room.begin(), room.end()), text);
        EXPECT_EQ(base58::encodeInto(less, bytes).error().fault, Fault::kNoRoom);
        room.resize(bytes.size());
        less.resize(bytes.size() - 1);
        EXPECT_EQ(base58::decodeInto(room, text).value_or(0), bytes.size());
        EXPECT_EQ(std::string(room.begin(), room.end()), bytes);
        EXPECT_EQ(base58::decodeInto(less, text).error().fault, Fault::kNoRoom);
    }
    std::string held = "held";
    EXPECT_TRUE(base58::decodeAppend(held, "2g"));
    EXPECT_FALSE(base58::decodeAppend(held, "2l"));
    base58::append(held, "a");
    EXPECT_EQ(held, "helda2g");
}
