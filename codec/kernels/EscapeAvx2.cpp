#include <cstring>

#include "codec/kernels/Avx2.h"
#include "codec/kernels/ClassAvx2.h"
#include "codec/kernels/Scalar.h"

namespace contentcoding::avx2 {
namespace {

constexpr std::size_t kBlock = 32;
constexpr std::size_t kLongestEscape = 3;

__m256i load(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
void store(__m256i block, void* p) { _mm256_storeu_si256(static_cast<__m256i*>(p), block); }

constexpr std::size_t kCopied = 8;

// Reads and writes up to 7 characters more.
void copy(const char* from, std::size_t n, char* to) {
    for (std::size_t i = 0; i < n; i += kCopied)
        std::memcpy(to + i, from + i, kCopied);
}

std::size_t smaller(std::size_t a, std::size_t b) { return a < b ? a : b; }

}  // namespace

// A block is stored whole, and counts up to its first byte that is not kept; the rest of it goes
// by the table, which takes the same time for any mixture.
Progress escape(const unsigned char* bytes, std::size_t n, const Escapes& escapes, char* text,
                std::size_t room) {
    const ClassTables kept = tablesOf(escapes.kept);
    Progress done{0, 0};
    while (n - done.read >= kBlock) {
        const __m256i block = load(bytes + done.read);
        const std::uint32_t other = others(block, kept);
        store(block, text + done.written);
        const std::size_t run = smaller(other == 0 ? kBlock : firstBit(other), room - done.written);
        done.read += run;
        done.written += run;
        if (run == kBlock) continue;
        // As many as fit for sure.
        const std::size_t rest = smaller(kBlock - run, (room - done.written) / kLongestEscape);
        const unsigned char* p = bytes + done.read;
        char* to = text + done.written;
        for (const unsigned char* const end = p + rest; p != end; ++p) {
            const Escapes::Entry entry = escapes.of[*p];
            if (entry.length == 0) break;
            std::memcpy(to, entry.text, sizeof entry.text);
            to += entry.length;
        }
        const bool whole = p == bytes + done.read + (kBlock - run);
        done = {static_cast<std::size_t>(p - bytes), static_cast<std::size_t>(to - text)};
        if (!whole) break;
    }
    // What is left of a line is most often one run.
    if (n - done.read < kBlock) {
        const std::size_t run =
            runLength(bytes + done.read, smaller(n - done.read, room - done.written), escapes.kept);
        std::memcpy(text + done.written, bytes + done.read, run);
        done.read += run;
        done.written += run;
    }
    const Progress rest = scalar::escape(bytes + done.read, n - done.read, escapes,
                                         text + done.written, room - done.written);
    return {done.read + rest.read, done.written + rest.written};
}

// The characters of a block that are not kept are known from one look at it, so that reading one
// need not wait for the one before.
Progress unescape(const char* text, std::size_t n, const Unescapes& unescapes, char* bytes,
                  std::size_t room) {
    const ClassTables kept = tablesOf(unescapes.kept);
    Progress done{0, 0};
    // Behind the block, copying reads up to 7 characters, and an escape 2.
    while (n - done.read >= kBlock + kCopied && room - done.written >= kBlock) {
        const char* const start = text + done.read;
        const __m256i block = load(start);
        std::uint32_t other = others(block, kept);
        store(block, bytes + done.written);
        std::size_t at = other == 0 ? kBlock : firstBit(other);  // all before it is done
        done.written += at;
        while (at < kBlock) {
            const auto c = static_cast<unsigned char>(start[at]);
            if (unescapes.length[c] == Unescapes::kEscape) {
                const unsigned int byte = unescapes.escaped(start + at);
                if (byte > 0xFF) return {done.read + at, done.written};
                bytes[done.written++] = static_cast<char>(byte);
                at += kLongestEscape;
                if (at >= kBlock) break;
            } else {
                bytes[done.written] = static_cast<char>(unescapes.text[c]);
                done.written += unescapes.length[c];
                if (++at == kBlock) break;
            }
            other &= other - 1;  // an escape's digits are kept
            const std::size_t next = other == 0 ? kBlock : firstBit(other);
            copy(start + at, next - at, bytes + done.written);
            done.written += next - at;
            at = next;
        }
        done.read += at;
    }
    if (done.read < n) {
        const std::size_t run =
            runLength(reinterpret_cast<const unsigned char*>(text) + done.read,
                      smaller(n - done.read, room - done.written), unescapes.kept);
        std::memcpy(bytes + done.written, text + done.read, run);
        done.read += run;
        done.written += run;
    }
    const Progress rest = scalar::unescape(text + done.read, n - done.read, unescapes,
                                           bytes + done.written, room - done.written);
    return {done.read + rest.read, done.written + rest.written};
}

}  // namespace contentcoding::avx2
