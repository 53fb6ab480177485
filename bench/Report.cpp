#include "bench/Report.h"

#include <algorithm>
#include <cstdio>
#include <fstream>

#include "codec/kernels/Kernels.h"

namespace bench {

namespace {

constexpr std::size_t kKilo = 1024;

// Three significant digits, down to a millionth.
std::string figure(double value) {
    int decimals = 0;
    for (double limit = 100; decimals < 6 && value < limit; limit /= 10)
        ++decimals;
    char text[40];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

// For small inputs the time of a call, for others the bytes per second.
std::string speed(double seconds, const Row& row) {
    return row.size < kKilo ? figure(seconds * 1e9) + " ns"
                            : figure(static_cast<double>(row.bytes) / seconds / 1e9) + " GB/s";
}

std::string processor() {
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);)
        if (line.starts_with("model name")) return line.substr(line.find(':') + 2);
    return "unknown";
}

const char* compiler() {
#ifdef __clang__
    return __VERSION__;
#else
    return "GCC " __VERSION__;
#endif
}

void printHead() {
    std::printf("Processor: %s\n\n", processor().c_str());
    std::printf("Compiler: %s\n\n", compiler());
    std::printf("Kernels: %s\n\n", contentcoding::kernels().name);
    std::printf(
        "Each row has the median and the best of the repetitions, and the ratios of medians and of "
        "bests. Ratios above 1 in the\ncolumns \"To peer\" and \"Bests\" after it mean that we are "
        "faster.\n\n");
}

void printCells(const Row& row) {
    std::printf("| %s | %s | %s ", row.family.c_str(), row.workload.c_str(),
                sizeName(row.size).c_str());
}

}  // namespace

std::string sizeName(std::size_t bytes) {
    if (bytes < kKilo) return std::to_string(bytes);
    if (bytes < kKilo * kKilo) return std::to_string(bytes / kKilo) + 'K';
    return std::to_string(bytes / kKilo / kKilo) + 'M';
}

void Report::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs)
        if (run.run_type == Run::RT_Iteration && !run.error_occurred)
            m_seconds[run.run_name.function_name].push_back(run.cpu_accumulated_time /
                                                            static_cast<double>(run.iterations));
}

Report::Times Report::timesOf(const std::string& benchmark) const {
    std::vector<double> times = m_seconds.at(benchmark);
    std::ranges::sort(times);
    const std::size_t middle = times.size() / 2;
    const double median =
        times.size() % 2 == 1 ? times[middle] : (times[middle - 1] + times[middle]) / 2;
    return {median, times.front()};
}

const Row::Rival* Report::bestPeerOf(const Row& row) const {
    const auto best = std::ranges::min_element(
        row.peers, {}, [this](const Row::Rival& r) { return timesOf(r.benchmark).median; });
    return best == row.peers.end() ? nullptr : &*best;
}

void Report::print(const std::vector<Row>& rows) const {
    if (m_seconds.empty()) return;  // rows were only listed
    printHead();
    std::puts(
        "| Family | Workload | Size | Median | Best | To memcpy | Bests | To peer | Bests | Best "
        "peer "
        "|");
    std::puts("|---|---|--:|--:|--:|--:|--:|--:|--:|---|");
    for (const Row& row : rows) {
        const Times ours = timesOf(row.ours);
        // The copy has the size in the row's name; the input may be slightly shorter.
        const double part = static_cast<double>(row.bytes) / static_cast<double>(row.size);
        const Times copy = timesOf(row.copy);
        printCells(row);
        std::printf("| %s | %s | %s | %s ", speed(ours.median, row).c_str(),
                    speed(ours.best, row).c_str(), figure(copy.median * part / ours.median).c_str(),
                    figure(copy.best * part / ours.best).c_str());
        if (const Row::Rival* const peer = bestPeerOf(row)) {
            const Times theirs = timesOf(peer->benchmark);
            std::printf("| %s | %s | %s |\n", figure(theirs.median / ours.median).c_str(),
                        figure(theirs.best / ours.best).c_str(), peer->name.c_str());
        } else {
            std::puts("| | | |");
        }
    }
    std::puts("\n| Family | Workload | Size | Peer | Median | Best | We are faster by |");
    std::puts("|---|---|--:|---|--:|--:|--:|");
    for (const Row& row : rows)
        for (const Row::Rival& peer : row.peers) {
            const Times theirs = timesOf(peer.benchmark);
            printCells(row);
            std::printf("| %s | %s | %s | %s |\n", peer.name.c_str(),
                        speed(theirs.median, row).c_str(), speed(theirs.best, row).c_str(),
                        figure(theirs.median / timesOf(row.ours).median).c_str());
        }
}

}  // namespace bench
