// The commands of core-memory. Each source command_NAME.cpp adds one of them to the command line.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

enum e_ExitStatus {
    STATUS_FINE = 0,           // the command did its work and found nothing wrong
    STATUS_FOUND = 1,          // it found damage, a fault, or a difference
    STATUS_NOT_UNDERSTOOD = 2, // the command line or a file is not of the right form
    STATUS_CANT_LOOK = 3,      // the process or the file can't be opened or read
};

// Each adds its command to app. When the command has run, its exit status is in status.
void addDiff(CLI::App& app, int* status);
void addHtml(CLI::App& app, int* status);
void addReport(CLI::App& app, int* status);
void addRun(CLI::App& app, int* status);
void addSizes(CLI::App& app, int* status);
void addTop(CLI::App& app, int* status);
void addSnapshot(CLI::App& app, int* status);

// Prints a message of the tool on the standard error stream, and returns status.
int complain(int status, const std::string& message);
