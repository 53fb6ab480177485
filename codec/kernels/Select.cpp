#include <cstring>

#include "codec/kernels/scalar/Scalar.h"

#ifdef CONTENTCODING_AVX2
#include "codec/kernels/avx2/Avx2.h"
#endif
#ifdef CONTENTCODING_NEON
#include "codec/kernels/neon/Neon.h"
#endif

namespace contentcoding {
namespace {

constexpr Kernels kScalar = {.name = "portable",
                             .encodeBase64 = scalar::encodeBase64,
                             .decodeBase64 = scalar::decodeBase64,
                             .runLength = scalar::runLength,
                             .lengthUntil = scalar::lengthUntil,
                             .escape = scalar::escape,
                             .unescape = scalar::unescape,
                             .encodeBase32 = scalar::encodeBase32,
                             .decodeBase32 = scalar::decodeBase32,
                             .encodeAscii85 = scalar::encodeAscii85,
                             .decodeAscii85 = scalar::decodeAscii85,
                             .encodeEda = scalar::encodeEda,
                             .decodeEda = scalar::decodeEda};

#ifdef CONTENTCODING_AVX2
constexpr Kernels kAvx2 = {.name = "avx2",
                           .encodeBase64 = avx2::encodeBase64,
                           .decodeBase64 = avx2::decodeBase64,
                           .runLength = avx2::runLength,
                           .lengthUntil = avx2::lengthUntil,
                           .escape = avx2::escape,
                           .unescape = avx2::unescape,
                           .encodeBase32 = avx2::encodeBase32,
                           .decodeBase32 = avx2::decodeBase32,
                           .encodeAscii85 = avx2::encodeAscii85,
                           .decodeAscii85 = avx2::decodeAscii85,
                           .encodeEda = avx2::encodeEda,
                           .decodeEda = avx2::decodeEda};
constexpr const Kernels* kWithAvx2[] = {&kAvx2, &kScalar, nullptr};
#endif
#ifdef CONTENTCODING_NEON
constexpr Kernels kNeon = [] {
    Kernels kernels = kScalar;
    kernels.name = "neon";
    kernels.encodeBase64 = neon::encodeBase64;
    kernels.decodeBase64 = neon::decodeBase64;
    kernels.runLength = neon::runLength;
    return kernels;
}();
constexpr const Kernels* kWithNeon[] = {&kNeon, &kScalar, nullptr};
#endif
[[maybe_unused]] constexpr const Kernels* kPlain[] = {&kScalar, nullptr};

}  // namespace

const Kernels* const* availableKernels() {
#if defined(CONTENTCODING_AVX2)
    return __builtin_cpu_supports("avx2") ? kWithAvx2 : kPlain;
#elif defined(CONTENTCODING_NEON)
    return kWithNeon;
#else
    return kPlain;
#endif
}

std::atomic<const Kernels*> chosenKernels{nullptr};

// Two threads that come here at once store the same.
const Kernels& chooseKernels() {
    const Kernels* const best = availableKernels()[0];
    chosenKernels.store(best, std::memory_order_relaxed);
    return *best;
}

bool useKernels(const char* name) {
    for (const Kernels* const* available = availableKernels(); *available; ++available) {
        if (std::strcmp((*available)->name, name) != 0) continue;
        chosenKernels.store(*available, std::memory_order_relaxed);
        return true;
    }
    return false;
}

}  // namespace contentcoding
