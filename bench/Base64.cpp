// Base64 against a copy of the same bytes: both ways, unwrapped and in lines of 76, into
// destinations that have grown already.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "codec/ContentCoding.h"

namespace {

std::string noise(std::size_t n) {
    std::string bytes(n, '\0');
    unsigned int state = 12345;
    for (char& b : bytes)
        b = static_cast<char>((state = state * 1103515245u + 12345u) >> 16);
    return bytes;
}

void count(benchmark::State& state, std::size_t bytes) {
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes) * state.iterations());
}

void copy(benchmark::State& state) {
    const std::string bytes = noise(static_cast<std::size_t>(state.range(0)));
    std::string to(bytes.size(), '\0');
    for (auto _ : state) {
        std::memcpy(to.data(), bytes.data(), bytes.size());
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
    count(state, bytes.size());
}

using Encode = bool (*)(const std::string& bytes, StringBuffer& text);

bool unwrapped(const std::string& bytes, StringBuffer& text) {
    return ContentCoding::encodeBase64_noCrLf(bytes.data(), static_cast<unsigned int>(bytes.size()),
                                              text);
}

bool wrapped(const std::string& bytes, StringBuffer& text) {
    return ContentCoding().encodeBase64(bytes.data(), static_cast<unsigned int>(bytes.size()),
                                        text);
}

void encode(benchmark::State& state, Encode encoder) {
    const std::string bytes = noise(static_cast<std::size_t>(state.range(0)));
    StringBuffer text;
    for (auto _ : state) {
        text.weakClear();
        benchmark::DoNotOptimize(encoder(bytes, text));
    }
    count(state, bytes.size());
}

void decode(benchmark::State& state, Encode encoder) {
    StringBuffer text;
    encoder(noise(static_cast<std::size_t>(state.range(0))), text);
    for (auto _ : state) {
        unsigned int n = 0;
        unsigned char* const bytes =
            ContentCoding::decodeBase64(text.getString(), text.getSize(), &n);
        benchmark::DoNotOptimize(bytes);
        delete[] bytes;
    }
    count(state, text.getSize());
}

void sizes(benchmark::internal::Benchmark* benchmark) {
    for (const int n : {64, 1024, 65536, 1048576})
        benchmark->Arg(n);
}

BENCHMARK(copy)->Apply(sizes);
BENCHMARK_CAPTURE(encode, unwrapped, unwrapped)->Apply(sizes);
BENCHMARK_CAPTURE(encode, wrapped, wrapped)->Apply(sizes);
BENCHMARK_CAPTURE(decode, unwrapped, unwrapped)->Apply(sizes);
BENCHMARK_CAPTURE(decode, wrapped, wrapped)->Apply(sizes);

}  // namespace
