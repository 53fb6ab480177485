#ifndef CONTENTCODING_BYTES_HPP
#define CONTENTCODING_BYTES_HPP

#include <concepts>
#include <cstddef>
#include <ranges>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

/// @file
/// What all formats share: views of what is read and written, containers, and sinks.

namespace contentcoding {

namespace detail {

template <class T>
concept Byte = std::same_as<T, char> || std::same_as<T, unsigned char> ||
    std::same_as<T, char8_t> || std::same_as<T, std::byte>;

template <class R>
concept ByteRange = std::ranges::contiguous_range<R> && std::ranges::sized_range<R> &&
    Byte<std::remove_cv_t<std::ranges::range_value_t<R>>>;

}  // namespace detail

/// A view of bytes that are read. It owns nothing: what it was made of must outlive it.
///
/// Converts from `std::string`, `std::string_view`, a literal (without its NUL), a NUL-terminated
/// `const char*` (null is empty), and any contiguous range of `char`, `unsigned char`, `char8_t` or
/// `std::byte`. Lengths are bytes. NUL bytes inside are data.
///
///     contentcoding::Bytes view = "abc";          // 3 bytes
///     contentcoding::Bytes all = std::vector<std::byte>(8);
class Bytes {
public:
    constexpr Bytes() = default;

    Bytes(const void* data, std::size_t size)
        : m_data(static_cast<const unsigned char*>(data)), m_size(data ? size : 0) {}

    /// A literal, or another array of constant characters: one NUL at its end is not counted.
    template <class T, std::size_t N>
    requires std::same_as<T, const char> || std::same_as<T, const char8_t> Bytes(T (&array)[N])
        : Bytes(array, N - (array[N - 1] == T{} ? 1 : 0)) {}

    /// Any other array, whole.
    template <class T, std::size_t N>
    requires detail::Byte<std::remove_const_t<T>> &&
        (!std::same_as<T, const char>)&&(!std::same_as<T, const char8_t>)Bytes(T (&array)[N])
        : Bytes(array, N) {}

    template <class P>
    requires std::same_as < std::remove_cvref_t<P>,
    const char* > || std::same_as<std::remove_cvref_t<P>, char*> Bytes(P&& text)
        : Bytes(text, text ? std::string_view(text).size() : 0) {}

    template <detail::ByteRange R>
    requires(!std::is_array_v<std::remove_cvref_t<R>>) &&
        (!std::same_as<std::remove_cvref_t<R>, Bytes>)Bytes(const R& range)
        : Bytes(std::ranges::data(range), std::ranges::size(range)) {}

    /// Null when nothing was ever viewed.
    const unsigned char* data() const { return m_data; }
    std::size_t size() const { return m_size; }
    bool empty() const { return m_size == 0; }
    const unsigned char* begin() const { return m_data; }
    const unsigned char* end() const { return m_data + m_size; }

    /// The same bytes as characters.
    std::string_view text() const { return {reinterpret_cast<const char*>(m_data), m_size}; }

private:
    const unsigned char* m_data = nullptr;
    std::size_t m_size = 0;
};

/// A view of memory that is written to: any contiguous range of a byte type that is not constant.
///
///     std::array<char, 64> room;
///     auto written = contentcoding::base64::encodeInto(room, "abc");
class Room {
public:
    constexpr Room() = default;

    Room(void* data, std::size_t size)
        : m_data(static_cast<char*>(data)), m_size(data ? size : 0) {}

    template <detail::ByteRange R>
    requires(!std::is_const_v<std::remove_reference_t<std::ranges::range_reference_t<R>>>) &&
        (!std::same_as<std::remove_cvref_t<R>, Room>)Room(R&& range)
        : Room(std::ranges::data(range), std::ranges::size(range)) {}

    char* data() const { return m_data; }
    std::size_t size() const { return m_size; }
    char* begin() const { return m_data; }
    char* end() const { return m_data + m_size; }

private:
    char* m_data = nullptr;
    std::size_t m_size = 0;
};

/// What results are written to: `std::string`, or a `std::vector` of a byte type. What was in it
/// stays in front, whatever happens.
template <class C>
concept Container = detail::Byte<typename C::value_type> && std::ranges::contiguous_range<C> &&
    requires(C& c, std::size_t n) {
    c.resize(n);
    { c.size() } -> std::convertible_to<std::size_t>;
};

/// What takes the blocks of a stream: any callable that takes a `std::string_view`. It returns
/// nothing, or whether the work is to go on: false ends it. The block is valid during the call.
template <class S>
concept Sink = std::invocable<S&, std::string_view>;

namespace detail {

// A container of whatever type, for compiled code to append to.
struct Growth {
    void* container;
    // Makes the container `size` bytes long, and returns where they are.
    char* (*resize)(void* container, std::size_t size);
    std::size_t size;  // that of the container at present
};

template <Container C>
char* resizeForOverwrite(C& container, std::size_t size) {
#if defined(__cpp_lib_string_resize_and_overwrite)
    if constexpr (std::same_as<C, std::string>) {
        container.resize_and_overwrite(size, [](char*, std::size_t n) { return n; });
        return container.data();
    }
#elif defined(_LIBCPP_VERSION)
    if constexpr (std::same_as<C, std::string>) {
        container.__resize_default_init(size);
        return container.data();
    }
#endif
    container.resize(size);
    return reinterpret_cast<char*>(container.data());
}

template <Container C>
Growth growthOf(C& container) {
    return {&container,
            [](void* c, std::size_t size) { return resizeForOverwrite(*static_cast<C*>(c), size); },
            container.size()};
}

// A sink of whatever type.
struct SinkRef {
    template <Sink S>
    requires(!std::same_as<std::remove_cvref_t<S>, SinkRef>) SinkRef(S&& sink)
        : callable(const_cast<void*>(static_cast<const void*>(std::addressof(sink)))),
          take([](void* c, std::string_view block) -> bool {
              auto& s = *static_cast<std::remove_reference_t<S>*>(c);
              if constexpr (std::is_void_v<std::invoke_result_t<S&, std::string_view>>) {
                  s(block);
                  return true;
              } else {
                  return static_cast<bool>(s(block));
              }
          }) {}

    void* callable;
    bool (*take)(void* callable, std::string_view block);
};

}  // namespace detail

}  // namespace contentcoding

#endif
