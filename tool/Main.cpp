#include <csignal>
#include <cstdio>
#include <iostream>
#include <sstream>

#include "tool/Failure.h"
#include "tool/Files.h"
#include "tool/Formats.h"
#include "tool/HeaderCommands.h"
#include "tool/Itida.h"

namespace {

const Format* const kFormats[] = {&kBase64Format, &kQuotedPrintableFormat, &kDkimFormat,
                                  &kBase32Format, &kBase58Format,          &kAscii85Format,
                                  &kEdaFormat};

constexpr const char* kExamples =
    "Examples:\n"
    "  contentcode encode base64 photo.jpg -o photo.b64\n"
    "  contentcode encode base64 --break none < token.bin\n"
    "  tar c docs | contentcode encode base64 --url | contentcode decode base64 --url | tar t\n"
    "  contentcode encode qp letter.txt | mail-it\n"
    "  printf %s \"$subject\" | contentcode header encode --fold\n"
    "  contentcode header decode --each-line subjects.txt\n"
    "  contentcode itida invoice.json | sha256sum\n"
    "  contentcode check base64 photo.b64 && echo fine\n"
    "\n"
    "Exit status: 0 success, 1 the data is at fault, 2 the command line, 3 a file.";

// A subcommand for a direction, with one for every format that knows the direction.
void addDirection(CLI::App& app, const char* name, const char* summary,
                  AddCommand Format::*direction, FileArguments& files, Job& job) {
    CLI::App* const command = app.add_subcommand(name, summary);
    command->require_subcommand(1);
    for (const Format* const format : kFormats) {
        if (format->*direction)
            addConversion(*command, format->name, format->summary, format->*direction, files, job,
                          direction != &Format::check);
    }
}

void writeText(const std::string& text) {
    Destination out("-");
    out.write(text);
    out.commit();
}

void listFormats() {
    std::ostringstream list;
    for (const Format* const format : kFormats) {
        list << format->name << '\t' << (format->encode ? "encode " : "")
             << (format->decode ? "decode " : "") << (format->check ? "check" : "") << '\t'
             << format->summary << '\n';
    }
    writeText(list.str());
}

int run(int argc, char** argv) {
    FileArguments files;
    Job job;
    CLI::App app("Converts bytes to and from text encodings.", "contentcode");
    app.set_version_flag("--version", "contentcode " CONTENTCODE_VERSION);
    app.footer(kExamples);
    app.require_subcommand(1);
    addDirection(app, "encode", "Bytes to text", &Format::encode, files, job);
    addDirection(app, "decode", "Text to bytes", &Format::decode, files, job);
    addDirection(app, "check", "Tell whether a text is in a format", &Format::check, files, job);
    addHeaderCommands(app, files, job);
    addItidaCommand(app, files, job);
    app.add_subcommand("formats", "List the formats")->callback([&job] { job = listFormats; });
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        std::ostringstream text;
        const bool asked = app.exit(e, text, std::cerr) == 0;  // for help, or the version
        if (asked) writeText(text.str());
        return asked ? kSuccess : kUsageError;
    }
    try {
        job();
    } catch (const std::bad_alloc&) {
        throw Failure(kDataError, files.input + ": not enough memory");
    }
    return kSuccess;
}

}  // namespace

void addConversion(CLI::App& group, const char* name, const char* summary, AddCommand add,
                   FileArguments& files, Job& job, bool writes) {
    CLI::App* const command = group.add_subcommand(name, summary);
    const Job work = add(*command, files);
    command->add_option("FILE", files.input, "What to read; standard input by default")
        ->type_name("");
    if (writes)
        command
            ->add_option("-o,--output", files.output, "What to write; standard output by default")
            ->type_name("FILE");
    command->add_flag("--no-progress", files.noProgress, "No progress line on a terminal");
    command->callback([&job, work] { job = work; });
}

int main(int argc, char** argv) {
    // A reader that went away and a file at its limit are errors like any other.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    try {
        return run(argc, argv);
    } catch (const Failure& failure) {
        std::fprintf(stderr, "contentcode: %s\n", failure.what());
        return failure.status();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "contentcode: %s\n", e.what());
        return kDataError;
    }
}
