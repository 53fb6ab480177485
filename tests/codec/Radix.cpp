#include <map>

#include "support/BufferAccess.h"
#include "tests/TestSupport.h"

namespace {

const std::string kBase32 = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";
const std::string kBase58 = "123456789ABCDEFGHJKLMNPQRSTUVWXYZabcdefghijkmnopqrstuvwxyz";
const std::string kEda = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ(),-./=";

// ---- The operations as functions of strings; a failure gives its message ----

std::string encode32(std::string_view bytes) {
    StringBuffer out;
    EXPECT_TRUE(ContentCoding::encodeBase32_noCrLf(
        reinterpret_cast<const unsigned char*>(ExactCopy(bytes).get()), size32(bytes), out));
    EXPECT_EQ(out.getSize(), ContentCoding::computeBase32Size(size32(bytes)));
    return str(out);
}

std::string decode32(const std::string& text) {
    DataBuffer out;
    LogNull log;
    EXPECT_TRUE(ContentCoding::decodeBase32(text.c_str(), out, log));
    return str(out);
}

std::string encode58(std::string_view bytes) {
    StringBuffer out;
    LogNull log;
    EXPECT_TRUE(ContentCoding::encodeBase58(ExactCopy(bytes).get(), size32(bytes), out, log));
    return str(out);
}

std::string decode58(const std::string& text) {
    DataBuffer out;
    LogText log;
    const bool ok = ContentCoding::decodeBase58(text.c_str(), out, log);
    EXPECT_EQ(ok, log.text().getSize() == 0);
    return str(out) + str(log.text());
}

std::string encode85(std::string_view bytes) {
    StringBuffer out;
    LogNull log;
    EXPECT_TRUE(ContentCoding::encodeAscii85(ExactCopy(bytes).get(), size32(bytes), out, log));
    return str(out);
}

std::string decode85(std::string_view text) {
    DataBuffer out;
    LogText log;
    const bool ok = ContentCoding::decodeAscii85(StringBuffer(text), out, log);
    EXPECT_EQ(ok, log.text().getSize() == 0);
    return str(out) + str(log.text());
}

std::string encodeEda(std::string_view bytes) {
    StringBuffer out;
    EXPECT_TRUE(ContentCoding::encodeEda(ExactCopy(bytes).get(), size32(bytes), out));
    return str(out);
}

std::string decodeEda(std::string_view text) {
    DataBuffer out;
    EXPECT_TRUE(ContentCoding::decodeEda(ExactCopy(text).get(), size32(text), out));
    return str(out);
}

// ---- References ----

std::string reference32(std::string text) {
    std::erase_if(text, [](char c) { return " \t\r\n"sv.find(c) != std::string::npos; });
    text.resize((text.size() + 7) / 8 * 8, '=');
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); i += 8) {
        const std::string group = text.substr(i, 8);
        std::string bits;
        for (const char c : group) {
            const auto value =
                c == '=' ? 0 : kBase32.find(static_cast<char>(std::toupper(c & 0x7F)));
            for (int bit = 4; bit >= 0; --bit)
                bits += static_cast<char>('0' + (std::min<std::size_t>(value, 31) >> bit & 1));
        }
        const std::size_t kept = group[7] != '='   ? 5
                                 : group[5] != '=' ? 4
                                 : group[4] != '=' ? 3
                                 : group[2] != '=' ? 2
                                                   : 1;
        for (std::size_t b = 0; b < kept; ++b)
            bytes += static_cast<char>(std::stoul(bits.substr(b * 8, 8), nullptr, 2));
    }
    return bytes;
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

