// The commands of core-memory. Each source command_NAME.cpp adds one of them to the command line.
#pragma once

#include "tools/core-memory/status.h"

#include <CLI/CLI.hpp>

// Each adds its command to app. When the command has run, its exit status is in status.
void addDiff(CLI::App& app, int* status);
void addHtml(CLI::App& app, int* status);
void addReport(CLI::App& app, int* status);
void addRun(CLI::App& app, int* status);
void addSizes(CLI::App& app, int* status);
void addTop(CLI::App& app, int* status);
void addSnapshot(CLI::App& app, int* status);
