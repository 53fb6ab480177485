#include <algorithm>
#include <csignal>
#include <numeric>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "support/Ascii.h"
#include "tool/Failure.h"
#include "tool/Files.h"
#include "tool/FormatCommands.h"
#include "tool/Itida.h"
#include "tool/MailCommands.h"
#include "tool/Progress.h"
#include "tool/Visible.h"

namespace {

struct Example {
    const char* line;
    bool first = false;  // shown by "contentcode --help", too
};

// The help of a command shows those that it occurs in.
constexpr Example kExamples[] = {
    {"contentcode base64 photo.jpg > photo.b64", true},
    {"contentcode base64 -d photo.b64 > photo.jpg", true},
    {"contentcode encode base64 photo.jpg -o photo.b64"},
    {"contentcode encode base64 -w0 < token.bin"},
    {"contentcode decode base64 photo.b64 -o photo.jpg"},
    {"contentcode check base64 photo.b64 && echo fine", true},
    {"tar c docs | contentcode base64url | contentcode base64url -d | tar t", true},
    {"contentcode encode base64url --text 'any?'"},
    {"contentcode decode base64url --text YW55Pw"},
    {"contentcode check base64url token.txt"},
    {"contentcode qp letter.txt", true},
    {"contentcode encode qp --crlf letter.txt | mail-it"},
    {"contentcode decode qp body.txt -o letter.txt"},
    {"contentcode check qp body.txt"},
    {"contentcode dkim-qp header.txt"},
    {"contentcode encode dkim-qp --wrap 998 header.txt"},
    {"contentcode decode dkim-qp tag.txt"},
    {"contentcode check dkim-qp tag.txt"},
    {"contentcode base32 --text \"$secret\""},
    {"printf %s \"$secret\" | contentcode encode base32"},
    {"contentcode decode base32 secret.txt -o secret.bin"},
    {"contentcode check base32 secret.txt"},
    {"contentcode base32hex keys.bin"},
    {"contentcode encode base32hex -w0 keys.bin"},
    {"contentcode decode base32hex keys.txt"},
    {"contentcode check base32hex keys.txt"},
    {"contentcode base16 -w0 < hash.bin"},
    {"contentcode encode base16 hash.bin"},
    {"contentcode decode base16 hash.txt"},
    {"contentcode check base16 hash.txt"},
    {"contentcode base58 < hash.bin"},
    {"contentcode encode base58 < hash.bin"},
    {"contentcode decode base58 --each-line names.txt"},
    {"contentcode check base58 name.txt"},
    {"contentcode ascii85 --frame picture.bin"},
    {"contentcode encode ascii85 --frame picture.bin -o picture.a85"},
    {"contentcode decode ascii85 picture.a85 -o picture.bin"},
    {"contentcode check ascii85 picture.a85"},
    {"contentcode eda --each-line codes.txt"},
    {"contentcode encode eda --each-line codes.txt"},
    {"contentcode decode eda --each-line encoded.txt"},
    {"contentcode check eda encoded.txt"},
    {"contentcode header encode --name Subject --text \"$subject\"", true},
    {"contentcode header decode message.eml", true},
    {"contentcode header decode --each-line subjects.txt"},
    {"contentcode param decode --name filename --text \"$disposition\"", true},
    {"contentcode param encode --text 'Größe.pdf'"},
    {"contentcode address decode --text \"$from\"", true},
    {"contentcode address encode --name 'Doe, John' --text john@example.com"},
    {"contentcode body message.eml -o letter.txt", true},
    {"contentcode itida invoice.json | sha256sum", true},
    {"contentcode charsets | grep -i iso-8859"},
    {"contentcode formats | cut -f 1"},
};

constexpr const char* kExitStatus =
    "Exit status: 0 success, 1 the data is at fault, 2 the command line, 3 a file;\n"
    "141 (SIGPIPE, without a message) when the reader of the output ends first.";

std::vector<const CLI::App*> commandsBelow(const CLI::App& command) {
    return command.get_subcommands(std::function<bool(const CLI::App*)>());
}

// NOLINTBEGIN(misc-no-recursion): commands are three levels deep

// Gives the command and all below it their examples. `path` is what the user types for it.
void addFooters(CLI::App& command, const std::string& path) {
    std::string footer;
    for (const Example& example : kExamples) {
        const bool top = command.get_parent() == nullptr;
        const std::string line = std::string(example.line) + ' ';
        if (top ? example.first : line.find(path + ' ') != line.npos)
            footer += std::string("  ") + example.line + '\n';
    }
    if (!footer.empty()) footer = "Examples:\n" + footer + '\n';
    command.footer(footer + kExitStatus);
    for (CLI::App* const below : command.get_subcommands(std::function<bool(CLI::App*)>()))
        addFooters(*below, path + ' ' + below->get_name());
}

void writeText(const std::string& text) {
    Destination out("-");
    out.write(text);
    out.commit();
}

// How many characters to add, drop or replace, besides case, to make one word the other.
std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (const char c : a) {
        std::size_t diagonal = row[0]++;
        for (std::size_t i = 0; i < b.size(); ++i) {
            const bool same = contentcoding::toLowerAscii(c) == contentcoding::toLowerAscii(b[i]);
            const std::size_t replaced = diagonal + (same ? 0 : 1);
            diagonal = row[i + 1];
            row[i + 1] = std::min({replaced, row[i] + 1, diagonal + 1});
        }
    }
    return row.back();
}

