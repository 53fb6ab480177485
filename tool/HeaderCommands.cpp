#include <memory>

#include "support/Charset.h"
#include "tool/Convert.h"
#include "tool/HeaderCommands.h"
#include "tool/Values.h"

namespace {

constexpr const char* kNoMemory = "not enough memory";

unsigned int size32(std::string_view text) { return static_cast<unsigned int>(text.size()); }

struct EncodeOptions {
    std::string scheme = "auto";
    std::string charset = "utf-8";
    bool fold = false;
    bool eachLine = false;
    ContentCoding codec;
};

CLI::Option* addEachLine(CLI::App& command, bool& eachLine) {
    return command.add_flag("--each-line", eachLine,
                            "Convert each line of the input as a value of its own");
}

void addEncodeOptions(CLI::App& command, EncodeOptions& options) {
    command
        .add_option("--scheme", options.scheme,
                    "b, q, or auto: b for East Asian, Thai, Turkish and Arabic charsets, else q")
        ->type_name("SCHEME")
        ->check(CLI::IsMember({"b", "q", "auto"}))
        ->capture_default_str();
    command
        .add_option("--charset", options.charset, "The charset of the input, which the words name")
        ->type_name("NAME")
        ->capture_default_str();
    command.add_flag("--encode-commas", options.codec.m_qEncodeCommaToo,
                     "Escape commas and colons too, for words in address lists");
}

// A word shows which encoding the library chose for it.
bool choosesB(const EncodeOptions& options) {
    StringBuffer word;
    options.codec.qbEncodeData("x", 1, options.charset.c_str(), word);
    return word.containsSubstring("?B?");
}

int codePageOf(const std::string& charset) {
    _zqCharset found;
    if (!found.setByName(charset.c_str()) || found.getCodePage() == 0)
        throw Failure(kUsageError, "unknown charset: " + visible(charset));
    return found.getCodePage();
}

void encodeHeader(const EncodeOptions& options, const FileArguments& files) {
    const int codePage = codePageOf(options.charset);
    const bool useB = options.scheme == "b" || (options.scheme == "auto" && choosesB(options));
    const char* const name = options.charset.c_str();
    convertValues(files, options.eachLine, kNoMemory,
                  [&](std::string_view value, StringBuffer& result, LogBase& log) {
                      const ContentCoding& codec = options.codec;
                      const auto n = size32(value);
                      return useB ? codec.bEncodeForMimeField(value.data(), n, options.fold,
                                                              codePage, name, result, log)
                                  : codec.qEncodeForMimeField(value.data(), n, options.fold,
                                                              codePage, name, result);
                  });
}

void encodeWord(const EncodeOptions& options, const FileArguments& files) {
    convertValues(files, options.eachLine, kNoMemory,
                  [&](std::string_view value, StringBuffer& result, LogBase&) {
                      const auto encode = options.scheme == "b"   ? &ContentCoding::bEncodeData2
                                          : options.scheme == "q" ? &ContentCoding::qEncodeData2
                                                                  : &ContentCoding::qbEncodeData;
                      return (options.codec.*encode)(value.data(), size32(value),
                                                     options.charset.c_str(), result);
                  });
}

// Without the line breaks before a space or tab.
std::string unfolded(std::string_view value) {
    std::string text;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const std::size_t lineEnd = value.substr(i, 2) == "\r\n" ? 2 : value[i] == '\n' ? 1 : 0;
        const char next = i + lineEnd < value.size() ? value[i + lineEnd] : '\0';
        if (lineEnd > 0 && (next == ' ' || next == '\t'))
            i += lineEnd - 1;
        else
            text += value[i];
    }
    return text;
}

bool decodeHeader(std::string_view value, bool raw, StringBuffer& result, LogBase& log) {
    StringBuffer text(unfolded(value));
    if (!raw) return ContentCoding::QB_DecodeToUtf8(text, log) && result.append(text);
    DataBuffer bytes;
    return ContentCoding::QB_Decode(text, bytes) && result.append(bytes);
}

Job addEncodeHeader(CLI::App& command, const FileArguments& files) {
    const auto options = std::make_shared<EncodeOptions>();
    addEncodeOptions(command, *options);
    auto* const fold =
        command.add_flag("--fold", options->fold, "Put long values into several words, one a line");
    addEachLine(command, options->eachLine)->excludes(fold);
    return [options, &files] { encodeHeader(*options, files); };
}

Job addDecodeHeader(CLI::App& command, const FileArguments& files) {
    const auto raw = std::make_shared<bool>(false), eachLine = std::make_shared<bool>(false);
    command.add_flag("--raw", *raw,
                     "Write the bytes of the words without converting their charsets");
    addEachLine(command, *eachLine)
        ->description("Decode each line as a value of its own; encoded line ends become spaces");
    return [raw, eachLine, &files] {
        convertValues(
            files, *eachLine, kNoMemory,
            [&](std::string_view value, StringBuffer& result, LogBase& log) {
                return decodeHeader(value, *raw, result, log);
            },
            ResultKind::kDecodedText);
    };
}

Job addEncodeWord(CLI::App& command, const FileArguments& files) {
    const auto options = std::make_shared<EncodeOptions>();
    addEncodeOptions(command, *options);
    addEachLine(command, options->eachLine);
    return [options, &files] { encodeWord(*options, files); };
}

Job addDecodeParameter(CLI::App& command, const FileArguments& files) {
    const auto charset = std::make_shared<std::string>("utf-8");
    const auto eachLine = std::make_shared<bool>(false);
    command.add_option("--charset", *charset, "The charset of values that name none")
        ->type_name("NAME")
        ->capture_default_str();
    addEachLine(command, *eachLine);
    return [charset, eachLine, &files] {
        convertValues(
            files, *eachLine, kNoMemory,
            [&](std::string_view value, StringBuffer& result, LogBase& log) {
                StringBuffer text(value), ownCharset;
                return ContentCoding::decodeStarEncoded(text, charset->c_str(), result, ownCharset,
                                                        log);
            },
            ResultKind::kDecodedText);
    };
}

void listCharsets() {
    std::string list;
    for (const auto& charset : contentcoding::knownCharsets())
        list += std::to_string(charset.codePage) + '\t' + charset.name + '\n';
    Destination out("-");
    out.write(list);
    out.commit();
}

}  // namespace

void addHeaderCommands(CLI::App& app, FileArguments& files, Job& job) {
    const auto add = [&](CLI::App* group, const char* name, const char* summary, AddCommand what) {
        group->require_subcommand(1);
        addConversion(*group, name, summary, what, files, job);
    };
    CLI::App* const header =
        app.add_subcommand("header", "Values of mail header fields (RFC 2047)");
    add(header, "encode", "A value to encoded words", addEncodeHeader);
    add(header, "decode", "A value, folded or not, to UTF-8", addDecodeHeader);
    CLI::App* const word = app.add_subcommand("word", "Single encoded words (RFC 2047)");
    add(word, "encode", "A value to one word", addEncodeWord);
    CLI::App* const parameter = app.add_subcommand("param", "Parameter values (RFC 2231)");
    add(parameter, "decode", "An extended value to UTF-8", addDecodeParameter);
    app.add_subcommand("charsets", "List the charsets, each after its code page")->callback([&job] {
        job = listCharsets;
    });
}
