#ifndef TOOL_HEADERCOMMANDS_H
#define TOOL_HEADERCOMMANDS_H

#include "tool/Formats.h"

// Adds the commands "header", "word", "param" and "charsets".
void addHeaderCommands(CLI::App& app, FileArguments& files, Job& job);

#endif
