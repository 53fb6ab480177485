#include <memory>
#include <string>

#include "tool/Convert.h"
#include "tool/Values.h"

namespace {

constexpr const char* kNoMemory = "not enough memory";

unsigned int size32(std::string_view text) { return static_cast<unsigned int>(text.size()); }

std::string_view withoutLineEnd(std::string_view text) {
    if (text.ends_with('\n')) text.remove_suffix(1);
    if (text.ends_with('\r')) text.remove_suffix(1);
    return text;
}

// Converts all bytes of the input, or each of its lines.
Job conversion(CLI::App& command, const FileArguments& files, ConvertValue convert) {
    const auto eachLine = std::make_shared<bool>(false);
    command.add_flag("--each-line", *eachLine, "Every line of the input is a value of its own");
    return [eachLine, &files, convert = std::move(convert)] {
        if (*eachLine) {
            convertValues(files, true, kNoMemory, convert);
            return;
        }
        convertWhole<StringBuffer>(files, kLongestInput, kNoMemory,
                                   [&](const StringBuffer& in, StringBuffer& out, LogBase& log) {
                                       return convert(in.view(), out, log);
                                   });
    };
}

using Encoder = bool (*)(const void* data, unsigned int len, StringBuffer& out, LogBase& log);
using Decoder = bool (*)(const StringBuffer& text, DataBuffer& out, LogBase& log);

bool encodeBase32(const void* data, unsigned int len, StringBuffer& out, LogBase&) {
    return ContentCoding::encodeBase32_noCrLf(static_cast<const unsigned char*>(data), len, out);
}

bool encodeEda(const void* data, unsigned int len, StringBuffer& out, LogBase&) {
    return ContentCoding::encodeEda(data, len, out);
}

bool encodeFramed(const void* data, unsigned int len, StringBuffer& out, LogBase& log) {
    return out.append("<~") && ContentCoding::encodeAscii85(data, len, out, log) &&
           out.append("~>");
}

// For decoders that take text up to a NUL.
template <bool (*decode)(const char*, DataBuffer&, LogBase&)>
bool decodeWithoutNul(const StringBuffer& text, DataBuffer& out, LogBase& log) {
    if (text.containsChar('\0')) {
        log.LogError("there is a NUL in the text");
        return false;
    }
    return decode(text.getString(), out, log);
}

bool decodeEda(const StringBuffer& text, DataBuffer& out, LogBase&) {
    return ContentCoding::decodeEda(text.getString(), text.getSize(), out);
}

template <Encoder encode>
Job addEncode(CLI::App& command, const FileArguments& files) {
    return conversion(command, files,
                      [](std::string_view value, StringBuffer& result, LogBase& log) {
                          return encode(value.data(), size32(value), result, log);
                      });
}

// The line end that a text file ends with is no part of the text.
template <Decoder decode>
Job addDecode(CLI::App& command, const FileArguments& files) {
    return conversion(
        command, files, [](std::string_view value, StringBuffer& result, LogBase& log) {
            DataBuffer bytes;
            return decode(StringBuffer(withoutLineEnd(value)), bytes, log) && result.append(bytes);
        });
}

Job addEncodeAscii85(CLI::App& command, const FileArguments& files) {
    const auto frame = std::make_shared<bool>(false);
    command.add_flag("--frame", *frame, "Put the text between <~ and ~>");
    return conversion(
        command, files, [frame](std::string_view value, StringBuffer& result, LogBase& log) {
            const Encoder encode = *frame ? encodeFramed : &ContentCoding::encodeAscii85;
            return encode(value.data(), size32(value), result, log);
        });
}

}  // namespace

const Format kBase32Format = {"base32", "Base32", addEncode<encodeBase32>,
                              addDecode<decodeWithoutNul<ContentCoding::decodeBase32>>, nullptr};
const Format kBase58Format = {"base58", "Base58, one big number, for short values",
                              addEncode<ContentCoding::encodeBase58>,
                              addDecode<decodeWithoutNul<ContentCoding::decodeBase58>>, nullptr};
const Format kAscii85Format = {"ascii85", "Ascii85, framed or not", addEncodeAscii85,
                               addDecode<ContentCoding::decodeAscii85>, nullptr};
const Format kEdaFormat = {"eda", "EDA, base 43", addEncode<encodeEda>, addDecode<decodeEda>,
                           nullptr};
