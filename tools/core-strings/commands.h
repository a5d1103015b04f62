// The commands of core-strings: a source command_NAME.cpp for each. Each returns an exit status of e_ToolStatus.
#pragma once

#include "tools/core-strings/document.h"

#include <string>
#include <vector>

struct CheckOptions {
    std::vector<std::string> files; // "-" is the standard input
    std::string reference;          // --with; empty for none
    bool findsUnchanged = false;
    bool isJson = false;
    bool isGithub = false;
};
int runCheck(const CheckOptions& options);

struct FormatOptions {
    std::vector<std::string> files;
    bool isSorted = false;
    bool isApple = false;
    bool onlyChecks = false; // writes nothing; the status says whether a file would change
};
int runFormat(const FormatOptions& options);

struct StatsOptions {
    std::vector<std::string> files;
    bool isJson = false;
};
int runStats(const StatsOptions& options);

struct PseudoOptions {
    std::string file;
    std::string output = "-";
};
int runPseudo(const PseudoOptions& options);

struct MergeOptions {
    std::string oldFile;
    std::string newFile;
    std::string output; // empty: OLD is replaced
    bool dropsUnused = false;
    bool isWithoutProposals = false; // new keys get no similar translation
};
int runMerge(const MergeOptions& options);

struct PoOptions {
    std::string file;
    std::string output = "-";
    bool isTemplate = false; // without translations
};
int runPo(const PoOptions& options);

struct FromPoOptions {
    std::string file;
    std::string output = "-";
};
int runFromPo(const FromPoOptions& options);

// Prints a message of the program on the standard error stream, and returns status.
int complain(int status, const std::string& message);

// Reads a strings file, and stores its bytes unless bytes is null. Returns TOOL_FINE, or prints why not and returns
// another status.
int loadDocument(const std::string& path, Document* document, std::string* bytes = nullptr);

// Replaces a file, or writes to the standard output for "-". Returns TOOL_FINE, or prints why not and returns another
// status.
int saveFile(const std::string& path, const std::string& bytes);
