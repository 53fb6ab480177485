#include "tool/FormatCommands.h"

#include <algorithm>
#include <vector>

#include "tool/Coders.h"
#include "tool/Failure.h"
#include "tool/Files.h"
#include "tool/Lines.h"
#include "tool/Visible.h"

namespace {

using contentcoding::Error;

constexpr std::size_t kPieceBytes = 1 << 18;

enum class Verb { kEncode, kDecode, kCheck };

struct Arguments {
    CodingOptions coding;
    std::vector<std::string> inputs;
    std::string text;
    std::string lineBreak = "lf";
    bool crlf = false;
    bool decodes = false;
    bool checks = false;
    bool ignores = false;
    bool isLenient = false;
    bool isBinary = false;
    bool eachLine = false;
    bool noNewline = false;
    CLI::Option* textOption = nullptr;

    Leniency leniency() const {
        return isLenient ? Leniency::kLenient : ignores ? Leniency::kIgnore : Leniency::kStrict;
    }
};

// ---- Where a fault is ----

// Keeps the end of what was read, because a fault may be found a little later.
class Reading {
public:
    explicit Reading(std::string name) : m_name(std::move(name)) {}

    void add(std::string_view piece) {
        constexpr std::size_t kKept = 4096;
        if (m_recent.size() > kKept) forget(m_recent.size() - kKept);
        m_recent.append(piece);
        if (m_recent.size() > kKept + piece.size()) forget(m_recent.size() - kKept - piece.size());
    }

    Failure failure(const Error& error) const { return {kDataError, message(error)}; }

    // "FILE:LINE:COLUMN: what", and the character there.
    std::string message(const Error& error) const {
        const std::uint64_t inside = error.offset - std::min(error.offset, m_start);
        const auto [line, column] = contentcoding::position(m_recent, inside);
        std::string text = m_name + ':' + std::to_string(m_line + line - 1) + ':' +
                           std::to_string(line == 1 ? m_column + column - 1 : column) + ": " +
                           error.message();
        if (inside >= m_recent.size()) return text + " (at the end)";
        const std::size_t at = static_cast<std::size_t>(inside);
        std::size_t n = 1;
        while (n < 4 && at + n < m_recent.size() &&
               (static_cast<unsigned char>(m_recent[at + n]) & 0xC0) == 0x80)
            ++n;
        return text + ": \"" + visible(m_recent.substr(at, n)) + '"';
    }

private:
    void forget(std::size_t n) {
        const std::string_view gone = std::string_view(m_recent).substr(0, n);
        const std::size_t last = gone.rfind('\n');
        if (last == gone.npos) {
            m_column += n;
        } else {
            m_line += static_cast<std::uint64_t>(std::count(gone.begin(), gone.end(), '\n'));
            m_column = n - last;
        }
        m_start += n;
        m_recent.erase(0, n);
    }

    std::string m_name;
    std::string m_recent;
    std::uint64_t m_start = 0, m_line = 1, m_column = 1;
};

// ---- The work ----

// Tells, once, that a lenient decoder had something to forgive.
class Watch {
public:
    Watch(const TextFormat& format, const CodingOptions& options, bool isWanted)
        : m_strict(isWanted ? format.decoder(options, Leniency::kStrict) : nullptr) {}

    void feed(std::string_view piece, const Reading& reading) {
        if (m_strict) look(m_strict->feed(piece, [](std::string_view) {}), reading);
    }
    void finish(const Reading& reading) {
        if (m_strict) look(m_strict->finish([](std::string_view) {}), reading);
    }

private:
    void look(const contentcoding::Result<void>& result, const Reading& reading) {
        if (result) return;
        report(reading.message(result.error()) + " (forgiven, and perhaps more)");
        m_strict.reset();
    }

    std::unique_ptr<Coder> m_strict;
};

// Holds back the last line end.
class LastLineEnd {
public:
    LastLineEnd(Destination* out, bool isDropped, const std::string& lineEnd)
        : m_out(out), m_lineEnd(isDropped ? lineEnd : std::string()) {}

