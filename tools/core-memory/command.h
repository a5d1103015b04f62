// The commands of core-memory. Each source command_NAME.cpp adds one of them to the command line.
#pragma once

#include "tools/core-memory/status.h"
#include "tools/shared/program.h"

// Each adds its command to program. When the command has run, its exit status is in status.
void addDiff(Program& program, int* status);
void addHtml(Program& program, int* status);
void addReport(Program& program, int* status);
void addRun(Program& program, int* status);
void addSizes(Program& program, int* status);
void addTop(Program& program, int* status);
void addSnapshot(Program& program, int* status);
