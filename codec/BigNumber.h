#ifndef CODEC_BIGNUMBER_H
#define CODEC_BIGNUMBER_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

// Private: the arithmetic of Base58, whose numbers have as many digits as it takes.

namespace contentcoding {

struct Wide {
    std::uint64_t high, low;
};

// a * b + c, which two words always hold.
inline Wide multiplyAdd(std::uint64_t a, std::uint64_t b, std::uint64_t c) {
#ifdef __SIZEOF_INT128__
    __extension__ using Number = unsigned __int128;
    const Number product = Number{a} * b + c;
    return {static_cast<std::uint64_t>(product >> 64), static_cast<std::uint64_t>(product)};
#else
    constexpr std::uint64_t kHalf = 0xFFFFFFFF;
    const std::uint64_t low = (a & kHalf) * (b & kHalf) + (c & kHalf);
    const std::uint64_t cross = (a >> 32) * (b & kHalf) + (low >> 32) + (c >> 32);
    const std::uint64_t middle = (a & kHalf) * (b >> 32) + (cross & kHalf);
    return {(a >> 32) * (b >> 32) + (cross >> 32) + (middle >> 32), middle << 32 | (low & kHalf)};
#endif
}

constexpr unsigned int kLimbDigits = 10;

constexpr std::uint64_t powerOf58(unsigned int exponent) {
    std::uint64_t power = 1;
    while (exponent-- > 0)
        power *= 58;
    return power;
}

// A number in base 58 is held in limbs of ten digits: 58^10 is just below 2^59.
constexpr std::uint64_t kLimb = powerOf58(kLimbDigits);
static_assert(kLimb >> 58 == 1);

// Division of two words by kLimb, whose quotient fits in one, with the reciprocal of the
// normalised divisor (N. Moeller, T. Granlund, Improved division by invariant integers, 2011).
constexpr unsigned int kShift = 5;
constexpr std::uint64_t kNormal = kLimb << kShift;

// (2^128 - 1) / kNormal - 2^64, by long division, bit by bit.
constexpr std::uint64_t kReciprocal = [] {
    std::uint64_t quotient = 0, rest = ~kNormal;
    for (int i = 0; i < 64; ++i) {
        const bool carry = rest >> 63 != 0;
        rest = rest << 1 | 1;
        const bool fits = carry || rest >= kNormal;
        quotient = quotient << 1 | std::uint64_t{fits};
        if (fits) rest -= kNormal;
    }
    return quotient;
}();

// Replaces high by the remainder of (high, low) and returns the quotient. high < kLimb.
inline std::uint64_t divideByLimb(std::uint64_t& high, std::uint64_t low) {
    const std::uint64_t u1 = high << kShift | low >> (64 - kShift), u0 = low << kShift;
    const Wide q = multiplyAdd(kReciprocal, u1, u0);
    std::uint64_t quotient = q.high + u1 + 1;
    std::uint64_t rest = u0 - quotient * kNormal;
    // As often as not, so it is done without a branch.
    const std::uint64_t tooMuch = 0 - std::uint64_t{rest > q.low};
    quotient += tooMuch;
    rest += tooMuch & kNormal;
    if (rest >= kNormal) {
        ++quotient;
        rest -= kNormal;
    }
    high = rest >> kShift;
    return quotient;
}

// A number of words or limbs, the least significant one first, in memory of the caller's, or its
// own for what addresses and keys take.
class BigNumber {
public:
    // How many words the caller has to provide for a number of so many; 0: none.
    static constexpr std::uint64_t workSize(std::uint64_t words) {
        return words <= kSmall ? 0 : words;
    }

    BigNumber() = default;
    BigNumber(const BigNumber&) = delete;
    BigNumber& operator=(const BigNumber&) = delete;

    // Has the number, still zero, in memory for workSize() words; null: in its own.
    void workIn(std::uint64_t* words) { m_words = words ? words : m_small; }
    std::size_t size() const { return m_size; }
    std::uint64_t operator[](std::size_t i) const { return m_words[i]; }

    // The most limbs that shiftIn needs beyond those that the number has before.
    template <std::size_t Count>
    static constexpr std::size_t kGrowth = Count * 64 / 58 + 1;

    // In limbs: puts words after the number, the most significant one first.
    template <std::size_t Count>
    void shiftIn(std::array<std::uint64_t, Count> words) {
        grow(kGrowth<Count>);
        wave<Count>(
            [&](std::uint64_t& limb, std::size_t k) { words[k] = divideByLimb(limb, words[k]); });
        trim();
    }

    // In limbs: the number of few words, the most significant one first, which are used up.
    template <std::size_t Most>
    void divide(std::array<std::uint64_t, Most>& words, std::size_t count) {
        for (std::size_t first = 0; first < count;) {
            std::uint64_t rest = 0;
            for (std::size_t i = first; i < count; ++i)
                words[i] = divideByLimb(rest, words[i]);
            m_words[m_size++] = rest;
            while (first < count && words[first] == 0)
                ++first;
        }
    }

    // In words: multiplies by `factor` and adds, for each of the addends.
    template <std::size_t Count>
    void multiplyAdd(std::uint64_t factor, std::array<std::uint64_t, Count> addends) {
        grow(Count);
        wave<Count>([&](std::uint64_t& word, std::size_t k) {
            const Wide product = contentcoding::multiplyAdd(word, factor, addends[k]);
            word = product.low;
            addends[k] = product.high;
        });
        trim();
    }

private:
    static constexpr std::size_t kSmall = 16;

    void grow(std::size_t n) {
        std::fill_n(m_words + m_size, n, 0);
        m_size += n;
    }
    void trim() {
        while (m_size > 0 && m_words[m_size - 1] == 0)
            --m_size;
    }

    // Takes each of `Count` steps through all words, the carries of one behind those of the one
    // before, so that the processor has several carries to work on at a time.
    template <std::size_t Count, class Step>
    void wave(Step step) {
        const auto some = [&](std::size_t i) {
            for (std::size_t k = 0; k < Count; ++k)
                if (k <= i && i - k < m_size) step(m_words[i - k], k);
        };
        std::size_t i = 0;
        for (; i + 1 < Count; ++i)
            some(i);
        for (; i < m_size; ++i)
            for (std::size_t k = 0; k < Count; ++k)
                step(m_words[i - k], k);
        for (; i < m_size + Count - 1; ++i)
            some(i);
    }

    std::uint64_t m_small[kSmall];
    std::uint64_t* m_words = m_small;
    std::size_t m_size = 0;
};

}  // namespace contentcoding

#endif