struct Nearest {
    std::size_t distance = static_cast<std::size_t>(-1);
    std::string path;
};

// Looks for the command below `command` whose name is nearest to the word.
void findNearest(const CLI::App& command, const std::string& path, std::string_view word,
                 Nearest& nearest) {
    for (const CLI::App* const below : commandsBelow(command)) {
        const std::string belowPath = path + ' ' + below->get_name();
        const std::size_t found = distance(word, below->get_name());
        if (found < nearest.distance) nearest = {found, belowPath};
        findNearest(*below, belowPath, word, nearest);
    }
}

// NOLINTEND(misc-no-recursion)

// What is wrong with the command line: a word that is not a command where one must stand, or else
// `why`.
Failure usageError(const CLI::App& app, const std::vector<std::string>& arguments,
                   const std::string& why) {
    const CLI::App* command = &app;
    std::string path = app.get_name(), message = visible(why);
    for (const std::string& word : arguments) {
        const auto commands = commandsBelow(*command);
        if (commands.empty() || word.starts_with('-')) break;
        const auto below = std::find_if(commands.begin(), commands.end(),
                                        [&](const auto* c) { return c->check_name(word); });
        if (below == commands.end()) {
            Nearest nearest;
            findNearest(*command, path, word, nearest);
            message = '"' + visible(word) + "\" is not a command of \"" + path +
                      "\"; the nearest is \"" + nearest.path + '"';
            break;
        }
        command = *below;
        path += ' ' + word;
    }
    return {kUsageError, message + "\nRun \"" + path + " --help\" to see what it takes."};
}

int run(int argc, char** argv) {
    FileArguments files;
    Job job;
    CLI::App app("Converts bytes to and from text encodings.", "contentcode");
    app.set_version_flag("--version", "contentcode " CONTENTCODE_VERSION);
    app.require_subcommand(1);
    addFormatCommands(app, files, job);
    addMailCommands(app, files, job);
    addItidaCommand(app, files, job);
    addFooters(app, app.get_name());
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        if (e.get_exit_code() != 0) throw usageError(app, {argv + 1, argv + argc}, e.what());
        std::ostringstream text;  // the help, or the version
        app.exit(e, text, text);
        writeText(text.str());
        return kSuccess;
    }
    try {
        job();
    } catch (const std::bad_alloc&) {
        throw Failure(kDataError, visible(files.input) + ": not enough memory");
    }
    return kSuccess;
}

}  // namespace

void addConversion(CLI::App& group, const char* name, const char* summary, AddCommand add,
                   FileArguments& files, Job& job, bool writes) {
    CLI::App* const command = group.add_subcommand(name, summary);
    const Job work = add(*command, files);
    command->add_option("FILE", files.input, "The file to read; standard input by default")
        ->type_name("");
    if (writes)
        command
            ->add_option("-o,--output", files.output,
                         "The file to write; standard output by default")
            ->type_name("FILE");
    command->add_flag("--no-progress", files.noProgress, "Show no progress line on a terminal");
    command->callback([&job, work] { job = work; });
}

int main(int argc, char** argv) {
    if (!occupyStandardDescriptors()) return kFileError;
    // A reader that has gone ends the run, whatever the parent chose. A file at its limit is an
    // error like any other.
    (void)std::signal(SIGPIPE, SIG_DFL);
    (void)std::signal(SIGXFSZ, SIG_IGN);
    try {
        return run(argc, argv);
    } catch (const Failure& failure) {
        report(failure.what());
        return failure.status();
    } catch (const std::exception& e) {
        report(visible(e.what()));
        return kDataError;
    }
}