    void operator()(std::string_view block) {
        if (!m_out) return;
        if (m_lineEnd.empty()) {
            m_out->write(block);
            return;
        }
        m_held.append(block);
        const std::size_t n = m_held.size() - std::min(m_held.size(), m_lineEnd.size());
        m_out->write(std::string_view(m_held).substr(0, n));
        m_held.erase(0, n);
    }
    void finish() {
        if (m_out && !m_held.ends_with(m_lineEnd)) m_out->write(m_held);
    }

private:
    Destination* m_out;
    const std::string m_lineEnd;
    std::string m_held;
};

void convertFile(const TextFormat& format, Verb verb, const Arguments& arguments,
                 const std::string& path, bool showProgress, Destination* out) {
    Source in(path, showProgress);
    Reading reading(in.name());
    const bool encodes = verb == Verb::kEncode;
    const auto coder = encodes ? format.encoder(arguments.coding)
                               : format.decoder(arguments.coding, arguments.leniency());
    Watch watch(format, arguments.coding, !encodes && arguments.isLenient);
    LastLineEnd last(encodes ? out : nullptr, arguments.noNewline, arguments.coding.lineEnd);
    const Coder::Sink sink = [&](std::string_view block) {
        if (encodes)
            last(block);
        else if (out)
            out->write(block);
    };
    std::vector<char> block(kPieceBytes);
    for (std::size_t n; (n = in.read(block.data(), block.size())) > 0;) {
        const std::string_view piece(block.data(), n);
        if (!encodes) reading.add(piece);
        watch.feed(piece, reading);
        const auto fed = coder->feed(piece, sink);
        // A place is for text; bytes can only be too many.
        if (!fed && encodes) throw Failure(kDataError, in.name() + ": " + fed.error().message());
        if (!fed) throw reading.failure(fed.error());
    }
    watch.finish(reading);
    if (const auto done = coder->finish(sink); !done) throw reading.failure(done.error());
    last.finish();
}

// Has one value converted by a coder of its own.
std::string converted(const TextFormat& format, Verb verb, const Arguments& arguments,
                      std::string_view value, const std::string& place) {
    Reading reading(place);
    reading.add(value);
    const auto coder = verb == Verb::kEncode
                           ? format.encoder(arguments.coding)
                           : format.decoder(arguments.coding, arguments.leniency());
    std::string result;
    const Coder::Sink sink = [&](std::string_view block) { result.append(block); };
    auto done = coder->feed(value, sink);
    if (done) done = coder->finish(sink);
    if (!done) throw reading.failure(done.error());
    return result;
}

void run(const TextFormat& format, Verb verb, Arguments arguments, const FileArguments& files) {
    if (arguments.crlf) arguments.lineBreak = "crlf";
    if (arguments.lineBreak == "none") arguments.coding.columns = 0;
    if (arguments.lineBreak == "crlf") arguments.coding.lineEnd = "\r\n";
    if (arguments.lineBreak == "entity") arguments.coding.lineEnd = "&#xD;\r\n";
    arguments.coding.isText = !arguments.isBinary;
    if (arguments.inputs.empty()) arguments.inputs = {"-"};
    std::unique_ptr<Destination> out;
    if (verb != Verb::kCheck) out = std::make_unique<Destination>(files.output);
    try {
        if (arguments.textOption && arguments.textOption->count() > 0) {
            const std::string result = converted(format, verb, arguments, arguments.text, "--text");
            if (out) {
                out->write(result);
                if (verb == Verb::kEncode && !arguments.noNewline && !result.ends_with('\n'))
                    out->write("\n");
            }
        } else if (arguments.eachLine) {
            arguments.coding.columns = 0;
            for (const std::string& path : arguments.inputs)
                convertLines(path, !files.noProgress, *out,
                             [&](std::string_view line, const std::string& place) {
                                 return converted(format, verb, arguments, line, place);
                             });
        } else {
            for (const std::string& path : arguments.inputs)
                convertFile(format, verb, arguments, path, !files.noProgress, out.get());
        }
    } catch (const Failure&) {
        if (out && arguments.eachLine) out->flush();
        throw;
    }
    if (out) out->commit();
}

// ---- The command line ----

void addEncodeOptions(CLI::App& command, const TextFormat& format, Arguments& arguments) {
    const std::string_view name = format.name;
    if (format.hasLines) {
        arguments.coding.columns = format.columns;
        command
            .add_option("-w,--wrap", arguments.coding.columns,
                        "End a line after N characters, in whole groups; 0: no lines")
            ->type_name("N")
            ->check(CLI::Range(std::size_t{0}, std::size_t{1} << 24).description(""))
            ->capture_default_str();
        auto* const lineBreak =
            command.add_option("--break", arguments.lineBreak,
                               "How a line ends: lf, crlf, entity (\"&#xD;\" and CRLF, for text in "
                               "XML), or none");
        lineBreak->type_name("KIND")
            ->check(CLI::IsMember({"lf", "crlf", "entity", "none"}))
            ->capture_default_str();
        command.add_flag("--crlf", arguments.crlf, "Lines end with CRLF, as in mail")
            ->excludes(lineBreak);
        command.add_flag("--no-newline", arguments.noNewline, "No line end at the end");
    }
    if (name == "qp")
        command.add_flag("--binary", arguments.isBinary, "Line ends are data: they are escaped");
    if (name == "ascii85")
        command.add_flag("--frame", arguments.coding.isFramed, "Put the text between <~ and ~>");
}

void addDecodeOptions(CLI::App& command, Arguments& arguments) {
    auto* const ignore = command.add_flag("-i,--ignore-garbage", arguments.ignores,
                                          "Skip characters that the format does not have");
    command
        .add_flag("--lenient", arguments.isLenient,
                  "Forgive all that can be forgiven, and say so on standard error")
        ->excludes(ignore);
}

void addCommon(CLI::App& command, const TextFormat& format, Arguments& arguments,
               FileArguments& files, bool writes) {
    command
        .add_option("FILE", arguments.inputs, "The files to read; standard input by default, or -")
        ->type_name("");
    arguments.textOption =
        command.add_option("--text", arguments.text, "Take TEXT for the input")->type_name("TEXT");
    if (std::string_view(format.name) == "base58")
        command
            .add_option("--max-input", arguments.coding.maxInput,
                        "Refuse more than so many bytes: time grows with their square")
            ->transform(CLI::AsSizeValue(false).description(""))
            ->type_name("SIZE")
            ->default_str("64K");
    if (writes) {
        command
            .add_option("-o,--output", files.output,
                        "The file to write; standard output by default")
            ->type_name("FILE");
        command.add_flag("--each-line", arguments.eachLine,
                         "Convert each line of the input as a value of its own");
    }
    command.add_flag("--no-progress", files.noProgress, "Show no progress line on a terminal");
}

void addVerb(CLI::App& app, const char* name, const char* summary, Verb verb, FileArguments& files,
             Job& job) {
    CLI::App* const group = app.add_subcommand(name, summary);
    group->require_subcommand(1);
    for (std::size_t i = 0; i < kTextFormatCount; ++i) {
        const TextFormat& format = kTextFormats[i];
        CLI::App* const command = group->add_subcommand(format.name, format.summary);
        const auto arguments = std::make_shared<Arguments>();
        if (verb == Verb::kEncode)
            addEncodeOptions(*command, format, *arguments);
        else
            addDecodeOptions(*command, *arguments);
        if (verb == Verb::kDecode && std::string_view(format.name) == "qp")
            command->add_flag("--crlf", arguments->crlf, "Lines end with CRLF in the result");
        addCommon(*command, format, *arguments, files, verb != Verb::kCheck);
        command->callback([&format, verb, arguments, &files, &job] {
            job = [&format, verb, arguments, &files] { run(format, verb, *arguments, files); };
        });
    }
}

// The format as a command, as "base64 -d" has it.
void addFormat(CLI::App& app, const TextFormat& format, FileArguments& files, Job& job) {
    CLI::App* const command = app.add_subcommand(format.name, format.summary);
    const auto arguments = std::make_shared<Arguments>();
    auto* const decode = command->add_flag("-d,--decode", arguments->decodes, "Text to bytes");
    command->add_flag("--check", arguments->checks, "Check whether text is valid")
        ->excludes(decode);
    addEncodeOptions(*command, format, *arguments);
    addDecodeOptions(*command, *arguments);
    addCommon(*command, format, *arguments, files, true);
    command->callback([&format, arguments, &files, &job] {
        job = [&format, arguments, &files] {
            const Verb verb = arguments->checks    ? Verb::kCheck
                              : arguments->decodes ? Verb::kDecode
                                                   : Verb::kEncode;
            run(format, verb, *arguments, files);
        };
    });
}

void listFormats() {
    Destination out("-");
    for (std::size_t i = 0; i < kTextFormatCount; ++i)
        out.write(std::string(kTextFormats[i].name) + '\t' + kTextFormats[i].summary + '\n');
    out.commit();
}

}  // namespace

void addFormatCommands(CLI::App& app, FileArguments& files, Job& job) {
    addVerb(app, "encode", "Bytes to text", Verb::kEncode, files, job);
    addVerb(app, "decode", "Text to bytes", Verb::kDecode, files, job);
    addVerb(app, "check", "Check whether text is valid", Verb::kCheck, files, job);
    for (std::size_t i = 0; i < kTextFormatCount; ++i)
        addFormat(app, kTextFormats[i], files, job);
    app.add_subcommand("formats", "List the formats")->callback([&job] { job = listFormats; });
}
