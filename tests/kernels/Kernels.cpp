#include "codec/kernels/Kernels.h"

#include <cstdio>
#include <functional>
#include <optional>

#include "codec/Bytes.h"
#include "tests/TestSupport.h"

using contentcoding::Base64Format;
using contentcoding::Base64Values;
using contentcoding::EscapeRules;
using contentcoding::Kernels;
using contentcoding::kEscapeRoom;
using contentcoding::kOverwrite;
using contentcoding::Transfer;
using contentcoding::UnescapeRules;

namespace {

constexpr std::size_t kLongest = 300;
const std::string kStandard = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
const std::string kUrlSafe = kStandard.substr(0, 62) + "-_";
const std::string kReversed(kStandard.rbegin(), kStandard.rend());
const std::string kBase32 = kStandard.substr(0, 26) + "234567";

using Call = std::function<void(const unsigned char* in, unsigned char* out)>;

// Calls the function with a place for `in` and one for `room` bytes: against the guards at both
// ends, at every alignment, and less than a block before the end of a page.
void betweenGuards(std::string_view in, std::size_t room, const Call& call) {
    static const GuardedPage from, to;
    const auto at = [&](unsigned char* source, unsigned char* out) {
        std::memcpy(source, in.data(), in.size());
        call(source, out);
    };
    at(from.atEnd(in.size()), to.atEnd(room));
    for (std::size_t i = 0; i < 33; ++i)
        at(from.atStart() + (i % 2 == 0 ? i : 4096 - i), to.atStart() + 32 - i);
}

// The same, and in blocks of the heap of exactly their sizes, where a sanitizer or memcheck sees
// each byte that is read or written outside.
void everywhere(std::string_view in, std::size_t room, const Call& call) {
    betweenGuards(in, room, call);
    for (const std::size_t offset : {0u, 5u}) {
        const ExactCopy from(std::string(offset, '\0').append(in)), to(std::string(room, '\0'));
        call(from.bytes() + offset, to.bytes());
    }
}

const char* chars(const unsigned char* p) { return reinterpret_cast<const char*>(p); }
char* chars(unsigned char* p) { return reinterpret_cast<char*>(p); }

// The digits of whole groups, by the bit.
std::string digitsOf(const std::string& bytes, std::size_t bits, const std::string& alphabet) {
    std::string text;
    for (std::size_t at = 0; at < bytes.size() * 8; at += bits) {
        std::size_t value = 0;
        for (std::size_t i = at; i < at + bits; ++i)
            value = value << 1 | (static_cast<unsigned char>(bytes[i / 8]) >> (7 - i % 8) & 1);
        text += alphabet[value];
    }
    return text;
}

Base64Values valuesOf(const std::string& alphabet, Base64Values::Alphabet kind) {
    Base64Values values{{}, kind};
    std::fill(std::begin(values.entry), std::end(values.entry), contentcoding::kBase64Skipped);
    for (unsigned char v = 0; v < 64; ++v)
        values.entry[static_cast<unsigned char>(alphabet[v])] = v;
    return values;
}

// Decodes, and expects that of `bytes` nothing but what a last, incomplete quantum has is missing.
void expectDecodes(const Kernels& kernels, const std::string& text, const Base64Values& values,
                   const std::string& bytes) {
    everywhere(text, text.size() / 4 * 3, [&](const unsigned char* in, unsigned char* out) {
        const auto done = kernels.decodeBase64(chars(in), text.size(), values, out);
        ASSERT_EQ(std::string(chars(out), done.written), bytes);
        const auto digits =
            std::count_if(text.begin() + static_cast<std::ptrdiff_t>(done.read), text.end(),
                          [&](char c) { return values.entry[static_cast<unsigned char>(c)] < 64; });
        ASSERT_LE(digits, 3);
    });
}

std::vector<const Kernels*> all() {
    std::vector<const Kernels*> kernels;
    for (const auto* k = contentcoding::availableKernels(); *k; ++k)
        kernels.push_back(*k);
    return kernels;
}

// The whole suite runs with the kernels that the environment names, too.
class ForcedKernels : public testing::Environment {
    void SetUp() override {
        const char* const wanted = std::getenv("CONTENTCODING_KERNEL");
        if (wanted && !contentcoding::useKernels(wanted))
            FAIL() << "this processor has no kernels named " << wanted;
        EXPECT_STREQ(contentcoding::kernels().name, wanted ? wanted : all()[0]->name);
    }
};
[[maybe_unused]] const auto* const kForced = testing::AddGlobalTestEnvironment(new ForcedKernels);

}  // namespace

