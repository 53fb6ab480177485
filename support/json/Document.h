#ifndef SUPPORT_JSON_DOCUMENT_H
#define SUPPORT_JSON_DOCUMENT_H

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>

#include "support/RefCounted.h"

// Private: what a JSON document is held in.

namespace contentcoding {

// The memory of a document: its text, and blocks from which the items and containers are cut.
// Items and containers are never destroyed one by one.
class JsonDocument final : public RefCountedObject {
public:
    static JsonDocument* create() { return new (std::nothrow) JsonDocument; }

    // The memory for a text; call it once. Null when memory is short.
    char* makeText(std::size_t n) {
        m_text.reset(new (std::nothrow) char[n]);
        return m_text.get();
    }

    // `n` bytes for objects of any type; null when memory is short.
    void* allocate(std::size_t n) {
        n = (n + kAlignment - 1) / kAlignment * kAlignment;
        if (n > m_left && !addBlock(n)) return nullptr;
        m_left -= n;
        return std::exchange(m_next, m_next + n);
    }

private:
    struct alignas(std::max_align_t) Block {
        Block* before;
    };
    static constexpr std::size_t kAlignment = alignof(std::max_align_t);
    static constexpr std::size_t kSmallestBlock = 4096, kLargestBlock = 1 << 18;

    JsonDocument() = default;
    ~JsonDocument() override {
        while (Block* const block = m_last) {
            m_last = block->before;
            delete[] reinterpret_cast<char*>(block);
        }
    }

    // Blocks grow, so that a small document takes little memory, and a large one few blocks.
    bool addBlock(std::size_t needed) {
        const std::size_t n = std::max(needed, m_blockSize);
        char* const bytes = new (std::nothrow) char[sizeof(Block) + n];
        if (!bytes) return false;
        m_last = new (bytes) Block{m_last};
        m_next = bytes + sizeof(Block);
        m_left = n;
        m_blockSize = std::min(m_blockSize * 2, kLargestBlock);
        return true;
    }

    std::unique_ptr<char[]> m_text;
    Block* m_last = nullptr;
    char* m_next = nullptr;  // the rest of the last block
    std::size_t m_left = 0;
    std::size_t m_blockSize = kSmallestBlock;
};

}  // namespace contentcoding

#endif
