#include <memory>

#include "tool/Convert.h"

namespace {

constexpr const char* kNoMemory = "not enough memory";

void addWrap(CLI::App& command, unsigned int& wrap) {
    command.add_option("--wrap", wrap, "The most characters in a line")
        ->type_name("N")
        ->check(CLI::Range(10u, 0xFFFFFFFFu))
        ->capture_default_str();
}

void encodeQp(unsigned int wrap, const FileArguments& files) {
    Source in(files.input, !files.noProgress);
    const StringBuffer bytes = in.readAll(kLongestInput);
    Destination out(files.output);
    contentcoding::CallableOutput sink([&out](const char* data, unsigned int n) {
        out.write({data, n});
        return true;
    });
    ContentCoding codec;
    codec.setLineLength(wrap);
    _zqIoParams ioParams;
    LogText log;
    if (!codec.encodeQpToOutput(bytes.getString(), bytes.getSize(), sink, ioParams, log))
        throw dataError(in.name(), log, kNoMemory);
    out.commit();
}

Job addEncodeQp(CLI::App& command, const FileArguments& files) {
    const auto wrap = std::make_shared<unsigned int>(ContentCoding().m_lineLength);
    addWrap(command, *wrap);
    return [wrap, &files] { encodeQp(*wrap, files); };
}

Job addDecodeQp(CLI::App& command, const FileArguments& files) {
    const auto codec = std::make_shared<ContentCoding>();
    command.add_flag("--unicode-escapes", codec->m_qpDecodeUnicodeEscapes,
                     "Turn =00 and a number such as 00E9; into the reference &#233;");
    return [codec, &files] {
        convertWhole<DataBuffer>(files, kLongestInput, "input starts with a NUL byte",
                                 [&](const StringBuffer& text, DataBuffer& bytes, LogBase&) {
                                     // The decoder refuses empty text; an empty file is fine.
                                     return text.getSize() == 0 ||
                                            codec->decodeQuotedPrintable(text.getString(),
                                                                         text.getSize(), bytes);
                                 });
    };
}

Job addEncodeDkim(CLI::App& command, const FileArguments& files) {
    const auto codec = std::make_shared<ContentCoding>();
    addWrap(command, codec->m_lineLength);
    return [codec, &files] {
        convertWhole<StringBuffer>(files, kLongestInput, kNoMemory,
                                   [&](const StringBuffer& bytes, StringBuffer& text, LogBase&) {
                                       return codec->encodeDkimQuotedPrintable(
                                           bytes.getString(), bytes.getSize(), text);
                                   });
    };
}

Job addDecodeDkim(CLI::App&, const FileArguments& files) {
    return [&files] {
        convertWhole<DataBuffer>(files, kLongestInput, kNoMemory,
                                 [](const StringBuffer& text, DataBuffer& bytes, LogBase&) {
                                     return ContentCoding::decodeDkimQuotedPrintable(
                                         text.getString(), text.getSize(), bytes);
                                 });
    };
}

}  // namespace

const Format kQuotedPrintableFormat = {"qp", "Quoted-printable", addEncodeQp, addDecodeQp, nullptr};
const Format kDkimFormat = {"dkim-qp", "Quoted-printable as in DKIM signatures", addEncodeDkim,
                            addDecodeDkim, nullptr};
