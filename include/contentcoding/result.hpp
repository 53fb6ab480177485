#ifndef CONTENTCODING_RESULT_HPP
#define CONTENTCODING_RESULT_HPP

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "contentcoding/export.hpp"

/// @file
/// How a function says that it failed: what is wrong, and where.

namespace contentcoding {

/// What can be wrong with an input, in any format, and what can stop the work.
enum class Fault : unsigned char {
    kForeignCharacter,  ///< a character that the format does not have, or not there
    kPadding,           ///< padding is missing, surplus, or in the wrong place
    kAfterEnd,          ///< more text after the padding or the frame that ends it
    kLeftoverBits,      ///< bits of the last character that belong to no byte are not zero
    kCutGroup,          ///< the last group is too short to hold a byte
    kGroupTooLarge,     ///< a group of digits is more than its bytes can hold
    kFrame,             ///< the frame around the text is missing, not closed, or not allowed
    kBadEscape,         ///< "=" or "%" without two hexadecimal digits
    kLowerCase,         ///< a letter in the wrong case
    kLongLine,          ///< a line over its limit
    kTrailingSpace,     ///< a space or tab at the end of a line
    kLineEnd,           ///< a line end of the wrong form
    kMalformed,         ///< bytes that are not text in their charset
    kUnmappable,        ///< a character that the charset does not have
    kUnknownCharset,    ///< a charset that is not known
    kUnknownEncoding,   ///< an encoding that is not known
    kSyntax,            ///< a text that breaks the grammar of its format
    kMissing,           ///< something that should be there is not
    kDuplicate,         ///< something stands twice that may stand once
    kControl,           ///< a control character where it is dangerous
    kTooLong,           ///< an input over its limit
    kTooLarge,          ///< a result over its limit
    kNoRoom,            ///< the room for the result is too small
    kStopped,           ///< the sink ended the work
};

/// One fault and its place.
struct Error {
    Fault fault = Fault::kSyntax;

    /// Of the first byte at fault, counted in bytes of the input (of a stream: over all pieces).
    /// Where something is missing, it is where that should stand.
    std::uint64_t offset = 0;

    /// A few words more, or null: what was expected, for faults of syntax. They live for ever.
    const char* detail = nullptr;

    /// A sentence in plain English, without a full stop.
    ///
    ///     std::cerr << contentcoding::base64::decode("S=G").error().message() << '\n';
    CONTENTCODING_EXPORT std::string message() const;

    friend bool operator==(const Error& a, const Error& b) {
        return a.fault == b.fault && a.offset == b.offset;
    }
};

/// A place in a text, for people.
struct Position {
    std::uint64_t line = 1;    ///< from 1; CRLF, CR and LF end a line
    std::uint64_t column = 1;  ///< from 1, in characters of UTF-8; a byte-order mark is not one
};

/// The place of the byte at `offset`; of the end, for an offset past it. Linear.
///
///     const auto [line, column] = contentcoding::position("ab\ncd", 4);  // 2, 2
CONTENTCODING_EXPORT Position position(std::string_view text, std::uint64_t offset);

template <class T>
class Result;

namespace detail {

template <class R>
inline constexpr bool kIsResult = false;
template <class T>
inline constexpr bool kIsResult<Result<T>> = true;

}  // namespace detail

/// A value, or why there is none: the part of `std::expected<T, Error>` that throws nothing.
/// To ask for what is not there is an assertion, and undefined without assertions.
///
///     const auto bytes = contentcoding::base64::decode("QUJD");
///     std::cout << bytes.value_or("not Base64");
template <class T>
class [[nodiscard]] Result {
public:
    using value_type = T;
    using error_type = Error;

    Result(T value) : m_value(std::move(value)) {}
    Result(Error error) : m_error(error) {}

    bool has_value() const { return m_value.has_value(); }
    explicit operator bool() const { return has_value(); }

    T& operator*() & { return assert(m_value), *m_value; }
    const T& operator*() const& { return assert(m_value), *m_value; }
    T&& operator*() && { return assert(m_value), std::move(*m_value); }
    T* operator->() { return assert(m_value), &*m_value; }
    const T* operator->() const { return assert(m_value), &*m_value; }

    const Error& error() const { return assert(!m_value), m_error; }

    template <class U>
    T value_or(U&& other) const& {
        return m_value ? *m_value : static_cast<T>(std::forward<U>(other));
    }
    template <class U>
    T value_or(U&& other) && {
        return m_value ? std::move(*m_value) : static_cast<T>(std::forward<U>(other));
    }

    /// The result of `f` for the value, or the same error.
    template <class F>
    auto transform(F&& f) const& {
        using Made = Result<std::remove_cvref_t<std::invoke_result_t<F, const T&>>>;
        return m_value ? Made(std::invoke(std::forward<F>(f), *m_value)) : Made(m_error);
    }
    template <class F>
    auto transform(F&& f) && {
        using Made = Result<std::remove_cvref_t<std::invoke_result_t<F, T&&>>>;
        return m_value ? Made(std::invoke(std::forward<F>(f), std::move(*m_value))) : Made(m_error);
    }

    /// The same for an `f` that gives a Result itself.
    template <class F>
    auto and_then(F&& f) const& {
        using Made = std::remove_cvref_t<std::invoke_result_t<F, const T&>>;
        static_assert(detail::kIsResult<Made>);
        return m_value ? std::invoke(std::forward<F>(f), *m_value) : Made(m_error);
    }
    template <class F>
    auto and_then(F&& f) && {
        using Made = std::remove_cvref_t<std::invoke_result_t<F, T&&>>;
        static_assert(detail::kIsResult<Made>);
        return m_value ? std::invoke(std::forward<F>(f), std::move(*m_value)) : Made(m_error);
    }

private:
    std::optional<T> m_value;
    Error m_error;
};

/// Success, or why there is none.
template <>
class [[nodiscard]] Result<void> {
public:
    using value_type = void;
    using error_type = Error;

    Result() = default;
    Result(Error error) : m_error(error), m_ok(false) {}

    bool has_value() const { return m_ok; }
    explicit operator bool() const { return m_ok; }
    void operator*() const { assert(m_ok); }
    const Error& error() const { return assert(!m_ok), m_error; }

    template <class F>
    auto transform(F&& f) const {
        using Made = Result<std::remove_cvref_t<std::invoke_result_t<F>>>;
        if constexpr (std::is_void_v<std::invoke_result_t<F>>) {
            if (m_ok) std::invoke(std::forward<F>(f));
            return *this;
        } else {
            return m_ok ? Made(std::invoke(std::forward<F>(f))) : Made(m_error);
        }
    }

    template <class F>
    auto and_then(F&& f) const {
        using Made = std::remove_cvref_t<std::invoke_result_t<F>>;
        static_assert(detail::kIsResult<Made>);
        return m_ok ? std::invoke(std::forward<F>(f)) : Made(m_error);
    }

private:
    Error m_error;
    bool m_ok = true;
};

}  // namespace contentcoding

#endif
