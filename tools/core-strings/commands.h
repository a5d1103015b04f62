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

struct RecordOptions {
    std::vector<std::string> command; // the game and its arguments
    std::string output = "recorded.utf8";
    std::string root;                 // the folder where paths of source files begin; empty: the current one
    std::vector<std::string> through; // functions that pass a text on
    bool isJson = false;
};
int runRecord(const RecordOptions& options);

struct MissingOptions {
    std::vector<std::string> command; // the game and its arguments; may be empty
    std::vector<std::string> records; // of other runs
    std::vector<std::string> files;   // strings files; empty: those that the game opens
    std::string root;
    std::vector<std::string> through;
    bool isJson = false;
    bool isGithub = false;
};
int runMissing(const MissingOptions& options);

struct LspOptions {
    std::vector<std::string> others;  // strings files of other languages; empty: those beside the file
    std::vector<std::string> records; // of runRecord
};
int runLsp(const LspOptions& options);

// True for a path that ends in .po or .pot.
bool isPoPath(const std::string& path);

// Reads a record, which is a strings file or a PO file. Returns TOOL_FINE, or prints why not and returns another status.
int loadRecord(const std::string& path, Document* record);

// Prints a message of the program on the standard error stream, and returns status.
int complain(int status, const std::string& message);

// Reads a strings file, and stores its bytes unless bytes is null. Returns TOOL_FINE, or prints why not and returns
// another status.
int loadDocument(const std::string& path, Document* document, std::string* bytes = nullptr);

// Replaces a file, or writes to the standard output for "-". Returns TOOL_FINE, or prints why not and returns another
// status.
int saveFile(const std::string& path, const std::string& bytes);
