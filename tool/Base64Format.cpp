#include <algorithm>
#include <array>
#include <memory>
#include <string_view>
#include <vector>

#include "tool/Convert.h"

namespace {

constexpr std::size_t kGroupBytes = 3;
constexpr unsigned int kQuantumChars = 4;
constexpr unsigned int kCrLfChars = 2;

// Roughly how much is read and encoded at a time: whole lines, at least one.
constexpr std::size_t kChunkBytes = std::size_t{192} * 1024;
constexpr unsigned int kShortestLine = 10;
constexpr unsigned int kLongestLine = 1 << 24;

// The decoder's limit.
constexpr unsigned int kLongestText = 1431655765;

struct EncodeOptions {
    unsigned int wrap = 76;
    std::string lineBreak = "crlf";
    bool url = false;

    bool lines() const { return !url && lineBreak != "none"; }
};

bool encodeChunk(const EncodeOptions& options, const char* bytes, unsigned int n,
                 StringBuffer& text) {
    ContentCoding codec;
    codec.setLineLength(options.wrap);
    if (options.url) return ContentCoding::encodeModBase64_noCrLf(bytes, n, text);
    if (!options.lines()) return ContentCoding::encodeBase64_noCrLf(bytes, n, text);
    if (options.lineBreak == "entity") return codec.encodeBase64_crEntity(bytes, n, text);
    contentcoding::StringBufferOutput out(text);
    _zqIoParams ioParams;
    LogNull log;
    return codec.encodeBase64ToOutput(bytes, n, out, ioParams, log);
}

// Every chunk but the last is encoded with one byte of the next, so that it ends as it does in
// the middle of a text; what that byte became is cut off again. The chunks together are then what
// a single call would give.
void encodeBase64(const EncodeOptions& options, const FileArguments& files) {
    const std::size_t lineBytes =
        options.lines() ? (options.wrap + kQuantumChars - 1) / kQuantumChars * kGroupBytes
                        : kGroupBytes;
    const std::size_t chunk = lineBytes * std::max<std::size_t>(1, kChunkBytes / lineBytes);
    const unsigned int lookaheadChars = kQuantumChars + (options.lines() ? kCrLfChars : 0);

    Source in(files.input, !files.noProgress);
    Destination out(files.output);
    std::vector<char> bytes(chunk + 1);
    StringBuffer text;
    std::size_t n = in.read(bytes.data(), chunk + 1);
    for (bool more = true; more;) {
        more = n > chunk;
        text.weakClear();
        if (!encodeChunk(options, bytes.data(), static_cast<unsigned int>(n), text))
            throw Failure(kDataError, in.name() + ": not enough memory");
        if (more) text.shorten(lookaheadChars);
        out.write(text.view());
        bytes[0] = bytes[chunk];
        if (more) n = 1 + in.read(bytes.data() + 1, chunk);
    }
    out.commit();
}

// The decode table of the URL-safe alphabet: its digits are those of the bytes whose six-bit
// groups count from 0 to 63.
bool urlSafeDecodeTable(std::array<unsigned char, 80>& table) {
    constexpr unsigned char kFirstChar = '+', kNoDigit = 0x7F;
    std::vector<unsigned char> counting;
    for (unsigned int v = 0; v < 64; v += 4) {
        const unsigned int group = v << 18 | (v + 1) << 12 | (v + 2) << 6 | (v + 3);
        for (const unsigned int shift : {16u, 8u, 0u})
            counting.push_back(static_cast<unsigned char>(group >> shift));
    }
    StringBuffer alphabet;
    if (!ContentCoding::encodeModBase64_noCrLf(
            counting.data(), static_cast<unsigned int>(counting.size()), alphabet))
        return false;
    table.fill(kNoDigit);
    unsigned char value = 0;
    for (const char digit : alphabet.view())
        table.at(static_cast<unsigned char>(digit) - kFirstChar) = value++;
    return true;
}

bool decodeUrlSafe(const StringBuffer& text, DataBuffer& bytes) {
    std::array<unsigned char, 80> table;
    if (!urlSafeDecodeTable(table)) return false;
    unsigned int n = 0;
    bool ok = false;
    unsigned char* const array =
        ContentCoding::decodeBase64_2a(text.getString(), text.getSize(), table.data(), &n, ok);
    if (ok) bytes.takeData(array, n);
    return ok;
}

void decodeBase64(bool url, const FileArguments& files) {
    convertWhole<DataBuffer>(files, kLongestText, "not enough memory",
                             [url](const StringBuffer& text, DataBuffer& bytes, LogBase&) {
                                 return url ? decodeUrlSafe(text, bytes)
                                            : ContentCoding::decodeBase64ToDb(
                                                  text.getString(), text.getSize(), bytes);
                             });
}

enum class Test { kDigits, kUtf16, kRange };

void checkBase64(Test test, const FileArguments& files) {
    Source in(files.input, !files.noProgress);
    const StringBuffer text = in.readAll(kLongestInput);
    ContentCoding codec;
    LogNull log;
    const bool ok = test == Test::kUtf16 ? codec.isBase64_utf16LE(text.getString(), text.getSize())
                    : test == Test::kRange ? codec.validateBase64(text.getString(), text.getSize())
                                           : codec.isBase64(text.getString(), text.getSize(), log);
    if (!ok) throw Failure(kDataError, in.name() + ": not Base64 text");
}

Job addEncode(CLI::App& command, const FileArguments& files) {
    const auto options = std::make_shared<EncodeOptions>();
    auto* const wrap = command.add_option("--wrap", options->wrap,
                                          "End a line after N characters, rounded up to a "
                                          "multiple of 4");
    wrap->type_name("N")->check(CLI::Range(kShortestLine, kLongestLine))->capture_default_str();
    auto* const lineBreak = command.add_option("--break", options->lineBreak,
                                               "How a line ends. entity: \"&#xD;\" and CRLF, for "
                                               "text in XML; none: all on one line");
    lineBreak->type_name("KIND")
        ->check(CLI::IsMember({"crlf", "entity", "none"}))
        ->capture_default_str();
    command.add_flag("--url", options->url, "Use the URL-safe alphabet, all on one line")
        ->excludes(wrap)
        ->excludes(lineBreak);
    return [options, wrap, &files] {
        if (wrap->count() > 0 && !options->lines())
            throw Failure(kUsageError, "--wrap excludes --break none");
        encodeBase64(*options, files);
    };
}

Job addDecode(CLI::App& command, const FileArguments& files) {
    const auto url = std::make_shared<bool>(false);
    command.add_flag("--url", *url, "Use the URL-safe alphabet: - and _ in place of + and /");
    return [url, &files] { decodeBase64(*url, files); };
}

Job addCheck(CLI::App& command, const FileArguments& files) {
    const auto test = std::make_shared<Test>(Test::kDigits);
    auto* const utf16 = command.add_flag_callback(
        "--utf16le", [test] { *test = Test::kUtf16; },
        "Check UTF-16LE text that starts with a byte order mark");
    command
        .add_flag_callback(
            "--range", [test] { *test = Test::kRange; },
            "Check only that all before the first = is white space or lies between + and z")
        ->excludes(utf16);
    return [test, &files] { checkBase64(*test, files); };
}

}  // namespace

const Format kBase64Format = {"base64", "Base64, standard or URL-safe, wrapped or not", addEncode,
                              addDecode, addCheck};
