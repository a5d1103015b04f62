// The commands of core-config. Each source command_NAME.cpp adds one of them to the command line.
#pragma once

#include "tools/core-config/schema.h"
#include "tools/shared/findings.h"

#include <CLI/CLI.hpp>

#include <string>

// Each adds its command to app. When the command has run, its exit status is in status.
void addCheck(CLI::App& app, int* status);
void addLsp(CLI::App& app, int* status);

// Prints a message of the tool on the standard error stream, and returns status.
int complain(int status, const std::string& message);

// Reads a schema; an empty path gives an empty schema. Returns TOOL_FINE, or prints a message and returns
// TOOL_NOT_UNDERSTOOD or TOOL_CANT_ACCESS.
int readSchemaFile(const std::string& path, config::Schema* schema);
