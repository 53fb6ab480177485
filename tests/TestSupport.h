#ifndef TESTS_TESTSUPPORT_H
#define TESTS_TESTSUPPORT_H

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "codec/ContentCoding.h"

using namespace std::string_literals;
using namespace std::string_view_literals;

inline std::string str(const StringBuffer& text) { return std::string(text.view()); }

inline std::string str(const DataBuffer& bytes) {
    return {bytes.view().begin(), bytes.view().end()};
}

inline unsigned int size32(std::string_view text) { return static_cast<unsigned int>(text.size()); }

// A heap copy of exactly the text's size, so that a sanitizer sees a read past its end.
class ExactCopy {
public:
    explicit ExactCopy(std::string_view text) : m_bytes(new char[text.size()]) {
        text.copy(m_bytes.get(), text.size());
    }
    const char* get() const { return m_bytes.get(); }
    unsigned char* bytes() const { return reinterpret_cast<unsigned char*>(m_bytes.get()); }

private:
    std::unique_ptr<char[]> m_bytes;
};

// Memory between two pages that cannot be touched.
class GuardedPage {
public:
    GuardedPage() {
        mprotect(m_pages, kPage, PROT_NONE);
        mprotect(m_pages + 2 * kPage, kPage, PROT_NONE);
    }
    ~GuardedPage() { munmap(m_pages, 3 * kPage); }
    GuardedPage(const GuardedPage&) = delete;
    GuardedPage& operator=(const GuardedPage&) = delete;

    // `n` bytes right after the first guard, or right before the second one.
    unsigned char* atStart() const { return m_pages + kPage; }
    unsigned char* atEnd(std::size_t n) const { return m_pages + 2 * kPage - n; }

private:
    static constexpr std::size_t kPage = 65536;
    unsigned char* m_pages = static_cast<unsigned char*>(
        mmap(nullptr, 3 * kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
};

// Zeros that need addresses but no memory, as long as they are only read: 2^32 bytes, or more. Null
// where there are not that many addresses.
class ZeroPages {
public:
    explicit ZeroPages(std::uint64_t size = 1ull << 32, int access = PROT_READ)
        : m_size(sizeof(void*) > 4 ? static_cast<std::size_t>(size) : 4096),
          m_pages(
              mmap(nullptr, m_size, access, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)) {}
    ~ZeroPages() { munmap(m_pages, m_size); }
    ZeroPages(const ZeroPages&) = delete;
    ZeroPages& operator=(const ZeroPages&) = delete;

    char* get() const { return sizeof(void*) > 4 ? static_cast<char*>(m_pages) : nullptr; }

private:
    const std::size_t m_size;
    void* const m_pages;
};

// `n` times the unit.
inline std::string x(std::size_t n, const std::string& unit = "A") {
    std::string text;
    while (n-- > 0)
        text += unit;
    return text;
}

// Bytes without a pattern, the same in every run.
inline std::string noise(std::size_t n) {
    std::string bytes(n, '\0');
    unsigned int state = 12345;
    for (char& b : bytes)
        b = static_cast<char>((state = state * 1103515245u + 12345u) >> 16);
    return bytes;
}

// Keeps the blocks that it takes, the refused one included, and refuses the one at `refused`.
class RecordingOutput final : public _zqOutput {
public:
    explicit RecordingOutput(std::size_t refused = ~std::size_t{0}) : m_refused(refused) {}

    bool writeBytes(const char* data, unsigned int n, _zqIoParams&, LogBase&) override {
        blocks.emplace_back(data, n);
        return blocks.size() - 1 != m_refused;
    }

    std::string all() const {
        std::string joined;
        for (const auto& block : blocks)
            joined += block;
        return joined;
    }

    std::vector<std::string> blocks;

private:
    std::size_t m_refused;
};

// Calls `visit` with every string over `alphabet` of up to `longest` characters.
template <class Visit>
void forEachString(std::string_view alphabet, std::size_t longest, Visit visit,
                   const std::string& start = {}) {
    visit(start);
    if (start.size() == longest) return;
    for (const char c : alphabet)
        forEachString(alphabet, longest, visit, start + c);
}

// The name of a table's row as a test's name.
template <class Case>
std::string byName(const testing::TestParamInfo<Case>& info) {
    return info.param.name;
}

#endif
