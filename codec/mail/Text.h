#ifndef CODEC_MAIL_TEXT_H
#define CODEC_MAIL_TEXT_H

#include <algorithm>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "contentcoding/header.hpp"
#include "support/CharsetTable.h"
#include "support/charset/Conversion.h"

// Private: the bytes of mail become UTF-8 without control characters, whatever they are.

namespace contentcoding::mail {

// The defects of one value, as they are found.
class Defects {
public:
    Defects(std::vector<Error>& list, std::size_t most) : m_list(list), m_most(most) {}

    void add(Fault fault, std::uint64_t offset, const char* detail = nullptr) {
        if (m_list.size() < m_most) m_list.push_back({fault, offset, detail});
    }
    void sort() {
        std::stable_sort(m_list.begin(), m_list.end(),
                         [](const Error& a, const Error& b) { return a.offset < b.offset; });
    }

private:
    std::vector<Error>& m_list;
    const std::size_t m_most;
};

// The charset that senders mean by a label, and whether it is ASCII or one of the charsets that are
// read as a larger one, if the label is known.
[[nodiscard]] std::optional<Charset> charsetOfSenders(std::string_view label);

// The characters that header::Controls is about.
constexpr bool isControl(char32_t c) {
    return (c < 0x20 && c != '\t') || (c >= 0x7F && c < 0xA0) || (c >= 0x2028 && c <= 0x202E) ||
           (c >= 0x2066 && c <= 0x2069);
}

// Where in the value the bytes from `at` on come from.
struct Place {
    std::size_t at;
    std::uint64_t offset;
};

class TextReader {
public:
    TextReader(const header::Decoding& options, Defects& defects)
        : m_options(options), m_defects(defects) {}
    ~TextReader();
    TextReader(const TextReader&) = delete;
    TextReader& operator=(const TextReader&) = delete;

    const header::Decoding& options() const { return m_options; }
    Defects& defects() { return m_defects; }

    // Appends text that stands in the value as it is: unfolded, from UTF-8 or the fallback charset.
    void appendRaw(std::string_view text, std::uint64_t offset, std::string& out);

    // Appends bytes in the charset of that label. `places` has one at least, the first at 0.
    void append(std::string_view bytes, std::string_view label, std::span<const Place> places,
                std::string& out);

    // Whether one word more is within the limit.
    bool takeWord() { return m_words < m_options.limits.words && ++m_words > 0; }

private:
    void appendUnlabelled(std::string_view bytes, std::uint64_t offset, std::string& out);
    bool appendIso2022(std::string_view bytes, std::uint64_t offset, std::string& out);
    bool convert(std::string_view bytes, const Charset& charset, std::span<const Place> places,
                 Handling handling, std::string& out);
    void appendClean(std::string_view utf8, std::uint64_t offset, std::string& out);
    void takeControl(char32_t c, std::string_view utf8, std::uint64_t offset, std::string& out);
    std::size_t takeLineEnd(std::string_view text, std::uint64_t offset, std::string& out);
    std::unique_ptr<OpenConverters>* convertersFor(const Charset& charset);

    // Every charset needs a converter of its own, which takes memory and time to open. One more is
    // for the last resort.
    static constexpr std::size_t kMostConverters = 63;
    struct Open {
        std::string_view converter;
        std::unique_ptr<OpenConverters> converters;
    };

    const header::Decoding& m_options;
    Defects& m_defects;
    std::vector<Open> m_open;
    std::string m_converted;
    std::size_t m_words = 0;
};

}  // namespace contentcoding::mail

#endif
