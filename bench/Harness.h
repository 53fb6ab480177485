#ifndef BENCH_HARNESS_H
#define BENCH_HARNESS_H

#include <benchmark/benchmark.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "codec/ContentCoding.h"

// One row of the table is a workload at one size: our code, its peers and a copy of as many bytes
// take turns on the same input.
//
// Each of these is a work: a callable that takes the input, which a NUL follows, and returns a view
// of what it wrote. It keeps its destination from call to call, because fresh pages cost more than
// any codec. Every row has its own copy of each work.

namespace bench {

inline unsigned int size32(std::string_view text) { return static_cast<unsigned int>(text.size()); }

inline std::string_view text(const unsigned char* bytes, std::size_t n) {
    return {reinterpret_cast<const char*>(bytes), n};
}

inline const unsigned char* bytes(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

// Makes a row's input from the size that the row is named after. The input may be a few bytes
// smaller, where whole lines or groups require it.
using MakeInput = std::function<std::string(std::size_t size)>;

struct Workload {
    const char* family;
    std::string name;
    MakeInput input;
    std::vector<std::size_t> sizes = {64, 1024, 65536, 1048576};
};

// Whether the outputs show that a peer did the same work as our code.
using SameWork = bool (*)(std::string_view ours, std::string_view theirs);

bool equal(std::string_view ours, std::string_view theirs);
bool equalButForLineBreaks(std::string_view ours, std::string_view theirs);
bool notComparable(std::string_view ours, std::string_view theirs);

struct Peer {
    const char* name;  // and what it does differently
    const char* family;
    std::string workload;
    SameWork same = equal;
};

// A work with its type erased, which costs an indirect call in each turn.
class Contender {
public:
    Contender() = default;
    Contender(const Contender&) = delete;
    Contender& operator=(const Contender&) = delete;
    virtual ~Contender() = default;
    virtual std::string_view once(std::string_view input) = 0;
    virtual void repeat(std::string_view input, benchmark::State& state) = 0;
};

template <class Work>
class ContenderOf final : public Contender {
public:
    explicit ContenderOf(const Work& work) : m_work(work) {}

    std::string_view once(std::string_view input) override { return m_work(input); }

    void repeat(std::string_view input, benchmark::State& state) override {
        for (auto _ : state) {
            benchmark::DoNotOptimize(m_work(input));
            benchmark::ClobberMemory();
        }
    }

private:
    Work m_work;
};

using MakeContender = std::function<std::unique_ptr<Contender>()>;

template <class Work>
MakeContender contender(Work work) {
    return [work = std::move(work)] { return std::make_unique<ContenderOf<Work>>(work); };
}

void addWorkload(Workload workload, MakeContender ours);
void addPeer(Peer peer, MakeContender theirs);

template <class Work>
void ours(Workload workload, Work work) {
    addWorkload(std::move(workload), contender(std::move(work)));
}

template <class Work>
void theirs(Peer peer, Work work) {
    addPeer(std::move(peer), contender(std::move(work)));
}

// Adds workloads or peers before main() uses them: one at namespace scope in each source.
class Source {
public:
    explicit Source(void (*add)()) noexcept : m_add(add), m_next(s_last) { s_last = this; }
    static void addAll();

private:
    static constinit inline const Source* s_last = nullptr;

    void (*m_add)();
    const Source* m_next;
};

// Works that append to a text or to bytes, and ones that fill an array and return how much they
// wrote; `room` says how much they may, for an input of so many bytes. Nothing comes out of an
// append that fails, which ends the run.
template <class Append>
auto toText(Append append) {
    return [append, out = StringBuffer()](std::string_view in) mutable {
        out.weakClear();
        return append(in, out) ? out.view() : std::string_view();
    };
}

template <class Append>
auto toBytes(Append append) {
    return [append, out = DataBuffer()](std::string_view in) mutable {
        out.clear();
        return append(in, out) ? text(out.getData2(), out.getSize()) : std::string_view();
    };
}

template <class Fill>
auto toArray(std::size_t (*room)(std::size_t n), Fill fill) {
    return [room, fill, out = std::vector<char>()](std::string_view in) mutable {
        if (out.empty()) out.resize(room(in.size()));
        return std::string_view(out.data(), fill(in, out.data()));
    };
}

inline std::size_t asMuch(std::size_t n) { return n + 16; }
inline std::size_t twice(std::size_t n) { return 2 * n + 128; }
inline std::size_t fourTimes(std::size_t n) { return 4 * n + 128; }

// Checks that every peer does the same work, runs the rows that the benchmark filter selects, and
// prints the table.
int run();

}  // namespace bench

#endif
