#include "codec/Window.h"

#include <limits>

namespace contentcoding {

bool GrowingWindow::expect(std::uint64_t all) {
    const std::size_t held = used();
    // What is too much for a container is left to it to refuse.
    if (all > std::numeric_limits<std::size_t>::max() - held - m_growth.size) return false;
    resize(held + static_cast<std::size_t>(all));
    return true;
}

bool GrowingWindow::makeRoom(std::size_t n) {
    const auto room = static_cast<std::size_t>(m_end - m_begin);
    resize(std::max(used() + n, room * 2));
    return true;
}

bool GrowingWindow::finish() {
    if (m_begin) m_growth.resize(m_growth.container, m_growth.size + used());
    m_finished = true;
    return true;
}

void GrowingWindow::resize(std::size_t room) {
    m_finished = false;  // also if this throws
    const std::size_t held = used();
    m_begin = m_growth.resize(m_growth.container, m_growth.size + room) + m_growth.size;
    m_next = m_begin + held;
    m_end = m_begin + room;
}

}  // namespace contentcoding