class KernelTest : public testing::TestWithParam<const Kernels*> {};

TEST_P(KernelTest, EncodesBase64) {
    for (std::size_t groups = 0; groups <= kLongest / 3; ++groups) {
        const std::string bytes = noise(groups * 3);
        for (const std::string& alphabet : {kStandard, kUrlSafe, kReversed}) {
            for (const std::size_t lineGroups : {groups + 1, std::size_t{19}, groups % 40 + 1}) {
                std::string text = digitsOf(bytes, 6, alphabet);
                for (std::size_t i = lineGroups * 4; i <= text.size(); i += lineGroups * 4 + 2)
                    text.insert(i, "\r\n");
                const Base64Format format = {alphabet.data(), lineGroups, "\r\n", 2};
                everywhere(bytes, text.size(), [&](const unsigned char* in, unsigned char* out) {
                    GetParam()->encodeBase64(in, groups, format, chars(out));
                    ASSERT_EQ(std::string(chars(out), text.size()), text);
                });
            }
        }
    }
}

TEST_P(KernelTest, DecodesBase64) {
    const Base64Values standard = valuesOf(kStandard, Base64Values::kStandard),
                       urlSafe = valuesOf(kUrlSafe, Base64Values::kUrlSafe),
                       other = valuesOf(kReversed, Base64Values::kOther);
    for (std::size_t n = 0; n <= kLongest; ++n) {
        const std::string bytes = noise(n / 4 * 3);
        const auto textIn = [&](const std::string& alphabet) {
            return digitsOf(bytes, 6, alphabet) + x(n % 4);
        };
        expectDecodes(*GetParam(), textIn(kStandard), standard, bytes);
        expectDecodes(*GetParam(), textIn(kUrlSafe), urlSafe, bytes);
        expectDecodes(*GetParam(), textIn(kReversed), other, bytes);
    }
}

// One to three of each of the other characters at each place, and lines.
TEST_P(KernelTest, SkipsWhatIsNoBase64Digit) {
    const Base64Values standard = valuesOf(kStandard, Base64Values::kStandard);
    const std::string bytes = noise(72), text = digitsOf(bytes, 6, kStandard);
    for (unsigned int c = 0; c < 256; ++c) {
        if (standard.entry[c] < 64) continue;
        for (std::size_t i = 0; i < text.size(); i += c % 7 + 1) {
            std::string broken = text;
            broken.insert(i, 1 + c % 3, static_cast<char>(c));
            broken.insert(broken.size() - i / 2, "\r\n");
            expectDecodes(*GetParam(), broken, standard, bytes);
        }
    }
    std::string lines = text;
    for (std::size_t i = 0; i < lines.size(); i += 22)
        lines.insert(i, "\r\n");
    expectDecodes(*GetParam(), lines, standard, bytes);
    expectDecodes(*GetParam(), x(300, "-"), standard, "");
    expectDecodes(*GetParam(), x(60, "=A=A-") + "-", standard, std::string(90, '\0'));
}

TEST_P(KernelTest, DecodesBase64InLines) {
    const Base64Values standard = valuesOf(kStandard, Base64Values::kStandard);
    // Whole, and with another character, or with other ends from somewhere on.
    const std::string page = noise(kLongest);
    for (std::size_t length = 4; length <= 100; length += 4) {
        for (const char* end : {"\n", "\r\n", " \r\n", "\r\n  ", "\r\n   "}) {
            std::string text = digitsOf(page, 6, kStandard);
            for (std::size_t i = length; i <= text.size(); i += length + std::strlen(end))
                text.insert(i, end);
            expectDecodes(*GetParam(), text, standard, page);
            for (const std::size_t i : {text.size() / 2, text.size() * 2 / 3}) {
                std::string broken = text;
                expectDecodes(*GetParam(), broken.insert(i, "*"), standard, page);
                std::replace(broken.begin() + static_cast<std::ptrdiff_t>(i), broken.end(), '\r',
                             '.');
                expectDecodes(*GetParam(), broken, standard, page);
            }
        }
    }
}

