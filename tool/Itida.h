#ifndef TOOL_ITIDA_H
#define TOOL_ITIDA_H

#include "tool/Formats.h"

// Adds the command "itida".
void addItidaCommand(CLI::App& app, FileArguments& files, Job& job);

#endif
