#include "codec/Tables.h"
#include "codec/kernels/Kernels.h"
#include "tests/TestSupport.h"

using contentcoding::Kernels;

class Base64Kernel : public testing::TestWithParam<const Kernels*> {};

namespace {

std::array<unsigned char, 256> digitValues() {
    std::array<unsigned char, 256> values;
    values.fill(contentcoding::kBase64Skipped);
    for (unsigned char v = 0; v < 64; ++v)
        values[static_cast<unsigned char>(_base64_table[v])] = v;
    return values;
}

}  // namespace

// In heap blocks of exact size; what is written to must not be touched past its end either.
TEST_P(Base64Kernel, EncodesAndDecodesWholeGroupsOnly) {
    const auto values = digitValues();
    for (std::size_t groups = 0; groups <= 100; ++groups) {
        const std::string bytes = noise(groups * 3);
        const std::unique_ptr<char[]> text(new char[groups * 4]);
        const std::unique_ptr<unsigned char[]> back(new unsigned char[groups * 3]);
        GetParam()->encodeBase64(reinterpret_cast<const unsigned char*>(ExactCopy(bytes).get()),
                                 groups, _base64_table, text.get());
        std::size_t done = 0;
        while (done < groups) {  // a kernel may stop early, but not without any progress here
            const auto n = GetParam()->decodeBase64(text.get() + done * 4, groups - done,
                                                    values.data(), back.get() + done * 3);
            ASSERT_TRUE(n > 0 && n <= groups - done);
            done += n;
        }
        ASSERT_EQ(std::string(back.get(), back.get() + groups * 3), bytes);
    }
}

TEST_P(Base64Kernel, StopsBeforeTheQuantumWithAnotherCharacter) {
    const auto values = digitValues();
    for (std::size_t i = 0; i < 200; ++i) {
        for (const char other : "=\n\0\x80"sv) {
            std::string text(200, 'A');
            text[i] = other;
            unsigned char bytes[150];
            ASSERT_LE(GetParam()->decodeBase64(text.data(), 50, values.data(), bytes), i / 4);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kernels, Base64Kernel, testing::Values(&contentcoding::kScalarKernels),
                         [](const auto& kernel) { return std::string(kernel.param->name); });
