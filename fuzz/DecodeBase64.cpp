// No text and no table makes a Base64 decoder or scanner read or write out of bounds. All decoders
// give the same bytes, and not more than the digits can encode.
#include <array>

#include "codec/Base64.h"
#include "fuzz/Input.h"

namespace {

// The table of the standard alphabet, that of the URL-safe one, or an arbitrary one.
std::array<unsigned char, 80> drawTable(Input& input) {
    std::array<unsigned char, 80> table = _base64DecodeTable;
    const unsigned int choice = input.byte() % 3;
    if (choice == 1) {
        table['+' - '+'] = table['/' - '+'] = 0x7F;
        table['-' - '+'] = 62;
        table['_' - '+'] = 63;
    } else if (choice == 2) {
        const std::string_view drawn = input.text(table.size());
        std::copy(drawn.begin(), drawn.end(), table.begin());
    }
    return table;
}

void decodeWithTable(const HeapCopy& text, const unsigned char* table) {
    unsigned int n = 1, n2 = 1;
    bool ok = false;
    const Returned bytes(ContentCoding::decodeBase64a(text.chars(), text.size(), table, &n));
    const Returned bytes2(
        ContentCoding::decodeBase64_2a(text.chars(), text.size(), table, &n2, ok));
    expect(ok && bytes.isNull() == (text.size() == 0) && bytes2.isNull() == bytes.isNull());
    expect(n <= text.view().size() * 3 / 4);
    expect(bytes.view(n) == bytes2.view(n2));
}

void decodeStandard(const HeapCopy& text) {
    DataBuffer bytes;
    expect(ContentCoding::decodeBase64ToDb(text.chars(), text.size(), bytes));
    unsigned int n = 1, n2 = 1;
    bool ok = false;
    const Returned array(ContentCoding::decodeBase64(text.chars(), text.size(), &n));
    const Returned array2(ContentCoding::decodeBase64_2(text.chars(), text.size(), &n2, ok));
    expect(ok && array.view(n) == viewOf(bytes) && array2.view(n2) == viewOf(bytes));

    // A text ends at its first NUL anyway.
    ContentCoding codec;
    StringBuffer appended;
    const HeapCopy terminated(text.view(), HeapCopy::kTerminated);
    expect(codec.appendBase64(appended, terminated.chars()));
    expect(appended.view() == viewOf(bytes));
}

void scan(const HeapCopy& text) {
    ContentCoding codec;
    LogNull log;
    const bool is = codec.isBase64(text.chars(), text.size(), log);
    // The weaker test accepts whatever the stronger one does.
    expect(!is || codec.validateBase64(text.chars(), text.size()));

    StringBuffer wide;
    expect(wide.appendN("\xFF\xFE", 2));
    for (const char c : text.view())
        expect(wide.appendChar(c) && wide.appendChar('\0'));
    expect(codec.isBase64_utf16LE(wide.getString(), wide.getSize()) == (is && text.size() > 0));
    (void)codec.isBase64_utf16LE(text.chars(), text.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Input input(data, size);
    const auto table = drawTable(input);
    const HeapCopy text = input.rest();
    decodeWithTable(text, table.data());
    decodeStandard(text);
    scan(text);
    return 0;
}
