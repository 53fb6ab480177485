#include <malloc.h>

#include <cstdlib>
#include <vector>

#include "bench/Harness.h"
#include "codec/kernels/Kernels.h"

// CONTENTCODING_KERNEL=portable, for example, measures the kernels of that name. The program takes
// the options of Google Benchmark; --benchmark_filter selects rows by names such as
// "Base64/decode/64K".
int main(int argc, char** argv) {
    // Memory that is freed is used again, so that no coder pays for fresh pages.
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);

    // Before the caller's own options, which take precedence.
    char interleaved[] = "--benchmark_enable_random_interleaving=true";
    char repetitions[] = "--benchmark_repetitions=9";
    char seconds[] = "--benchmark_min_time=0.02";
    std::vector<char*> options = {argv[0], interleaved, repetitions, seconds};
    options.insert(options.end(), argv + 1, argv + argc);
    int count = static_cast<int>(options.size());
    options.push_back(nullptr);

    const char* const kernels = std::getenv("CONTENTCODING_KERNEL");
    if (kernels && !contentcoding::useKernels(kernels)) return 1;

    benchmark::Initialize(&count, options.data());
    if (benchmark::ReportUnrecognizedArguments(count, options.data())) return 1;
    const int result = bench::run();
    benchmark::Shutdown();
    return result;
}
