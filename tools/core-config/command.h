// The commands of core-config, without their command lines: main.cpp fills the options and calls a command. Each command
// returns an e_ToolStatus.
#pragma once

#include "tools/core-config/check.h"
#include "tools/core-config/gamereads.h"
#include "tools/core-config/schema.h"
#include "tools/shared/findings.h"
#include "tools/shared/startgame.h"

#include <functional>
#include <string>
#include <vector>

struct CheckCommand {
    std::vector<std::string> files;
    std::string schema; // path
    std::string as;     // the file's path in the schema
    config::CheckOptions check;
    bool isIni = false;
    bool isFix = false;
    bool isDryRun = false;
    bool isJson = false;
    bool isGithub = false;
};

int runCheck(const CheckCommand& options);

int runLsp(const std::string& schemaPath); // an empty path: without a schema

struct LearnCommand {
    std::string schema; // path
    std::vector<std::string> command;
};

int runLearn(const LearnCommand& options);

struct RunCommand {
    std::vector<std::string> command;
    std::string output; // path; empty: the standard error stream
    bool isJson = false;
    bool isGithub = false;
    bool isFailing = false; // status 1 after a finding
};

int runGame(const RunCommand& options);

// Prints a message of the tool on the standard error stream, and returns status.
int complain(int status, const std::string& message);

// Reads a schema; an empty path gives an empty schema. Returns TOOL_FINE, or prints a message and returns
// TOOL_NOT_UNDERSTOOD or TOOL_CANT_ACCESS.
int readSchemaFile(const std::string& path, config::Schema* schema);

// Runs a game and collects what it reads. Calls onReads now and then while the game runs, and once after its end. Returns
// TOOL_FINE, or prints a message and returns TOOL_CANT_ACCESS when the game can't be started.
int playGame(const std::vector<std::string>& command, config::GameReads* reads, StartedGame* game,
             const std::function<void()>& onReads);
