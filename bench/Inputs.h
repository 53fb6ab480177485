#ifndef BENCH_INPUTS_H
#define BENCH_INPUTS_H

#include <string>
#include <string_view>
#include <vector>

// Inputs, the same in every run.

namespace bench {

// Numbers without a pattern.
class Noise {
public:
    // A number below `limit`, of 16 bits.
    unsigned int below(unsigned int limit) {
        m_state = m_state * 1103515245u + 12345u;
        return (m_state >> 16) % limit;
    }

private:
    unsigned int m_state = 12345;
};

// Bytes that begin with no zero byte. CR and LF are not among them: not everybody takes a single
// one for the same.
std::string noise(std::size_t n);

// Prose in lines of mail, ended by CRLF; of the second one every other word is Cyrillic, in UTF-8.
std::string english(std::size_t n);
std::string halfCyrillic(std::size_t n);

// The first `n` bytes of a text, less what ends with a blank, a cut escape or a cut character.
std::string upTo(std::size_t n, std::string text);

// The three that escapes are measured with.
struct Prose {
    std::string name;
    std::string (*make)(std::size_t n);
};
const std::vector<Prose>& proses();

}  // namespace bench

#endif
