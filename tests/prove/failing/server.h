// Runs a scenario many times. Each run is a new process, in which a different call fails.
#pragma once

#include "tests/prove/failing/calls.h"

#include <string>

// The steps are called in this order, in a process that was forked for one run. The working folder of the process is an
// empty folder of this run.
struct Scenario {
    const char* name;
    e_Callers callers;
    void (*prepare)();      // makes the files that are there before; null: none
    void (*setUp)();        // begins the game as far as the scenario needs it; null: nothing to do
    int (*run)();           // returns the exit status of the process, 0 for all but tools. Its calls fail.
    const char* (*check)(); // returns what is wrong afterwards; null: nothing is. The pointer may be null, too.
    const char* (*accept)(const std::string& path, const std::string& content); // see below
    void (*load)() = nullptr; // called once, before all runs, so that the runs take less time
    bool keepsBlocks = false; // the libraries' tables may keep blocks: only LostBlocks are leaks
    bool isTool = false;      // a program with an exit status; its output may not differ
    bool reports = false;     // a tool whose output tells what has failed, so its output may differ
    int goodEnd = 0;          // the exit status without failures
    int otherEnd = 0;         // another exit status with which the process may end; 0: none
    void (*settle)() =
        nullptr; // called without failures after run, so that the library gives up blocks it still needs
    bool (*keepsFile)(const std::string& said) = nullptr; // true if, after this output, an open file is no leak
};

// Scenario::accept: after a run, each file must have its content from before the run, or the content after a run
// without failures. For other contents, accept is called. It returns the reason why the content is allowed; null if
// the content is not allowed. The pointer may be null.

// Plays the scenario. Lets each `step`-th call fail, in each way that it can fail. Prints each fault in a line, and at the
// end one line with the sums. Returns 0 if there was no fault, else 1.
// FAILING_FIRST in the environment is the first call that fails, 1 by default; FAILING_LAST is the last one, the last
// call of the scenario by default.
int PlayWithFailures(const Scenario& scenario, unsigned int step);