TEST_P(KernelTest, MeasuresRuns) {
    const contentcoding::ByteClass classes[] = {
        contentcoding::byteClass([](unsigned char b) { return b != 0 && b != '='; }),
        contentcoding::byteClass([](unsigned char b) { return b % 3 != 1; }),
        contentcoding::byteClass([](unsigned char b) { return b >= 0x80; }),
        contentcoding::byteClass([](unsigned char) { return true; }),
        contentcoding::byteClass([](unsigned char) { return false; }),
    };
    for (const auto& members : classes) {
        std::string inside, outside;
        for (unsigned int b = 0; b < 256; ++b)
            (members.contains[b] ? inside : outside) += static_cast<char>(b);
        for (std::size_t n = 0; n <= kLongest; ++n) {
            std::string run;
            for (std::size_t i = 0; i < n && !inside.empty(); ++i)
                run += inside[(i * 7 + n) % inside.size()];
            const auto expectRun = [&](const std::string& text, std::size_t length) {
                const auto call = [&](const unsigned char* in, unsigned char*) {
                    ASSERT_EQ(GetParam()->runLength(in, length, members), run.size());
                };
                text.size() < length ? betweenGuards(text, 0, call) : everywhere(text, 0, call);
            };
            expectRun(run, run.size());
            if (outside.empty()) continue;
            // No page need exist after one with a byte that ends the run.
            run.resize(std::min(run.size(), n / 2));
            for (const std::size_t length : {run.size() + 20, kLongest})
                expectRun(run + outside[n % outside.size()], length);
            expectRun(run + outside[n % outside.size()] + run, run.size() * 2 + 1);
        }
    }
    for (std::size_t n = 0; n <= kLongest; ++n) {
        const std::string run = x(n);
        everywhere(run, 0, [&](const unsigned char* in, unsigned char*) {
            ASSERT_EQ(GetParam()->lengthUntil(in, n, 0, '='), n);
            ASSERT_EQ(GetParam()->lengthUntil(in, n, 'A', '='), 0u);
        });
        for (const char end : {'\0', '='}) {
            betweenGuards(run + end, 0, [&](const unsigned char* in, unsigned char*) {
                ASSERT_EQ(GetParam()->lengthUntil(in, n + 20, 0, '='), n);
                ASSERT_EQ(GetParam()->lengthUntil(in, 2 * kLongest, 0, '='), n);
            });
            everywhere(run + end + run, 0, [&](const unsigned char* in, unsigned char*) {
                ASSERT_EQ(GetParam()->lengthUntil(in, 2 * n + 1, 0, '='), n);
            });
        }
    }
    // Each byte is told right.
    for (unsigned int b = 0; b < 256; ++b) {
        const auto byte = static_cast<unsigned char>(b);
        for (const auto& members : classes)
            EXPECT_EQ(GetParam()->runLength(&byte, 1, members), members.contains[b]) << b;
    }
}

