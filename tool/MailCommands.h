#ifndef TOOL_MAILCOMMANDS_H
#define TOOL_MAILCOMMANDS_H

#include "tool/Formats.h"

// Adds the commands "header", "param", "address", "body" and "charsets".
void addMailCommands(CLI::App& app, FileArguments& files, Job& job);

#endif
