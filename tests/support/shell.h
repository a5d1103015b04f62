// A command, as a shell runs it in the test's own folder.
#pragma once

#include "tests/support/files.h"

#include <stdlib.h>
#include <string>
#include <sys/wait.h>

struct Result {
    int status; // -1: a signal has ended the shell
    std::string output;
    std::string errors;
};

inline Result runShell(const std::string& command)
{
    const int status = system(("{ " + command + "; } >output 2>errors").c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile("output"), readFile("errors")};
}

inline bool hasProgram(const std::string& name)
{
    return runShell("command -v " + name).status == 0;
}

inline bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}