namespace {

constexpr auto kKept = contentcoding::byteClass([](unsigned char b) {
    return (b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z') || (b >= '0' && b <= '9');
});

// What a coder takes at once, and what it writes for that; nothing is taken where it stops.
struct Unit {
    std::size_t read = 0;
    std::string written;
};

std::string escapeOf(unsigned char b) {
    char text[4];
    std::snprintf(text, sizeof text, "=%02X", b);
    return text;
}

Unit escapedUnit(std::string_view left, const EscapeRules& rules) {
    const auto b = static_cast<unsigned char>(left[0]);
    const bool beforeEnd = left.size() == 1 || left.substr(1, 2) == "\r\n";
    if (rules.crlfAware && left.starts_with("\r\n")) return {2, "\r\n"};
    if (b == rules.replaced) return {1, std::string(1, static_cast<char>(rules.replacement))};
    const bool kept = rules.kept[b] && !(rules.crlfAware && beforeEnd && (b == ' ' || b == '\t'));
    return {1, kept ? std::string(1, left[0]) : escapeOf(b)};
}

bool isWhite(char c) { return (" \t\r\n"s).find(static_cast<char>(c & 0x7F)) != std::string::npos; }

Unit unescapedUnit(std::string_view left, const UnescapeRules& rules) {
    const std::string_view next = left.substr(1);
    const auto c = static_cast<unsigned char>(left[0]);
    if ((c & rules.signMask) == '=') {
        if (rules.crlfAware && next.starts_with("\r\n")) return {3, ""};
        if (next.empty() || (rules.crlfAware && isWhite(next[0]))) return {};
        std::string digits(next.substr(0, 2));
        for (char& digit : digits)
            digit = static_cast<char>(digit & rules.digitMask);
        if (digits.find_first_not_of("0123456789ABCDEFabcdef") != std::string::npos ||
            digits.size() < 2)
            return {1, std::string(1, left[0])};
        const auto value = static_cast<char>(std::stoi(digits, nullptr, 16));
        const bool stops =
            (rules.stopsAtZero && value == 0) || (rules.stopsAtEscapedFf && value == '\xFF' &&
                                                  next.size() > 2 && (next[2] & 0x7F) == 'F');
        return stops ? Unit{} : Unit{3, std::string(1, value)};
    }
    if (rules.crlfAware && left.starts_with("\r\n")) return {2, "\r\n"};
    if (rules.crlfAware && isWhite(left[0]) && (c == '\n' || next.empty() || isWhite(next[0])))
        return {};
    if (c == rules.replaced) return {1, std::string(1, static_cast<char>(rules.replacement))};
    return {1, std::string(rules.kept[c] ? 1 : 0, left[0])};
}

// Units up to where the coder stops or `room` is full. A coder does not look at what follows then.
template <class UnitAt>
std::vector<Unit> unitsOf(std::string_view in, std::size_t room, UnitAt unitAt) {
    std::vector<Unit> units;
    while (!in.empty() && room > 0) {
        const Unit unit = unitAt(in);
        if (unit.read == 0 || unit.written.size() > room) break;
        units.push_back(unit);
        in.remove_prefix(unit.read);
        room -= unit.written.size();
    }
    return units;
}

// What the first units that take `read` have written; nullopt where that cuts one.
std::optional<std::string> writtenFor(const std::vector<Unit>& units, std::size_t read) {
    std::string written;
    for (const Unit& unit : units) {
        if (read < unit.read) break;
        read -= unit.read;
        written += unit.written;
    }
    return read == 0 ? std::optional(written) : std::nullopt;
}

std::size_t totalRead(const std::vector<Unit>& units) {
    std::size_t read = 0;
    for (const Unit& unit : units)
        read += unit.read;
    return read;
}

// Texts that have every unit at every place of a block.
std::vector<std::string> mixtures(const std::vector<std::string>& units) {
    std::vector<std::string> texts;
    for (std::size_t step = 1; step < 60; ++step) {
        std::string text(step % 37, 'x');
        for (std::size_t i = 0; text.size() < kLongest; i += step)
            text += x(i % (step % 5 + 1)) + units[(i + i / 7) % units.size()];
        texts.push_back(text);
    }
    return texts;
}

}  // namespace

TEST_P(KernelTest, WritesEscapes) {
    const EscapeRules formats[] = {
        {.kept = kKept},
        {.kept = kKept, .replaced = ' ', .replacement = '_'},
        {.kept = contentcoding::byteClass([](unsigned char b) { return kKept[b] || b == ' '; }),
         .crlfAware = true}};
    for (const EscapeRules& format : formats) {
        for (const std::string& text :
             mixtures({"\xFF", " ", "\r\n", "\r", "\n", " \r\n", "=", ""})) {
            for (std::size_t n = 0; n <= text.size(); n += n < 80 ? 1 : 7) {
                const std::string bytes = text.substr(0, n);
                const auto units = unitsOf(
                    bytes, n * 3, [&](std::string_view left) { return escapedUnit(left, format); });
                ASSERT_EQ(totalRead(units), n);
                const std::size_t all = writtenFor(units, n)->size();
                for (const std::size_t room : {n * 3, all, all / 2}) {
                    const auto call = [&](const unsigned char* in, unsigned char* out) {
                        const Transfer done = GetParam()->escape(in, n, format, chars(out), room);
                        ASSERT_EQ(std::string(chars(out), done.written),
                                  writtenFor(units, done.read));
                        ASSERT_LE(done.written, room);
                        ASSERT_TRUE(done.read == n ||
                                    (room < n * 3 && done.written + kEscapeRoom > room));
                    };
                    everywhere(bytes, room + kOverwrite, call);
                }
            }
        }
    }
}

TEST_P(KernelTest, ReadsEscapes) {
    const auto notEscaped =
        contentcoding::byteClass([](unsigned char b) { return (b & 0x7F) != '='; });
    const UnescapeRules formats[] = {
        {.kept = kKept, .replaced = '_', .replacement = ' '},
        {.kept = contentcoding::byteClass([](unsigned char b) { return b != '=' && b > ' '; }),
         .digitMask = 0x7F},
        {.kept = notEscaped, .signMask = 0x7F, .digitMask = 0x7F, .stopsAtEscapedFf = true},
        {.kept = notEscaped, .signMask = 0x7F, .digitMask = 0x7F, .crlfAware = true},
        {.kept = notEscaped,
         .signMask = 0x7F,
         .crlfAware = true,
         .stopsAtEscapedFf = true,
         .stopsAtZero = true}};
    const std::vector<std::string> common = {"=41", "=\r\n", "\r\n", " y",
                                             "=e9", "=00",   "=FF",  "_"};
    std::vector<std::string> texts = mixtures(common);
    for (const char* rare : {"=4", "=4g", "=\xC4\xB1",
                             "\xBD"
                             "41",
                             "=", "\n", "\r", "  ", " \r\n", "\x8D\n", "\xA0 ", "=FFF", "=FF\xC6",
                             "\r\r\n", "=\r", "=\n"}) {
        for (std::size_t i = 0; i < 70; ++i)
            texts.push_back(texts[i % 40].substr(0, i) + rare +
                            (i % 3 == 0 ? "" : x(i % 3) + texts[i % 50]));
    }
    for (const UnescapeRules& format : formats) {
        for (const std::string& text : texts) {
            for (const std::size_t room : {text.size(), text.size() / 2, std::size_t{33}}) {
                const auto units = unitsOf(
                    text, room, [&](std::string_view left) { return unescapedUnit(left, format); });
                const std::string wanted = *writtenFor(units, totalRead(units));
                everywhere(
                    text, room + kOverwrite, [&](const unsigned char* in, unsigned char* out) {
                        const Transfer done =
                            GetParam()->unescape(chars(in), text.size(), format, chars(out), room);
                        ASSERT_EQ(std::string(chars(out), done.written), wanted);
                        ASSERT_EQ(done.read, totalRead(units));
                    });
            }
        }
    }
}

TEST_P(KernelTest, EncodesAndDecodesBase32) {
    for (std::size_t groups = 0; groups <= kLongest / 5; ++groups) {
        const std::string bytes = noise(groups * 5), text = digitsOf(bytes, 5, kBase32);
        everywhere(bytes, text.size(), [&](const unsigned char* in, unsigned char* out) {
            GetParam()->encodeBase32(in, groups, chars(out));
            ASSERT_EQ(std::string(chars(out), text.size()), text);
        });
        everywhere(text, bytes.size(), [&](const unsigned char* in, unsigned char* out) {
            ASSERT_EQ(GetParam()->decodeBase32(chars(in), groups, out), groups);
            ASSERT_EQ(std::string(chars(out), bytes.size()), bytes);
        });
    }
}

TEST_P(KernelTest, StopsBeforeTheBase32GroupWithAnotherCharacter) {
    const std::string bytes = noise(40), text = digitsOf(bytes, 5, kBase32);
    for (unsigned int c = 0; c < 256; ++c) {
        if (kBase32.find(static_cast<char>(c)) != kBase32.npos) continue;
        for (std::size_t i = 0; i < text.size(); ++i) {
            std::string other = text;
            other[i] = static_cast<char>(c);
            everywhere(other, bytes.size(), [&](const unsigned char* in, unsigned char* out) {
                ASSERT_EQ(GetParam()->decodeBase32(chars(in), 8, out), i / 8) << c;
                ASSERT_EQ(std::string(chars(out), i / 8 * 5), bytes.substr(0, i / 8 * 5));
            });
        }
    }
}

namespace {

// Digits of each group of `size` bytes, by division; up to the first group of zeros where `stops`.
std::string radixDigits(const std::string& bytes, std::size_t size, const std::string& alphabet,
                        std::size_t digits, bool stops) {
    std::string text;
    for (std::size_t at = 0; at + size <= bytes.size(); at += size) {
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < size; ++i)
            value = value * 256 + static_cast<unsigned char>(bytes[at + i]);
        if (stops && value == 0) break;
        text += std::string(digits, '\0');
        for (std::size_t i = 1; i <= digits; ++i, value /= alphabet.size())
            text[text.size() - i] = alphabet[value % alphabet.size()];
    }
    return text;
}

}  // namespace

