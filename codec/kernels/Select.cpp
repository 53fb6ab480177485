#include <cstring>

#include "codec/kernels/Scalar.h"

#ifdef CONTENTCODING_AVX2
#include "codec/kernels/Avx2.h"
#endif
#ifdef CONTENTCODING_NEON
#include "codec/kernels/Neon.h"
#endif

namespace contentcoding {
namespace {

constexpr Kernels kScalar = {"portable",        scalar::encodeBase64, scalar::decodeBase64,
                             scalar::runLength, scalar::lengthUntil,  scalar::escape,
                             scalar::unescape,  scalar::encodeBase32, scalar::decodeBase32};

#ifdef CONTENTCODING_AVX2
constexpr Kernels kAvx2 = {"avx2",          avx2::encodeBase64, avx2::decodeBase64,
                           avx2::runLength, avx2::lengthUntil,  avx2::escape,
                           avx2::unescape,  avx2::encodeBase32, avx2::decodeBase32};
constexpr const Kernels* kWithAvx2[] = {&kAvx2, &kScalar, nullptr};
#endif
#ifdef CONTENTCODING_NEON
constexpr Kernels kNeon = {"neon",           neon::encodeBase64,   neon::decodeBase64,
                           neon::runLength,  scalar::lengthUntil,  scalar::escape,
                           scalar::unescape, scalar::encodeBase32, scalar::decodeBase32};
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
