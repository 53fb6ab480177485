// A sink that refuses a block has seen exactly the blocks up to that one, and the operation returns
// false.
#include <string>
#include <vector>

#include "fuzz/Input.h"

namespace {

using Blocks = std::vector<std::string>;
using Encode = bool (ContentCoding::*)(const void*, unsigned int, _zqOutput&, _zqIoParams&,
                                       LogBase&) const;

// The blocks that a sink has seen; the one after `taken` blocks was refused.
Blocks encodeInto(const ContentCoding& codec, Encode encode, const HeapCopy& bytes,
                  std::size_t taken, bool& result) {
    Blocks seen;
    contentcoding::CallableOutput sink([&](const char* block, unsigned int n) {
        seen.emplace_back(block, n);
        return seen.size() <= taken;
    });
    _zqIoParams ioParams;
    LogNull log;
    result = (codec.*encode)(bytes.bytes(), bytes.size(), sink, ioParams, log);
    return seen;
}

void refuse(const ContentCoding& codec, Encode encode, const HeapCopy& bytes, std::size_t drawn) {
    bool result = false;
    Blocks all = encodeInto(codec, encode, bytes, bytes.view().size() + 1, result);
    expect(result);
    if (all.empty()) return;
    const std::size_t taken = drawn % all.size();
    const Blocks seen = encodeInto(codec, encode, bytes, taken, result);
    all.resize(taken + 1);
    expect(!result && seen == all);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Input input(data, size);
    ContentCoding codec;
    codec.m_lineLength = input.flag() ? input.number() : input.byte();
    const std::size_t drawn = input.number();
    const HeapCopy bytes = input.rest();
    refuse(codec, &ContentCoding::encodeBase64ToOutput, bytes, drawn);
    refuse(codec, &ContentCoding::encodeQpToOutput, bytes, drawn);
    return 0;
}
