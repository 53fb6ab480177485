#include "support/Graphemes.h"

#include <unicode/uchar.h>

#include "support/charset/Utf8.h"

namespace contentcoding {
namespace {

// Whether the character is a cluster, unless what follows belongs to it: true for most of Latin,
// Greek, Cyrillic, Armenian, Kana and Han.
constexpr bool isPlain(char32_t c) {
    return (c >= 0x20 && c < 0x7F) || (c >= 0xB0 && c < 0x300) || (c >= 0x370 && c < 0x483) ||
           (c >= 0x48A && c < 0x590) || (c >= 0x3041 && c < 0x3097) ||
           (c >= 0x30A1 && c < 0x30FB) || (c >= 0x4E00 && c < 0xA000);
}

// What stands before a place where a cluster may end.
class Before {
public:
    explicit Before(char32_t first) { take(first); }

    // Whether the cluster goes on with `next`, which is taken into account then. The rules are
    // those of table 2, from GB3 on.
    bool goesOnWith(char32_t next) {
        if (!joins(breakOf(next), next)) return false;
        take(next);
        return true;
    }

private:
    static int breakOf(char32_t c) {
        return u_getIntPropertyValue(static_cast<UChar32>(c), UCHAR_GRAPHEME_CLUSTER_BREAK);
    }
    static bool isPicture(char32_t c) {
        return u_hasBinaryProperty(static_cast<UChar32>(c), UCHAR_EXTENDED_PICTOGRAPHIC) != 0;
    }
    static bool isControl(int b) { return b == U_GCB_CONTROL || b == U_GCB_CR || b == U_GCB_LF; }

    bool joins(int b, char32_t next) const {
        if (m_last == U_GCB_CR && b == U_GCB_LF) return true;
        if (isControl(m_last) || isControl(b)) return false;
        if (m_last == U_GCB_L && (b == U_GCB_L || b == U_GCB_V || b == U_GCB_LV || b == U_GCB_LVT))
            return true;
        if ((m_last == U_GCB_LV || m_last == U_GCB_V) && (b == U_GCB_V || b == U_GCB_T))
            return true;
        if ((m_last == U_GCB_LVT || m_last == U_GCB_T) && b == U_GCB_T) return true;
        if (b == U_GCB_EXTEND || b == U_GCB_ZWJ || b == U_GCB_SPACING_MARK) return true;
        if (m_last == U_GCB_PREPEND) return true;
        if (m_last == U_GCB_ZWJ && m_joinsPicture && isPicture(next)) return true;
        return b == U_GCB_REGIONAL_INDICATOR && m_oddIndicators;
    }

    void take(char32_t c) {
        const int b = breakOf(c);
        // A picture and marks after it, up to a joiner.
        m_joinsPicture = isPicture(c) || (m_joinsPicture && (b == U_GCB_EXTEND || b == U_GCB_ZWJ));
        m_oddIndicators = b == U_GCB_REGIONAL_INDICATOR && !m_oddIndicators;
        m_last = b;
    }

    int m_last = U_GCB_OTHER;
    bool m_joinsPicture = false;
    bool m_oddIndicators = false;
};

}  // namespace

std::size_t clusterLength(std::string_view utf8, std::size_t most) {
    Decoded next = firstOfUtf8(utf8);
    std::size_t n = next.length;
    if (isPlain(next.character) &&
        (n == utf8.size() || isPlain(firstOfUtf8(utf8.substr(n)).character)))
        return n;
    Before before(next.character);
    while (n < utf8.size() && n <= most) {
        next = firstOfUtf8(utf8.substr(n));
        if (!before.goesOnWith(next.character)) break;
        n += next.length;
    }
    return n;
}

}  // namespace contentcoding
