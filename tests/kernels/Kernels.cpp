#include "codec/kernels/Kernels.h"

#include <unistd.h>

#include <functional>

#include "codec/Bytes.h"
#include "tests/TestSupport.h"

using contentcoding::Base64Format;
using contentcoding::Base64Values;
using contentcoding::Escapes;
using contentcoding::Kernels;
using contentcoding::Progress;
using contentcoding::Unescapes;

namespace {

constexpr std::size_t kLongest = 300;
const std::string kStandard = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
const std::string kUrlSafe = kStandard.substr(0, 62) + "-_";
const std::string kReversed(kStandard.rbegin(), kStandard.rend());
const std::string kBase32 = kStandard.substr(0, 26) + "234567";

// Memory between two pages that cannot be touched.
class GuardedPage {
public:
    GuardedPage() {
        mprotect(m_pages, kPage, PROT_NONE);
        mprotect(m_pages + 2 * kPage, kPage, PROT_NONE);
    }
    ~GuardedPage() { munmap(m_pages, 3 * kPage); }
    GuardedPage(const GuardedPage&) = delete;
    GuardedPage& operator=(const GuardedPage&) = delete;

    // `n` bytes right behind the first guard, or right before the second one.
    unsigned char* atStart() const { return m_pages + kPage; }
    unsigned char* atEnd(std::size_t n) const { return m_pages + 2 * kPage - n; }

private:
    static constexpr std::size_t kPage = 65536;
    unsigned char* m_pages = static_cast<unsigned char*>(
        mmap(nullptr, 3 * kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
};

// Calls the function with a place for `in` and one for `room` bytes: against the guards at both
// ends, and at every alignment.
void everywhere(std::string_view in, std::size_t room,
                const std::function<void(const unsigned char* in, unsigned char* out)>& call) {
    static const GuardedPage from, to;
    const auto at = [&](unsigned char* source, unsigned char* out) {
        std::memcpy(source, in.data(), in.size());
        call(source, out);
    };
    at(from.atEnd(in.size()), to.atEnd(room));
    for (std::size_t i = 0; i < 33; ++i)
        at(from.atStart() + i, to.atStart() + 32 - i);
}

const char* chars(const unsigned char* p) { return reinterpret_cast<const char*>(p); }
const unsigned char* unsignedChars(const std::string& s) {
    return reinterpret_cast<const unsigned char*>(s.data());
}
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
    std::fill(std::begin(values.of), std::end(values.of), contentcoding::kBase64Skipped);
    for (unsigned char v = 0; v < 64; ++v)
        values.of[static_cast<unsigned char>(alphabet[v])] = v;
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
                          [&](char c) { return values.of[static_cast<unsigned char>(c)] < 64; });
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
        if (standard.of[c] < 64) continue;
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
    for (const auto& is : classes) {
        std::string members, others;
        for (unsigned int b = 0; b < 256; ++b)
            (is.is[b] ? members : others) += static_cast<char>(b);
        for (std::size_t n = 0; n <= kLongest; ++n) {
            std::string run;
            for (std::size_t i = 0; i < n && !members.empty(); ++i)
                run += members[(i * 7 + n) % members.size()];
            const auto expectRun = [&](const std::string& text, std::size_t length) {
                everywhere(text, 0, [&](const unsigned char* in, unsigned char*) {
                    ASSERT_EQ(GetParam()->runLength(in, length, is), run.size());
                });
            };
            expectRun(run, run.size());
            if (others.empty()) continue;
            // Behind a byte that ends the run nothing need exist.
            run.resize(std::min(run.size(), n / 2));
            expectRun(run + others[n % others.size()], kLongest);
        }
    }
    for (std::size_t n = 0; n <= kLongest; ++n) {
        const std::string run = x(n);
        everywhere(run, 0, [&](const unsigned char* in, unsigned char*) {
            ASSERT_EQ(GetParam()->lengthUntil(in, n, 0, '='), n);
            ASSERT_EQ(GetParam()->lengthUntil(in, n, 'A', '='), 0u);
        });
        for (const char end : {'\0', '='}) {
            everywhere(run + end, 0, [&](const unsigned char* in, unsigned char*) {
                ASSERT_EQ(GetParam()->lengthUntil(in, 2 * kLongest, 0, '='), n);
            });
        }
    }
    // Each byte is told right.
    for (unsigned int b = 0; b < 256; ++b) {
        const auto byte = static_cast<unsigned char>(b);
        for (const auto& is : classes)
            EXPECT_EQ(GetParam()->runLength(&byte, 1, is), is.is[b]) << b;
    }
}

namespace {

constexpr auto kKept = contentcoding::byteClass([](unsigned char b) {
    return (b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z') || (b >= '0' && b <= '9');
});
// What a kernel does is what the portable one does, which the coders' own tests pin down.
const Kernels& portable() { return *all().back(); }

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

TEST_P(KernelTest, WritesEscapesAsThePortableKernelDoes) {
    const Escapes formats[] = {
        {.kept = kKept},
        {.kept = kKept, .replaced = ' ', .replacement = '_'},
        {.kept = contentcoding::byteClass([](unsigned char b) { return kKept[b] || b == ' '; }),
         .lines = true}};
    for (const Escapes& format : formats) {
        for (const std::string& text :
             mixtures({"\xFF", " ", "\r\n", "\r", "\n", " \r\n", "=", ""})) {
            for (std::size_t n = 0; n <= text.size(); ++n) {
                const std::string bytes = text.substr(0, n);
                std::string whole(n * 3 + contentcoding::kSlack, '\0');
                const Progress all =
                    portable().escape(unsignedChars(bytes), n, format, whole.data(), n * 3);
                ASSERT_EQ(all.read, n);
                for (const std::size_t room : {n * 3, all.written, all.written / 2}) {
                    std::string out(room + contentcoding::kSlack, '\0');
                    const Progress done =
                        GetParam()->escape(unsignedChars(bytes), n, format, out.data(), room);
                    ASSERT_EQ(out.substr(0, done.written), whole.substr(0, done.written));
                    ASSERT_LE(done.written, room);
                    ASSERT_TRUE(done.read == n ||
                                (room < n * 3 && done.written + contentcoding::kEscapeRoom > room));
                    // What is left goes on from there.
                    std::string rest(n * 3 + contentcoding::kSlack, '\0');
                    const Progress more =
                        portable().escape(unsignedChars(bytes) + done.read, n - done.read, format,
                                          rest.data(), n * 3);
                    ASSERT_EQ(rest.substr(0, more.written),
                              whole.substr(done.written, all.written - done.written));
                }
            }
        }
    }
}

TEST_P(KernelTest, ReadsEscapesAsThePortableKernelDoes) {
    const auto notEscaped =
        contentcoding::byteClass([](unsigned char b) { return (b & 0x7F) != '='; });
    const Unescapes formats[] = {
        {.kept = kKept, .replaced = '_', .replacement = ' '},
        {.kept = contentcoding::byteClass([](unsigned char b) { return b != '=' && b > ' '; }),
         .digitBits = 0x7F},
        {.kept = notEscaped, .escapeBits = 0x7F, .digitBits = 0x7F, .stopsAtFff = true},
        {.kept = notEscaped, .escapeBits = 0x7F, .digitBits = 0x7F, .lines = true},
        {.kept = notEscaped,
         .escapeBits = 0x7F,
         .lines = true,
         .stopsAtFff = true,
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
            texts.push_back(texts[i % 40].substr(0, i) + rare + x(i % 3) + texts[i % 50]);
    }
    for (const Unescapes& format : formats) {
        for (const std::string& text : texts) {
            for (const std::size_t room : {text.size(), text.size() / 2, std::size_t{33}}) {
                std::string wanted(room + contentcoding::kSlack, '\0');
                const Progress all =
                    portable().unescape(text.data(), text.size(), format, wanted.data(), room);
                everywhere(text, room + contentcoding::kSlack,
                           [&](const unsigned char* in, unsigned char* out) {
                               const Progress done = GetParam()->unescape(chars(in), text.size(),
                                                                          format, chars(out), room);
                               ASSERT_EQ(std::string(chars(out), done.written),
                                         wanted.substr(0, all.written));
                               ASSERT_EQ(done.read, all.read);
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
            unsigned char out[40];
            ASSERT_EQ(GetParam()->decodeBase32(other.data(), 8, out), i / 8) << c;
            ASSERT_EQ(std::string(chars(out), i / 8 * 5), bytes.substr(0, i / 8 * 5));
        }
    }
}

// Random groups, and those whose digits are the lowest and the highest, or that are too large.
TEST_P(KernelTest, EncodesAndDecodesAscii85AndEdaAsThePortableKernelDoes) {
    const std::string random = noise(4 * kLongest);
    const auto expectSame = [&](const std::string& bytes) {
        everywhere(bytes, bytes.size() * 2, [&](const unsigned char* in, unsigned char* out) {
            std::string wanted(bytes.size() * 2, '\0'), back = wanted;
            const std::size_t groups =
                portable().encodeAscii85(in, bytes.size() / 4, wanted.data());
            ASSERT_EQ(GetParam()->encodeAscii85(in, bytes.size() / 4, chars(out)), groups);
            ASSERT_EQ(std::string(chars(out), groups * 5), wanted.substr(0, groups * 5));
            auto* const decoded = reinterpret_cast<unsigned char*>(back.data());
            ASSERT_EQ(GetParam()->decodeAscii85(chars(out), groups, decoded), groups);
            ASSERT_EQ(back.substr(0, groups * 4), bytes.substr(0, groups * 4));
            portable().encodeEda(in, bytes.size() / 2, wanted.data());
            GetParam()->encodeEda(in, bytes.size() / 2, chars(out));
            ASSERT_EQ(std::string(chars(out), bytes.size() / 2 * 3),
                      wanted.substr(0, bytes.size() / 2 * 3));
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
        unsigned char out[160];
        ASSERT_EQ(GetParam()->decodeAscii85(text.data(), 40, out), 12u) << other;
        ASSERT_EQ(out[47], 0xFF);
    }
}

INSTANTIATE_TEST_SUITE_P(All, KernelTest, testing::ValuesIn(all()),
                         [](const auto& kernel) { return std::string(kernel.param->name); });
