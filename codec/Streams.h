#ifndef CODEC_STREAMS_H
#define CODEC_STREAMS_H

#include <limits>

#include "codec/Window.h"
#include "contentcoding/result.hpp"

// Private: what the coders of all formats are called by, whatever they write to. A coder is an
// object with write(piece, window) and end(window), whose results say whether they worked.

namespace contentcoding {

// Small enough for a stack, large enough for a sink that does something at each block.
constexpr std::size_t kSinkBlock = 16384;

// For steps of a coder that are too short to hand a Result back.
[[nodiscard]] inline bool fail(const Error& fault, Error& error) {
    error = fault;
    return false;
}

inline Error stopped() { return {Fault::kStopped, 0}; }

template <class Work>
auto throughSink(detail::SinkRef sink, Work work) {
    const auto take = [sink](const char* block, std::size_t n) {
        return sink.take(sink.callable, {block, n});
    };
    BlockWindow<decltype(take), kSinkBlock> out(take, Blocks::of(kSinkBlock));
    auto done = work(out);
    if (done && !out.finish()) {
        if constexpr (std::is_same_v<decltype(done), bool>)
            done = false;
        else
            done = stopped();
    }
    return done;
}

// Some encoders are quicker with bytes that do not come in pieces.
template <class Encoder>
[[nodiscard]] bool writeWhole(Encoder& encoder, Bytes bytes, Window& out) {
    if constexpr (requires { encoder.writeAll(bytes, out); })
        return encoder.writeAll(bytes, out);
    else
        return encoder.write(bytes, out) && encoder.end(out);
}

// All at once, for a container.
template <class Encoder>
void encodeAll(Encoder encoder, Bytes bytes, std::uint64_t expected, detail::Growth container) {
    GrowingWindow out(container);
    out.expect(expected);
    // A container takes all, or throws.
    (void)(writeWhole(encoder, bytes, out) && out.finish());
}

template <class Decoder>
Result<void> decodeAll(Decoder decoder, Bytes text, std::uint64_t expected,
                       detail::Growth container) {
    GrowingWindow out(container);
    out.expect(expected);
    if (const auto done = decoder.write(text, out); !done) return done;
    if (const auto done = decoder.end(out); !done) return done;
    (void)out.finish();
    return {};
}

template <class Encoder>
Result<std::size_t> encodeAllInto(Encoder encoder, Bytes bytes, Room room) {
    SpanWindow out(room);
    if (!writeWhole(encoder, bytes, out) || !out.finish()) return Error{Fault::kNoRoom, 0};
    return out.size();
}

// Where the window refuses, the room is at its end.
template <class Decoder>
Result<std::size_t> decodeAllInto(Decoder decoder, Bytes text, Room room) {
    SpanWindow out(room);
    Result<void> done = decoder.write(text, out);
    if (done) done = decoder.end(out);
    if (done && !out.finish()) done = stopped();
    if (done) return out.size();
    if (done.error().fault != Fault::kStopped) return done.error();
    return Error{Fault::kNoRoom, done.error().offset};
}

// Sizes that may pass the largest std::size_t, which then stands for them.
constexpr std::size_t kLargestSize = std::numeric_limits<std::size_t>::max();
constexpr std::size_t saturatingAdd(std::size_t a, std::size_t b) {
    return a > kLargestSize - b ? kLargestSize : a + b;
}
constexpr std::size_t saturatingMultiply(std::size_t a, std::size_t b) {
    return b > 0 && a > kLargestSize / b ? kLargestSize : a * b;
}

}  // namespace contentcoding

#endif
