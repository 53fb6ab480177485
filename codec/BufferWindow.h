#ifndef CODEC_BUFFERWINDOW_H
#define CODEC_BUFFERWINDOW_H

#include "codec/Window.h"
#include "support/BufferAccess.h"

// Private: the buffers of the class as something that coders write to.

namespace contentcoding {

// The end of a StringBuffer or a DataBuffer. As far as the buffer has room, text is written where
// it ends up. Where it has not, blocks of `Size` characters at most are kept in an array and
// appended when they are due: so the buffer grows when a block is appended, and what short memory
// leaves behind are whole blocks.
template <class Buffer, std::size_t Size>
class BufferWindow final : public Window {
public:
    BufferWindow(Buffer& out, Blocks blocks) : m_out(out), m_blocks(blocks) {
        m_base = m_next = m_end = m_array;
    }

    ~BufferWindow() { BufferAccess::terminate(m_out); }

    bool expect(std::uint64_t all) override {
        // What lies in the buffer's memory would be lost when that grows.
        if (isDirect() && held() > 0) (void)handOver(held());
        m_hasAll = all <= ByteStorage::kMaxSize && handOverDue() &&
                   BufferAccess::reserve(m_out, static_cast<unsigned int>(all));
        if (m_hasAll) openDirect();
        return m_hasAll;
    }

    bool finish() override {
        if (!handOverDue()) return false;
        const std::size_t rest = held();
        const bool taken = rest == 0 || handOver(rest);
        m_base = m_next = m_end = m_array;
        return taken;
    }

private:
    std::size_t held() const { return static_cast<std::size_t>(m_next - m_base); }
    bool isDirect() const { return m_base != m_array; }

    bool makeRoom(std::size_t n) override {
        if (!handOverDue()) return false;
        // What is asked for may be more than what is needed: with room for all, the last part may
        // have to go through the array.
        if (m_hasAll && held() > 0 && !handOver(held())) return false;
        const std::size_t wanted = m_hasAll ? n : std::max(m_blocks.most(n), held() + n);
        const std::size_t spare = BufferAccess::spare(m_out).size();
        if (spare < wanted) {
            moveTo(m_array);
            m_end = m_base + wanted;
        } else {
            openDirect();
            if (!m_hasAll)
                m_end = m_base +
                        (m_blocks.exact ? m_blocks.due(spare - kMostAsked) + kMostAsked : wanted);
        }
        return true;
    }

    void openDirect() {
        const auto spare = BufferAccess::spare(m_out);
        moveTo(reinterpret_cast<char*>(spare.data()));
        m_end = m_base + spare.size();
    }

    // Has what is held there from now on.
    void moveTo(char* base) {
        const std::size_t n = held();
        if (base != m_base && n > 0) std::memcpy(base, m_base, n);
        m_base = base;
        m_next = base + n;
    }

    bool handOverDue() {
        const std::size_t due = m_blocks.due(held());
        // What lies in the buffer's memory is not refused: one step for all blocks.
        if (isDirect()) return due == 0 || handOver(due);
        for (std::size_t done = 0; done < due;) {
            const std::size_t n = m_blocks.exact ? m_blocks.size : due;
            if (!handOver(n) && !m_blocks.goesOn) return false;
            done += n;
        }
        return true;
    }

    // The first `n` of the characters that are held.
    bool handOver(std::size_t n) {
        const auto size = static_cast<unsigned int>(n);
        if (isDirect()) {
            BufferAccess::count(m_out, m_out.getSize() + size);
            m_base += n;
            return true;
        }
        const bool taken = append(size);
        std::memmove(m_array, m_array + n, held() - n);
        m_next -= n;
        return taken;
    }

    bool append(unsigned int n) {
        if constexpr (std::is_same_v<Buffer, StringBuffer>)
            return m_out.appendN(m_array, n);
        else
            return m_out.append(m_array, n);
    }

    Buffer& m_out;
    Blocks m_blocks;
    bool m_hasAll = false;
    char* m_base;  // what is held and not handed over: in the array, or after the buffer's contents
    char m_array[Size + kMostAsked];
};

}  // namespace contentcoding

#endif