// Random groups, and those whose digits are the lowest and the highest, or that are too large.
TEST_P(KernelTest, EncodesAndDecodesAscii85AndEda) {
    std::string alphabet85;
    for (char c = '!'; c <= 'u'; ++c)
        alphabet85 += c;
    const std::string random = noise(4 * kLongest);
    const auto expectSame = [&](const std::string& bytes) {
        const std::string text = radixDigits(bytes, 4, alphabet85, 5, true),
                          eda = radixDigits(bytes, 2, contentcoding::kEdaAlphabet, 3, false);
        everywhere(bytes, bytes.size() / 4 * 5, [&](const unsigned char* in, unsigned char* out) {
            const std::size_t groups = GetParam()->encodeAscii85(in, bytes.size() / 4, chars(out));
            ASSERT_EQ(std::string(chars(out), groups * 5), text);
        });
        everywhere(text, text.size() / 5 * 4, [&](const unsigned char* in, unsigned char* out) {
            ASSERT_EQ(GetParam()->decodeAscii85(chars(in), text.size() / 5, out), text.size() / 5);
            ASSERT_EQ(std::string(chars(out), text.size() / 5 * 4),
                      bytes.substr(0, text.size() / 5 * 4));
        });
        everywhere(bytes, eda.size(), [&](const unsigned char* in, unsigned char* out) {
            GetParam()->encodeEda(in, bytes.size() / 2, chars(out));
            ASSERT_EQ(std::string(chars(out), eda.size()), eda);
        });
        everywhere(eda, eda.size() / 3 * 2, [&](const unsigned char* in, unsigned char* out) {
            ASSERT_EQ(GetParam()->decodeEda(chars(in), eda.size() / 3, out), eda.size() / 3);
            ASSERT_EQ(std::string(chars(out), eda.size() / 3 * 2),
                      bytes.substr(0, eda.size() / 3 * 2));
        });
    };
    for (std::size_t n = 0; n <= kLongest; n += 2)
        expectSame(random.substr(n, n));
    for (const char* unit : {"\xFF\xFF\xFF\xFF", "\0\0\0\1", "\x03\x1C\x84\xB1"})
        expectSame(x(64, std::string(unit, 4)));
    std::string zeros = random.substr(0, 128);
    expectSame(zeros.replace(100, 4, 4, '\0'));
    const std::string digits = x(40, "s8W-!");
    for (const char* other : {"s8W-\"", "t!!!!", "uuuuu", "!!! !", "!!!\xFF!", "z!!!!", "!!!!v"}) {
        std::string text = digits;
        text.replace(60, 5, other);
        everywhere(text, 160, [&](const unsigned char* in, unsigned char* out) {
            ASSERT_EQ(GetParam()->decodeAscii85(chars(in), 40, out), 12u) << other;
            ASSERT_EQ(std::string(chars(out), 48), std::string(48, '\xFF'));
        });
    }
}

