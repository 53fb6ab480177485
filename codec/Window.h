#ifndef CODEC_WINDOW_H
#define CODEC_WINDOW_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "codec/kernels/Kernels.h"
#include "contentcoding/bytes.hpp"

// Private: where coders write.

namespace contentcoding {

// A stretch of memory that a coder writes to: the destination's own, where that is possible, else
// a block that is handed over when it is full. A coder asks for room, fills it, says how much it
// wrote, and at the end has everything handed over. What is not handed over when a window goes is
// dropped: so a fault leaves what the format says that it leaves.
class Window {
public:
    // The most that a coder may ask for at once.
    static constexpr std::size_t kMostAsked = 1024;

    Window() = default;
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    // Room for at least `n` characters; empty when the destination takes no more. All of it may be
    // overwritten; only what wrote() counts is kept.
    std::span<char> room(std::size_t n) {
        if (static_cast<std::size_t>(m_end - m_next) < n && !makeRoom(n)) return {};
        return {m_next, m_end};
    }
    void wrote(std::size_t n) { m_next += n; }

    [[nodiscard]] bool put(std::string_view text) {
        const std::span<char> to = room(text.size());
        if (to.empty()) return text.empty();
        std::memcpy(to.data(), text.data(), text.size());
        wrote(text.size());
        return true;
    }
    [[nodiscard]] bool put(char c) { return put({&c, 1}); }

    // Says how much will be written from here on, at most. True when there is room for all of it:
    // then nothing is refused.
    virtual bool expect(std::uint64_t) { return false; }

    // Hands over what is left. Nothing left counts as taken.
    [[nodiscard]] virtual bool finish() = 0;

protected:
    ~Window() = default;

    // Sees to it that `n` characters fit between m_next and m_end.
    virtual bool makeRoom(std::size_t n) = 0;

    char* m_next = nullptr;
    char* m_end = nullptr;
};

inline unsigned char* bytesAt(std::span<char> room) {
    return reinterpret_cast<unsigned char*>(room.data());
}

// In which blocks a destination gets what is written.
struct Blocks {
    // A block is due when this many characters are held.
    std::size_t size;
    // Of these, exactly so many make the block, even if that cuts a unit in two; else it is all
    // that is held after the unit that made it due.
    bool exact;
    // Whether a block that is refused, but for the last one, is dropped and the work goes on.
    bool goesOn = false;

    static constexpr Blocks of(std::size_t size) { return {size, true}; }
    static constexpr Blocks above(std::size_t limit) { return {limit + 1, false}; }
    constexpr Blocks goingOn() const { return {size, exact, true}; }

    // How much of what is held is due.
    constexpr std::size_t due(std::size_t held) const {
        return held < size ? 0 : exact ? held / size * size : held;
    }
    // How far may be written at most before makeRoom() is called, units of `n` characters at a
    // time.
    constexpr std::size_t most(std::size_t n) const {
        return exact ? size + Window::kMostAsked : size - 1 + n;
    }
};

// Hands blocks to a callable `take(const char*, std::size_t)`, which says whether it took them.
// They are kept in an array of its own, of `Size` characters: a block, or several of exact size.
template <class Take, std::size_t Size>
class BlockWindow final : public Window {
public:
    BlockWindow(Take take, Blocks blocks) : m_take(take), m_blocks(blocks) {
        m_next = m_end = m_array;
    }

    bool finish() override {
        if (!handOverDue()) return false;
        const std::size_t rest = held();
        m_next = m_end = m_array;
        return rest == 0 || m_take(m_array, rest);
    }

private:
    std::size_t held() const { return static_cast<std::size_t>(m_next - m_array); }

    bool makeRoom(std::size_t n) override {
        if (!handOverDue()) return false;
        m_end =
            m_array + (m_blocks.exact ? sizeof m_array : std::max(m_blocks.most(n), held() + n));
        return true;
    }

    bool handOverDue() {
        const std::size_t all = held(), due = m_blocks.due(all);
        if (due == 0) return true;
        const std::size_t step = m_blocks.exact ? m_blocks.size : due;
        m_next = m_end = m_array;
        for (std::size_t at = 0; at < due; at += step)
            if (!m_take(m_array + at, step) && !m_blocks.goesOn) return false;
        if (due < all) std::memmove(m_array, m_array + due, all - due);
        m_next = m_array + (all - due);
        return true;
    }

    Take m_take;
    Blocks m_blocks;
    char m_array[Size + kMostAsked];
};

// Memory of a given size. What does not fit is refused.
class SpanWindow final : public Window {
public:
    // A room without memory starts at the array, so that every place has an address.
    explicit SpanWindow(Room room)
        : m_start(room.data() ? room.data() : m_array), m_limit(m_start + room.size()) {
        m_next = m_start;
        m_end = m_limit;
    }

    // How much there is, after finish().
    std::size_t size() const { return static_cast<std::size_t>(m_next - m_start); }

    bool finish() override { return settle(); }

private:
    // The last characters may need less room than is asked for them: they go through an array.
    bool makeRoom(std::size_t n) override {
        if (!settle()) return false;
        if (static_cast<std::size_t>(m_limit - m_next) >= n) return true;
        m_target = m_next;
        m_next = m_array;
        m_end = m_array + sizeof m_array;
        return true;
    }

    // Has all that was written where it belongs.
    bool settle() {
        if (!m_target) return true;
        const auto n = static_cast<std::size_t>(m_next - m_array);
        m_next = m_target;
        m_end = m_limit;
        m_target = nullptr;
        if (n > static_cast<std::size_t>(m_limit - m_next)) return false;
        std::memcpy(m_next, m_array, n);
        m_next += n;
        return true;
    }

    char* m_start;
    char* m_limit;
    char* m_target = nullptr;  // where the array's contents belong; null while it is not in use
    char m_array[kMostAsked];
};

// The end of a container, which grows as it must.
class GrowingWindow final : public Window {
public:
    explicit GrowingWindow(detail::Growth growth) : m_growth(growth) {}
    ~GrowingWindow() {
        if (!m_finished) m_growth.resize(m_growth.container, m_growth.size);
    }

    bool expect(std::uint64_t all) override;
    bool finish() override;

private:
    bool makeRoom(std::size_t n) override;

    // How much the container holds of ours.
    std::size_t used() const { return static_cast<std::size_t>(m_next - m_begin); }
    void resize(std::size_t room);

    detail::Growth m_growth;
    char* m_begin = nullptr;
    bool m_finished = true;
};

}  // namespace contentcoding

#endif
