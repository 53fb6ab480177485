#include <algorithm>
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
    command.add_flag("--each-line", *eachLine,
                     "Convert each line of the input as a value of its own");
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

// Logs the fault with its place in the text.
void logAt(std::size_t offset, std::string_view text, std::string fault, LogBase& log) {
    const std::string_view before = text.substr(0, offset);
    const std::size_t lineStart = before.rfind('\n') + 1;  // 0 on the first line
    fault += " (";
    if (const auto lines = std::count(before.begin(), before.end(), '\n'); lines > 0)
        fault += "line " + std::to_string(lines + 1) + ", ";
    fault += "character " + std::to_string(offset - lineStart + 1) + ')';
    log.LogError(fault.c_str());
}

// The entry of a log that has one.
std::string entryOf(const LogText& log) {
    std::string_view entry = log.text().view();
    if (entry.ends_with('\n')) entry.remove_suffix(1);
    return std::string(entry);
}

// For decoders that take text up to a NUL.
template <bool (*decode)(const char*, DataBuffer&, LogBase&)>
bool decodeWithoutNul(const StringBuffer& text, DataBuffer& out, LogBase& log) {
    const std::string_view all = text.view();
    if (const auto nul = all.find('\0'); nul != all.npos) {
        logAt(nul, all, "input contains a NUL byte", log);
        return false;
    }
    return decode(text.getString(), out, log);
}

bool decodeBase58(const char* text, DataBuffer& out, LogBase& log) {
    LogText own;
    if (ContentCoding::decodeBase58(text, out, own)) return true;
    if (own.text().getSize() == 0) return false;
    // The first character that is not Base58 by itself.
    const std::string_view all = text;
    const auto isDigit = [](char c) {
        const char digit[] = {c, '\0'};
        DataBuffer ignored;
        LogNull none;
        return ContentCoding::decodeBase58(digit, ignored, none);
    };
    const auto at = std::find_if_not(all.begin(), all.end(), isDigit) - all.begin();
    logAt(static_cast<std::size_t>(at), all, entryOf(own), log);
    return false;
}

bool isInFinalChunk(const std::string& fault) { return fault.find("final chunk") != fault.npos; }

// The last character of the shortest text that has the fault; all longer ones have it, too. (A cut
// group at the end may fail where the whole one would not.)
std::size_t ascii85FaultAt(std::string_view text) {
    std::size_t good = 0, bad = text.size();
    while (bad - good > 1) {
        const std::size_t middle = good + (bad - good) / 2;
        DataBuffer ignored;
        LogText log;
        const bool ok =
            ContentCoding::decodeAscii85(StringBuffer(text.substr(0, middle)), ignored, log);
        (ok || isInFinalChunk(entryOf(log)) ? good : bad) = middle;
    }
    return good;
}

bool decodeAscii85(const StringBuffer& text, DataBuffer& out, LogBase& log) {
    LogText own;
    if (ContentCoding::decodeAscii85(text, out, own)) return true;
    if (own.text().getSize() == 0) return false;
    const std::string fault = entryOf(own);
    const std::string_view all = text.view();
    const std::string_view framed = all.substr(0, all.find("~>"));
    logAt(isInFinalChunk(fault) ? framed.find_last_not_of(" \t\r\n") : ascii85FaultAt(all), all,
          fault, log);
    return false;
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

// The line end at the end of a text file is not part of the text.
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
                              addDecode<decodeWithoutNul<decodeBase58>>, nullptr};
const Format kAscii85Format = {"ascii85", "Ascii85, framed or not", addEncodeAscii85,
                               addDecode<decodeAscii85>, nullptr};
const Format kEdaFormat = {"eda", "EDA, base 43", addEncode<encodeEda>, addDecode<decodeEda>,
                           nullptr};
