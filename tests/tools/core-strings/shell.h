// core-strings, as a shell runs it in the test's own folder.
#pragma once

#include "tests/support/shell.h"

// arguments are words of a shell.
inline Result run(const std::string& arguments)
{
    return runShell("'" PROGRAM "' " + arguments);
}
