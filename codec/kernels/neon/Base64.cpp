#include <arm_neon.h>

#include <cstring>

#include "codec/kernels/neon/Neon.h"
#include "codec/kernels/scalar/Scalar.h"

namespace contentcoding::neon {
namespace {

constexpr std::size_t kBlockGroups = 16;  // 48 bytes, 64 characters
constexpr std::size_t kBlockBytes = 48;
constexpr std::size_t kBlockChars = 64;

uint8x16x4_t table64(const unsigned char* p) {
    return {{vld1q_u8(p), vld1q_u8(p + 16), vld1q_u8(p + 32), vld1q_u8(p + 48)}};
}

// The load gives register i the byte i of each of sixteen groups, and the store does the reverse.
// So every lane is a group of its own:
//   val[0]     val[1]     val[2]          val[0]     val[1]     val[2]     val[3]
//   aaaaaabb   bbbbcccc   ccdddddd   ->   00aaaaaa   00bbbbbb   00cccccc   00dddddd
void encodeBlock(const unsigned char* bytes, const uint8x16x4_t& digits, char* text) {
    const uint8x16x3_t in = vld3q_u8(bytes);
    const uint8x16_t low6 = vdupq_n_u8(0x3F);
    uint8x16x4_t out;
    out.val[0] = vshrq_n_u8(in.val[0], 2);
    out.val[1] = vandq_u8(vsliq_n_u8(vshrq_n_u8(in.val[1], 4), in.val[0], 4), low6);
    out.val[2] = vandq_u8(vsliq_n_u8(vshrq_n_u8(in.val[2], 6), in.val[1], 2), low6);
    out.val[3] = vandq_u8(in.val[2], low6);
    for (uint8x16_t& values : out.val)
        values = vqtbl4q_u8(digits, values);
    vst4q_u8(reinterpret_cast<unsigned char*>(text), out);
}

// The values of sixteen characters; for those from 0x80 up, which both look-ups leave alone,
// kBase64Skipped.
uint8x16_t valuesOfDigits(uint8x16_t chars, const uint8x16x4_t& low, const uint8x16x4_t& high) {
    const uint8x16_t skipped = vdupq_n_u8(kBase64Skipped);
    const uint8x16_t fromLow = vqtbx4q_u8(skipped, low, chars);
    return vqtbx4q_u8(fromLow, high, vsubq_u8(chars, vdupq_n_u8(64)));
}

// False, and nothing written, if one of the 64 characters is not a digit.
bool decodeBlock(const char* text, const uint8x16x4_t& low, const uint8x16x4_t& high,
                 unsigned char* bytes) {
    uint8x16x4_t in = vld4q_u8(reinterpret_cast<const unsigned char*>(text));
    for (uint8x16_t& chars : in.val)
        chars = valuesOfDigits(chars, low, high);
    const uint8x16_t all = vorrq_u8(vorrq_u8(in.val[0], in.val[1]), vorrq_u8(in.val[2], in.val[3]));
    if (vmaxvq_u8(all) > 63) return false;
    uint8x16x3_t out;
    out.val[0] = vorrq_u8(vshlq_n_u8(in.val[0], 2), vshrq_n_u8(in.val[1], 4));
    out.val[1] = vorrq_u8(vshlq_n_u8(in.val[1], 4), vshrq_n_u8(in.val[2], 2));
    out.val[2] = vorrq_u8(vshlq_n_u8(in.val[2], 6), in.val[3]);
    vst3q_u8(bytes, out);
    return true;
}

}  // namespace

void encodeBase64(const unsigned char* bytes, std::size_t groups, const Base64Format& format,
                  char* text) {
    const uint8x16x4_t digits = table64(reinterpret_cast<const unsigned char*>(format.alphabet));
    while (groups > 0) {
        const std::size_t inLine = groups < format.lineGroups ? groups : format.lineGroups;
        std::size_t left = inLine;
        for (; left >= kBlockGroups; left -= kBlockGroups) {
            encodeBlock(bytes, digits, text);
            bytes += kBlockBytes;
            text += kBlockChars;
        }
        scalar::encodeGroups(bytes, left, format.alphabet, text);
        bytes += left * 3;
        text += left * 4;
        groups -= inLine;
        if (inLine < format.lineGroups) break;
        std::memcpy(text, format.lineBreak, format.breakSize);
        text += format.breakSize;
    }
}

// In a caller's table a character from 0x80 up may be a digit; such tables go to the portable
// kernel.
Transfer decodeBase64(const char* text, std::size_t n, const Base64Values& values,
                      unsigned char* bytes) {
    if (values.alphabet == Base64Values::kOther)
        return scalar::decodeBase64(text, n, values, bytes);
    const uint8x16x4_t low = table64(values.entry), high = table64(values.entry + 64);
    Transfer done{0, 0};
    while (n - done.read >= kBlockChars) {
        if (decodeBlock(text + done.read, low, high, bytes + done.written)) {
            done.read += kBlockChars;
            done.written += kBlockBytes;
            continue;
        }
        // Quantum by quantum up to the foreign character, past it, and on to the next block.
        const Transfer some =
            scalar::decodeBase64(text + done.read, kBlockChars, values, bytes + done.written);
        const Transfer one =
            scalar::decodeQuantum(text + done.read + some.read, n - done.read - some.read, values,
                                  bytes + done.written + some.written);
        done.read += some.read + one.read;
        done.written += some.written + one.written;
        if (one.read == 0) return done;
    }
    const Transfer rest =
        scalar::decodeBase64(text + done.read, n - done.read, values, bytes + done.written);
    return {done.read + rest.read, done.written + rest.written};
}

}  // namespace contentcoding::neon
