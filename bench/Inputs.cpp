#include "bench/Inputs.h"

#include <span>

namespace bench {

namespace {

constexpr std::string_view kEnglish[] = {
    "the",    "letter", "of",     "a",    "merchant", "who",   "came", "to",     "harbour", "with",
    "twelve", "ships,", "and",    "his",  "brother,", "where", "they", "waited", "for",     "wind",
    "until",  "spring", "should", "come", "again.",   "It",    "was",  "not",    "far",     "away"};

constexpr std::string_view kCyrillic[] = {
    "письмо",     "купца", "который", "пришёл",    "в",     "гавань", "с",     "двенадцатью",
    "кораблями,", "и",     "ждал",    "попутного", "ветра", "до",     "весны."};

// Words from each list in turn, in lines of up to `kLineLength` bytes.
std::string prose(std::size_t n, std::span<const std::span<const std::string_view>> lists) {
    constexpr std::size_t kLineLength = 72;
    Noise random;
    std::string text;
    std::size_t lineStart = 0;
    for (std::size_t i = 0; text.size() < n; ++i) {
        const auto list = lists[i % lists.size()];
        const std::string_view word = list[random.below(static_cast<unsigned int>(list.size()))];
        if (text.size() - lineStart + word.size() > kLineLength) {
            text.back() = '\r';  // instead of the space
            text += '\n';
            lineStart = text.size();
        }
        text.append(word) += ' ';
    }
    return upTo(n, std::move(text));
}

bool continuesCharacter(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

}  // namespace

std::string noise(std::size_t n) {
    Noise random;
    std::string bytes(n, '\0');
    for (char& b : bytes) {
        b = static_cast<char>(random.below(256));
        if (b == '\r' || b == '\n') b = '~';
    }
    bytes.front() |= 1;
    return bytes;
}

std::string english(std::size_t n) {
    return prose(n, std::vector<std::span<const std::string_view>>{kEnglish});
}

std::string halfCyrillic(std::size_t n) {
    return prose(n, std::vector<std::span<const std::string_view>>{kEnglish, kCyrillic});
}

std::string upTo(std::size_t n, std::string text) {
    if (text.size() > n) {
        while (n > 0 && continuesCharacter(text[n]))
            --n;
        text.resize(n);
        const std::size_t escape = text.rfind('=');
        if (escape != std::string::npos && escape + 3 > text.size()) text.resize(escape);
    }
    text.resize(text.find_last_not_of(" \r\n") + 1);
    return text;
}

const std::vector<Prose>& proses() {
    static const std::vector<Prose> all = {
        {"english", english}, {"half-cyrillic", halfCyrillic}, {"random", noise}};
    return all;
}

}  // namespace bench