// Every character in every place of a group, and the groups from the largest one on.
TEST_P(KernelTest, StopsBeforeTheEdaGroupThatIsNone) {
    const std::string digits = x(40, "ZJ3"), alphabet = contentcoding::kEdaAlphabet;
    const auto expectStop = [&](std::size_t at, const std::string& group) {
        std::uint64_t value = 0;
        for (const char c : group)
            value = value * 43 + std::min(alphabet.find(c), std::size_t{1} << 16);
        std::string text = digits;
        text.replace(3 * at, 3, group);
        const std::size_t groups = value > 0xFFFF ? at : 40;
        everywhere(text, 80, [&](const unsigned char* in, unsigned char* out) {
            ASSERT_EQ(GetParam()->decodeEda(chars(in), 40, out), groups) << group;
        });
    };
    for (std::size_t at = 0; at < 40; at += 13) {
        for (unsigned int i = 0; i < 3 * 256; ++i) {
            std::string group = "ZJ3";
            group[i % 3] = static_cast<char>(i / 3);
            expectStop(at, group);
        }
        for (const char* group : {"ZJ4", "ZJ=", "ZK0", "===", "000"})
            expectStop(at, group);
    }
}

INSTANTIATE_TEST_SUITE_P(All, KernelTest, testing::ValuesIn(all()),
                         [](const auto& kernel) { return std::string(kernel.param->name); });
