#ifndef BENCH_REPORT_H
#define BENCH_REPORT_H

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace bench {

// What a row compares. The names are those under which its benchmarks were registered.
struct Row {
    struct Rival {
        std::string name;
        std::string benchmark;
    };

    std::string family;
    std::string workload;
    std::size_t size;   // in its name
    std::size_t bytes;  // of the input
    std::string ours;
    std::string copy;
    std::vector<Rival> peers;
};

// "64", "1K", "64K", "1M".
std::string sizeName(std::size_t bytes);

// Keeps the times of all repetitions and prints two Markdown tables: ours, and the peers'.
class Report final : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override;

    void print(const std::vector<Row>& rows) const;

private:
    struct Times {
        double median;
        double best;
    };

    Times timesOf(const std::string& benchmark) const;
    const Row::Rival* bestPeerOf(const Row& row) const;

    std::map<std::string, std::vector<double>> m_seconds;  // per call, for each repetition
};

}  // namespace bench

#endif
