#ifndef CODEC_BASE58_H
#define CODEC_BASE58_H

#include <memory>
#include <new>

#include "codec/BigNumber.h"
#include "codec/Window.h"
#include "contentcoding/base58.hpp"

// Private: both conversions of Base58, in steps. What a result takes is known before any of it is
// written, and the memory to work in is the caller's.

namespace contentcoding::base58 {

// The text of bytes.
class ToText {
public:
    explicit ToText(Bytes bytes);

    // How many words convert() needs; 0: none.
    std::uint64_t workSize() const;
    Result<void> convert(std::uint64_t* work);  // always succeeds
    std::uint64_t size() const;
    [[nodiscard]] bool write(Window& out) const;

private:
    std::size_t m_zeros;          // in front of the number
    const unsigned char* m_next;  // the number
    const unsigned char* m_end;
    BigNumber m_number;                   // in limbs
    char m_first[kLimbDigits] = {};       // the digits of the highest limb
    std::size_t m_skipped = kLimbDigits;  // of these, in front
};

// The bytes of text.
class ToBytes {
public:
    ToBytes(Bytes text, const Accept& accept);

    std::uint64_t workSize() const;
    Result<void> convert(std::uint64_t* work);
    std::uint64_t size() const;
    [[nodiscard]] bool write(Window& out) const;

private:
    bool isSkipped(char c) const;
    std::uint64_t takeValue(std::size_t count, unsigned int& found);
    Error faultIn(std::string_view digits) const;

    Accept m_accept;
    std::string_view m_text;    // all of it
    std::string_view m_digits;  // what follows the zeros
    std::size_t m_zeros = 0;
    std::size_t m_count;         // of the digits that follow
    BigNumber m_number;          // in words
    unsigned int m_skipped = 0;  // bytes of the highest word that are not part of the number
};

// Memory to work in; false when it is short.
class Work {
public:
    explicit Work(std::uint64_t words) : m_isShort(words > 0) {
        if (words == 0 || words > static_cast<std::size_t>(-1) / sizeof(std::uint64_t)) return;
        m_words.reset(new (std::nothrow) std::uint64_t[static_cast<std::size_t>(words)]);
        m_isShort = !m_words;
    }
    explicit operator bool() const { return !m_isShort; }
    std::uint64_t* get() const { return m_words.get(); }

private:
    std::unique_ptr<std::uint64_t[]> m_words;
    bool m_isShort;
};

}  // namespace contentcoding::base58

#endif