// Every length around the blocks of every coder: 245 bytes and 632 characters (Base32), 204 bytes
// (Ascii85), 168 bytes (EDA).
TEST(Radix, EverythingComesBack) {
    const std::string all = x(1, noise(300)) + std::string(330, '\0') + noise(300);
    for (std::size_t n = 0; n <= all.size(); ++n) {
        const std::string bytes = all.substr(0, n);
        ASSERT_EQ(decode32(encode32(bytes)), bytes) << n;
        ASSERT_EQ(decode58(encode58(bytes)), bytes) << n;
        ASSERT_EQ(decode85(encode85(bytes)), bytes) << n;
        ASSERT_EQ(decodeEda(encodeEda(bytes)), bytes) << n;
        ASSERT_EQ(encodeEda(bytes).size(), n / 2 * 3 + n % 2 * 2);
    }
}

// RFC 4648, section 10, and what is forgiven.
TEST(Radix, Base32Vectors) {
    const std::map<std::string, std::string> vectors = {{"", ""},
                                                        {"f", "MY======"},
                                                        {"fo", "MZXQ===="},
                                                        {"foo", "MZXW6==="},
                                                        {"foob", "MZXW6YQ="},
                                                        {"fooba", "MZXW6YTB"},
                                                        {"foobar", "MZXW6YTBOI======"}};
    for (const auto& [bytes, text] : vectors) {
        EXPECT_EQ(encode32(bytes), text);
        EXPECT_EQ(decode32(text), bytes);
    }
    for (const auto& [text, bytes] :
         std::map<std::string, std::string>{{"mzxw6ytb\r\n oi", "foobar"},
                                            {"M", "\x60"},
                                            {"========", "\0"s},
                                            {"MY======MY======", "ff"},
                                            {"M\xD9======", "f"},
                                            {"01890189", "\xFF\xFF\xFF\xFF\xFF"},
                                            {" \t\r\n", ""}})
        EXPECT_EQ(decode32(text), bytes) << text;
    for (const auto& [n, size] : {std::pair{0u, 0u},
                                  {1u, 8u},
                                  {5u, 8u},
                                  {6u, 16u},
                                  {10u, 16u},
                                  {2684354555u, 4294967288u},
                                  {0xFFFFFFFFu, 0u}})
        EXPECT_EQ(ContentCoding::computeBase32Size(n), size);
    EXPECT_EQ(decode32(x(79, "MZXW6YTB") + " MZ"), x(79, "fooba") + "f");
    forEachString("M=a7!\n", 6, [](const std::string& text) {
        ASSERT_EQ(decode32(text), reference32(text)) << text;
        ASSERT_EQ(decode32("AB" + text), reference32("AB" + text)) << text;
    });
}

// draft-msporny-base58, and Bitcoin's own test data.
TEST(Radix, Base58Vectors) {
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
}

TEST(Radix, Ascii85Vectors) {
    EXPECT_EQ(encode85("Man is distinguished"), "9jqo^BlbD-BleB1DJ+*+F(f,q");
    EXPECT_EQ(encode85(x(9, "\0"s)), "zz!!");
    EXPECT_EQ(encode85(x(7, "\0"s)), "z!!!!");
    EXPECT_EQ(encode85("\xFF\xFF\xFF\xFF"), "s8W-!");
    const std::string foreign = "Invalid ascii85 input: char not in ascii85 alphabet.\n";
    const std::string over = "Invalid ascii85 input: integer overflow.";
    const std::string overAtEnd = "Invalid ascii85 input in final chunk: integer overflow.";
    const std::map<std::string, std::string> rows = {
        {"<~9jqo^BlbD-~>~junk\x80", "Man is d"},
        {" \t\r\n<~ 9jq\no^ ~>", "Man "},
        {"9jqo^BlbD", "Man is "},
        {"", ""},
        {" \n", ""},
        {"<~", ""},
        {"<~~>", ""},
        {"<~ \n~>", ""},
        {"~>x", ""},
        {"!", ""},
        {"zz", x(8, "\0"s)},
        {"!!!!!z", x(8, "\0"s)},
        {"!!!!z", "\0\0\0\x59"s},
        {" z!!!", x(6, "\0"s)},  // 89 as a digit
        {"!!!!! z", overAtEnd + "\n"},
        // 50529027 is 0x3030303, and its product with 85 is 2^32 - 1.
        {"s8W-!", "\xFF\xFF\xFF\xFF"},
        {"s8W-\"", over + ".\n"},
        {"s8W.!", over + "\n"},
        {"uuuuu", over + "\n"},
        {"s8W,u", "\xFF\xFF\xFF\xFE"},
        {"s8W,v", foreign},
        {"s8W-", overAtEnd + ".\n"},
        {"s8W,", "\xFF\xFF\xFF"},
        {"s8W", overAtEnd + "\n"},
        {"s8V", "\xFF\xFF"},
        {"u", overAtEnd + "\n"},
        {"s", overAtEnd + "\n"},
        {"r", ""},
        {"9jqo~", foreign},
        {"9jqo~x", foreign},
        {"9jqo^~~>", foreign},
        {"9jqo^\0"s, foreign},
        {"9jqo^y", foreign},
        {"<", ""},
    };
    for (const auto& [text, result] : rows) {
        EXPECT_EQ(decode85(text), result) << text;
    }
    // What was handed over before a fault stays: 64 groups make 256 bytes.
    EXPECT_EQ(decode85(x(63, "z") + "uuuuu"), over + "\n");
    EXPECT_EQ(decode85(x(64, "z") + "uuuuu"), x(256, "\0"s) + over + "\n");
    EXPECT_EQ(decode85(x(64, "z") + " \n"), x(256, "\0"s));
}

