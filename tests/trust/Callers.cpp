// What callers do to us: throw, refuse, and call from many threads at once.

#include <stdexcept>
#include <thread>

#include "contentcoding/charset.hpp"
#include "contentcoding/header.hpp"
#include "tests/trust/Operations.h"

namespace {

struct Thrown : std::runtime_error {
    Thrown() : std::runtime_error("thrown") {}
};

// Throws at a call; contexts are counted first, and leaving one does not throw.
class ThrowingLog final : public CountingLog {
public:
    explicit ThrowingLog(int call) : m_left(call) {}
    void LogError(const char* text) override { count(), CountingLog::LogError(text); }
    void LogDataSb(const char* name, const StringBuffer& value) override {
        count(), CountingLog::LogDataSb(name, value);
    }
    void enterContext(const char* name) override { count(), CountingLog::enterContext(name); }

private:
    void count() {
        if (m_left-- == 0) throw Thrown();
    }
    int m_left;
};

class ThrowingOutput final : public CountingOutput {
public:
    explicit ThrowingOutput(int block) : m_left(block) {}
    bool writeBytes(const char* data, unsigned int n, _zqIoParams& params, LogBase& log) override {
        if (m_left-- == 0) throw Thrown();
        return CountingOutput::writeBytes(data, n, params, log);
    }

private:
    int m_left;
};

}  // namespace

// The address sanitizer sees to leaks.
TEST(Callers, MayThrowFromALogAndFromASink) {
    ContentCoding codec;
    int thrown = 0;
    for (const Operation& operation : operations(codec)) {
        for (int call = 0;; ++call) {
            ThrowingLog log(call);
            log.m_verboseLogging = true;
            ThrowingOutput sink(call);
            Scene run(log, sink);
            bool ended = false;
            try {
                operation.run(run);
                ended = true;
            } catch (const Thrown&) {
                ++thrown;
            }
            EXPECT_EQ(log.open, 0) << operation.name << call;
            EXPECT_EQ(str(run.text).substr(0, 4), "held") << operation.name << call;
            if (ended) break;
        }
    }
    EXPECT_GT(thrown, 30);
}

TEST(Callers, MayRefuseAnyBlock) {
    ContentCoding codec;
    for (const Operation& operation : operations(codec)) {
        LogNull log;
        RecordingOutput all;
        Scene complete(log, all);
        operation.run(complete);
        for (std::size_t k = 0; k < all.blocks.size(); ++k) {
            RecordingOutput sink(k);
            Scene run(log, sink);
            EXPECT_FALSE(operation.run(run)) << operation.name << k;
            EXPECT_EQ(sink.blocks, std::vector<std::string>(
                                       all.blocks.begin(),
                                       all.blocks.begin() + static_cast<std::ptrdiff_t>(k) + 1))
                << operation.name;
        }
    }
}

// The mail layer shares tables of charsets, and a converter, among all values.
TEST(Callers, MayReadMailInThreads) {
    constexpr std::size_t kThreads = 8;
    std::string value;
    for (const auto name : contentcoding::charset::names())
        value.append("=?").append(name).append("?B?xcTDwqE=?= ");
    std::vector<std::string> results(kThreads);
    std::vector<std::thread> threads;
    for (std::string& result : results) {
        threads.emplace_back([&result, &value] {
            for (int i = 0; i < 20; ++i) {
                result.append(contentcoding::header::decode(value).text);
                result.append(contentcoding::header::encode(result.substr(0, 50),
                                                            {.charset = "iso-2022-jp"}));
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const auto& result : results)
        EXPECT_EQ(result, results[0]);
}

// Alone in its process: the first calls of all, which choose kernels and open charset tables, come
// from eight threads at once.
TEST(Callers, MayShareAnObjectAmongThreads) {
    constexpr std::size_t kThreads = 8;
    ContentCoding codec;
    const auto all = operations(codec);
    std::vector<std::vector<std::string>> results(kThreads);
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (const Operation& operation : all) {
                LogNull log;
                RecordingOutput sink;
                Scene run(log, sink);
                const bool ok = operation.run(run);
                results[t].push_back(run.all() + sink.all() + (ok ? "+" : "-"));
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const auto& result : results)
        EXPECT_EQ(result, results[0]);
}
