#ifndef TOOL_FORMATS_H
#define TOOL_FORMATS_H

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

// What every conversion takes from the command line.
struct FileArguments {
    std::string input = "-";
    std::string output = "-";
    bool noProgress = false;
};

// The work that the command line asks for; set by the subcommand that was given.
using Job = std::function<void()>;

// A format adds its own options to the subcommand that it is given, and returns what that
// subcommand does. Null where the format does not know the direction.
using AddCommand = Job (*)(CLI::App& command, const FileArguments& files);

// Adds a subcommand that reads a file and, unless it only checks, writes one.
void addConversion(CLI::App& group, const char* name, const char* summary, AddCommand add,
                   FileArguments& files, Job& job, bool writes = true);

#endif
