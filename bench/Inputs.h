#ifndef BENCH_INPUTS_H
#define BENCH_INPUTS_H

#include <string>
#include <string_view>
#include <vector>

// Inputs, the same in every run.

namespace bench {

// Pseudo-random numbers.
class Noise {
public:
    // A number below `limit`, which has at most 16 bits.
    unsigned int below(unsigned int limit) {
        m_state = m_state * 1103515245u + 12345u;
        return (m_state >> 16) % limit;
    }

private:
    unsigned int m_state = 12345;
};

// Bytes that do not begin with a zero byte. CR and LF are not among them, because libraries differ
// on a CR or LF alone.
std::string noise(std::size_t n);

// Prose in lines of mail that end with CRLF; in the second, every other word is Cyrillic, in UTF-8.
std::string english(std::size_t n);
std::string halfCyrillic(std::size_t n);

// The first `n` bytes of a text, without a space, a cut escape or a cut character at the end.
std::string upTo(std::size_t n, std::string text);

// The three inputs for formats with escapes.
struct Prose {
    std::string name;
    std::string (*make)(std::size_t n);
};
const std::vector<Prose>& proses();

}  // namespace bench

#endif