TEST(Radix, EdaVectors) {
    EXPECT_EQ(encodeEda("\xFF\xFF"), "ZJ3");
    EXPECT_EQ(encodeEda("\0"s), "00");
    EXPECT_EQ(encodeEda("\xFF"), "5.");
    const std::map<std::string, std::string> rows = {
        {"0", ""},   {"ZJ3x", "\xFF\xFF"},         {"ZJ35.", "\xFF\xFF\xFF"}, {"Z==", "\x04\x03"},
        {"==", "8"}, {"a\x80~", decodeEda("(((")}, {"*+:;<>", x(4, "\0"s)},   {"?@", "\0"s},
        {"(", ""}};
    for (const auto& [text, bytes] : rows)
        EXPECT_EQ(decodeEda(text), bytes) << text;
    for (std::size_t v = 0; v < 65536; v += 7) {
        const std::string bytes = {static_cast<char>(v >> 8), static_cast<char>(v)};
        ASSERT_EQ(encodeEda(bytes), (std::string{kEda[v / 1849], kEda[v / 43 % 43], kEda[v % 43]}));
    }
}

TEST(Radix, Base32ReservesLittleForWhiteSpace) {
    const std::string blanks = x(1 << 20, " \t\r\n");
    for (const std::size_t groups : {0u, 1u, 1000u}) {
        LogNull log;
        DataBuffer bytes;
        const std::string text = x(groups, "MZXW6YTB") + blanks;
        EXPECT_TRUE(ContentCoding::decodeBase32(text.c_str(), bytes, log));
        EXPECT_EQ(str(bytes), x(groups, "fooba"));
        EXPECT_LT(contentcoding::BufferAccess::capacity(bytes), 3000 + 100 * groups);
    }
}

TEST(Radix, NullAndEmpty) {
    StringBuffer text;
    DataBuffer bytes;
    LogNull log;
    EXPECT_TRUE(ContentCoding::encodeBase32_noCrLf(nullptr, 5, text));
    EXPECT_TRUE(ContentCoding::encodeBase58(nullptr, 5, text, log));
    EXPECT_TRUE(ContentCoding::encodeAscii85(nullptr, 5, text, log));
    EXPECT_TRUE(ContentCoding::encodeEda(nullptr, 5, text));
    EXPECT_TRUE(ContentCoding::decodeBase32(nullptr, bytes, log));
    EXPECT_TRUE(ContentCoding::decodeBase58(nullptr, bytes, log));
    EXPECT_TRUE(ContentCoding::decodeEda(nullptr, 5, bytes));
    EXPECT_EQ(text.getSize() + bytes.getSize(), 0u);
}
