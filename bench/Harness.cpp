#include "bench/Harness.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <regex>

#include "bench/Report.h"

namespace bench {

namespace {

constexpr std::size_t kPage = 4096;
constexpr std::size_t kCacheLine = 64;

[[noreturn]] void abortRun(const std::string& why) {
    std::fprintf(stderr, "%s\n", why.c_str());
    std::exit(1);
}

// A NUL-terminated copy of an input, which can be placed at a distance from a destination.
class PlacedInput {
public:
    explicit PlacedInput(std::string_view input)
        : m_room(new char[input.size() + 1 + 2 * kPage]), m_input(input) {
        placeFor(nullptr);
    }

    // Half a page away from the destination, modulo a page. If a destination is a few bytes after
    // its source modulo a page, each load waits for the store before it, because the processor
    // compares no more of the addresses than that; at 16 bytes memcpy becomes very slow.
    void placeFor(const char* destination) {
        const auto page = (reinterpret_cast<std::uintptr_t>(m_room.get()) + kPage - 1) & -kPage;
        const auto offset = reinterpret_cast<std::uintptr_t>(destination) % kPage & -kCacheLine;
        char* const at = m_room.get() + (page - reinterpret_cast<std::uintptr_t>(m_room.get())) +
                         (offset + kPage / 2) % kPage;
        std::memmove(at, m_input.data(), m_input.size());
        at[m_input.size()] = '\0';
        m_input = {at, m_input.size()};
    }

    std::string_view get() const { return m_input; }

private:
    std::unique_ptr<char[]> m_room;
    std::string_view m_input;
};

// One contender with its own copy of the row's input.
class Entrant {
public:
    Entrant(const MakeContender& make, std::string_view input)
        : m_contender(make()), m_input(input) {
        m_input.placeFor(m_contender->once(m_input.get()).data());
    }

    std::string_view output() { return m_contender->once(m_input.get()); }
    void repeat(benchmark::State& state) { m_contender->repeat(m_input.get(), state); }

private:
    std::unique_ptr<Contender> m_contender;
    PlacedInput m_input;
};

struct PeerWork {
    Peer peer;
    MakeContender make;
    bool used = false;
};

struct OurWork {
    Workload workload;
    MakeContender make;
};

std::vector<OurWork>& workloads() {
    static std::vector<OurWork> all;
    return all;
}

std::vector<PeerWork>& peers() {
    static std::vector<PeerWork> all;
    return all;
}

std::vector<PeerWork*> peersOf(const Workload& workload) {
    std::vector<PeerWork*> found;
    for (PeerWork& work : peers())
        if (workload.name == work.peer.workload &&
            std::string_view(workload.family) == work.peer.family) {
            work.used = true;
            found.push_back(&work);
        }
    return found;
}

// The filter, as in the benchmark library: a regular expression; after a "-", one for what to leave
// out. A row is selected by its own name or by that of any contender, and then runs as a whole.
class Filter {
public:
    explicit Filter(std::string pattern)
        : m_inverted(pattern.starts_with('-')), m_pattern(pattern.substr(m_inverted ? 1 : 0)) {}

    bool selects(const std::string& row, const std::vector<PeerWork*>& rivals) const {
        const auto found = [this](const std::string& name) {
            return std::regex_search(name, m_pattern);
        };
        const bool any = found(row) || std::ranges::any_of(rivals, [&](const PeerWork* work) {
                             return found(row + '/' + work->peer.name);
                         });
        return any != m_inverted;
    }

private:
    bool m_inverted;
    std::regex m_pattern;
};

std::string enter(const std::string& name, std::shared_ptr<Entrant> entrant) {
    benchmark::RegisterBenchmark(name.c_str(),
                                 [entrant](benchmark::State& state) { entrant->repeat(state); });
    return name;
}

// The copy of `size` bytes that a row is compared with; rows of that size share it.
std::string enterCopy(std::size_t size) {
    static std::map<std::size_t, std::string> entered;
    std::string& name = entered[size];
    if (name.empty()) {
        const auto copy = toArray(asMuch, [](std::string_view in, char* out) {
            std::memcpy(out, in.data(), in.size());
            return in.size();
        });
        name = enter("memcpy/" + sizeName(size),
                     std::make_shared<Entrant>(contender(copy), std::string(size, 'x')));
    }
    return name;
}

Row enterRow(const OurWork& work, std::size_t size, const std::string& name,
             const std::vector<PeerWork*>& rivals) {
    const std::string input = work.workload.input(size);
    const auto our = std::make_shared<Entrant>(work.make, input);
    if (our->output().empty()) abortRun(name + ": nothing came out");

    Row row = {work.workload.family, work.workload.name, size, input.size(), {}, {}, {}};
    row.ours = enter(name, our);
    row.copy = enterCopy(size);
    for (const PeerWork* rival : rivals) {
        const auto their = std::make_shared<Entrant>(rival->make, input);
        if (!rival->peer.same(our->output(), their->output()))
            abortRun(name + ": " + rival->peer.name + " did other work than we did");
        row.peers.push_back({rival->peer.name, enter(name + '/' + rival->peer.name, their)});
    }
    return row;
}

}  // namespace

bool equal(std::string_view ours, std::string_view theirs) { return ours == theirs; }

bool equalButForLineBreaks(std::string_view ours, std::string_view theirs) {
    const auto unbroken = [](std::string text) {
        std::erase_if(text, [](char c) { return c == '\r' || c == '\n'; });
        return text;
    };
    return unbroken(std::string(ours)) == unbroken(std::string(theirs));
}

bool notComparable(std::string_view, std::string_view) { return true; }

void addWorkload(Workload workload, MakeContender ours) {
    workloads().push_back({std::move(workload), std::move(ours)});
}

void addPeer(Peer peer, MakeContender theirs) {
    peers().push_back({std::move(peer), std::move(theirs)});
}

void Source::addAll() {
    for (const Source* source = s_last; source; source = source->m_next)
        source->m_add();
}

int run() {
    Source::addAll();
    std::ranges::stable_sort(workloads(), {}, [](const OurWork& work) {
        return std::string_view(work.workload.family);
    });
    const Filter filter(benchmark::GetBenchmarkFilter());
    std::vector<Row> rows;
    for (const OurWork& work : workloads()) {
        const std::vector<PeerWork*> rivals = peersOf(work.workload);
        for (const std::size_t size : work.workload.sizes) {
            const std::string name =
                work.workload.family + ('/' + work.workload.name) + '/' + sizeName(size);
            if (filter.selects(name, rivals)) rows.push_back(enterRow(work, size, name, rivals));
        }
    }
    for (const PeerWork& work : peers())
        if (!work.used)
            abortRun(std::string(work.peer.name) + ": there is no workload " + work.peer.family +
                     '/' + work.peer.workload);

    Report report;
    benchmark::RunSpecifiedBenchmarks(&report, "all");
    report.print(rows);
    return 0;
}

}  // namespace bench
