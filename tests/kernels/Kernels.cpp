#include "codec/kernels/Kernels.h"

#include <unistd.h>

#include <functional>

#include "codec/Bytes.h"
#include "tests/TestSupport.h"

using contentcoding::Base64Values;
using contentcoding::Kernels;
using contentcoding::Progress;

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
            const std::string text = digitsOf(bytes, 6, alphabet);
            everywhere(bytes, text.size(), [&](const unsigned char* in, unsigned char* out) {
                GetParam()->encodeBase64(in, groups, alphabet.data(), chars(out));
                ASSERT_EQ(std::string(chars(out), text.size()), text);
            });
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
constexpr auto kEscapes = [] {
    auto escapes = contentcoding::escapesExcept(kKept);
    escapes.of[0].length = 0;
    escapes.of[' '] = {{'_'}, 1};
    return escapes;
}();
constexpr auto kUnescapes = [] {
    auto unescapes = contentcoding::unescapesExcept(kKept);
    unescapes.text['_'] = ' ';
    unescapes.length['_'] = 1;
    unescapes.lowest = 1;
    unescapes.count = 255;
    return unescapes;
}();

}  // namespace

// Runs of each length, dense and rare escapes, every room, and the bytes that stop.
TEST_P(KernelTest, WritesAndReadsEscapes) {
    const auto unitOf = [](char c) {
        const auto& entry = kEscapes.of[static_cast<unsigned char>(c)];
        return std::string(entry.text, entry.length);
    };
    const std::string random = noise(kLongest);
    for (std::size_t n = 0; n <= kLongest; ++n) {
        std::string bytes;
        for (std::size_t i = 0; i < n; ++i) {
            const auto b = static_cast<unsigned char>(random[i]);
            bytes += b % (n % 7 + 1) == 0 ? static_cast<char>(b | 1) : i % 9 == 4 ? ' ' : 'x';
        }
        std::string text;
        for (const char c : bytes)
            text += unitOf(c);
        // Where the room is short, or a byte stops the coder, what was written is the start.
        for (const std::size_t room : {text.size(), text.size() / 2, std::size_t{0}}) {
            const std::string stopped = bytes + '\0' + "abc";
            everywhere(stopped, room + contentcoding::kSlack,
                       [&](const unsigned char* in, unsigned char* out) {
                           const Progress done =
                               GetParam()->escape(in, stopped.size(), kEscapes, chars(out), room);
                           ASSERT_EQ(std::string(chars(out), done.written),
                                     text.substr(0, done.written));
                           ASSERT_GT(done.written + (done.read == n ? 1 : 3), room);
                           std::size_t written = 0;
                           for (std::size_t i = 0; i < done.read; ++i)
                               written += unitOf(bytes[i]).size();
                           ASSERT_EQ(written, done.written);
                       });
        }
        for (const char* end : {"=0g", "=00", "=A", "="}) {
            const std::string whole = text + "?" + end;  // what is neither kept nor an escape goes
            everywhere(
                whole, n + contentcoding::kSlack, [&](const unsigned char* in, unsigned char* out) {
                    const Progress done =
                        GetParam()->unescape(chars(in), whole.size(), kUnescapes, chars(out), n);
                    ASSERT_EQ(std::string(chars(out), done.written), bytes);
                    ASSERT_GE(done.read, text.size());
                    ASSERT_LE(done.read, text.size() + 1);
                });
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

INSTANTIATE_TEST_SUITE_P(All, KernelTest, testing::ValuesIn(all()),
                         [](const auto& kernel) { return std::string(kernel.param->name); });
