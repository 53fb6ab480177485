#ifndef TOOL_FORMATCOMMANDS_H
#define TOOL_FORMATCOMMANDS_H

#include "tool/Formats.h"

// Adds the verbs "encode", "decode" and "check" with a subcommand for each format, a command for
// each format, and "formats".
void addFormatCommands(CLI::App& app, FileArguments& files, Job& job);

#endif
