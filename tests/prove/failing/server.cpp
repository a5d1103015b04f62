#include "tests/prove/failing/server.h"

#include <algorithm>
#include <ctype.h>
#include <dlfcn.h>
#include <errno.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <malloc.h>
#include <map>
#include <set>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

typedef std::map<std::string, std::string> Files; // contents by path

static const unsigned int sc_seconds = 120;      // a run that takes longer hangs. A machine may be busy.
static const unsigned int sc_appKitSeconds = 15; // some of AppKit's libraries go on forever without memory

// What a child process reports to its parent, in shared memory.
struct Report {
    CallLog log;
    unsigned int liveBlocks;
    unsigned int openFiles;
    bool hasEnded; // the scenario's run function has returned
    char fault[256];
    char endedIn[64];    // the file in whose code a signal ended the process; "" if none did
    bool endedInLibrary; // this file is one of the project's libraries
};

struct Run {
    int status; // of waitpid
    unsigned int liveBlocks;
    unsigned int openFiles;
    bool hasEnded;
    bool endedInLibrary;
    std::string fault;
    std::string endedIn;
    std::string said; // the text of standard output and standard error
    Files files;
};

static std::string contentOf(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

static Files filesBelow(const fs::path& folder)
{
    Files files;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            files[fs::relative(entry.path(), folder).string()] = contentOf(entry.path());
        }
    }
    return files;
}

// Returns the number of open files without those that AppKit opened. The number includes the descriptor that reads the
// folder of descriptors.
static unsigned int openFiles()
{
    unsigned int count = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc/self/fd")) {
        const int file = atoi(entry.path().filename().c_str());
        if (!IsForeignFile(file)) {
            count += 1;
        }
    }
    return count;
}

static Report* sharedReport()
{
    void* memory = mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return memory == MAP_FAILED ? nullptr : static_cast<Report*>(memory);
}

// Returns the name of the file that has the code at this address, such as "libcore.so.1"; "" if no file has it.
static std::string fileOf(const void* address, size_t* offset)
{
    Dl_info where = {};
    dladdr(address, &where);
    *offset = static_cast<size_t>(static_cast<const char*>(address) - static_cast<const char*>(where.dli_fbase));
    return where.dli_fname ? fs::path(where.dli_fname).filename().string() : "";
}

// Returns true for this program, and for the libraries of C and C++, which run on behalf of their callers.
static bool isNeutral(const std::string& file)
{
    return file.find("prove") != file.npos || file.find("libc.so") != file.npos || file.empty() ||
           file.find("libstdc++") != file.npos || file.find("libgcc_s") != file.npos;
}

static Report* s_report; // of this process

// The handler of the signals that end a process. Reports in whose code the process was.
static void onDeath(int number)
{
    LogStack();
    DisarmFailures();
    for (int depth = 0; depth < s_report->log.depth && !s_report->endedIn[0]; ++depth) {
        size_t offset;
        const std::string file = fileOf(s_report->log.stack[depth], &offset);
        if (!isNeutral(file)) {
            snprintf(s_report->endedIn, sizeof(s_report->endedIn), "%s", file.substr(0, file.find(".so")).c_str());
            s_report->endedInLibrary = IsLibrarys(s_report->log.stack[depth]);
        }
    }
    signal(number, SIG_DFL);
    raise(number);
}

static void watchDeaths(Report* report)
{
    s_report = report;
    for (const int number : {SIGSEGV, SIGBUS, SIGILL, SIGABRT, SIGALRM}) {
        struct sigaction action = {};
        action.sa_handler = onDeath;
        action.sa_flags = static_cast<int>(SA_RESETHAND); // a crash in the handler ends the process, too
        sigaction(number, &action, nullptr);
    }
}

// The steps of one run, in the child. failing: null if the run ends before the scenario begins.
[[noreturn]] static void play(const Scenario& scenario, const FailingCall* failing, Report* report)
{
    if (scenario.prepare) {
        scenario.prepare();
    }
    if (!failing) {
        exit(0);
    }
    if (scenario.setUp) {
        scenario.setUp();
    }
    const unsigned int openBefore = openFiles();
    if (scenario.callers == CALLERS_APPKIT) {
        watchDeaths(report);
    }
    alarm(scenario.callers == CALLERS_APPKIT ? sc_appKitSeconds : sc_seconds);
    ArmFailures(&report->log, *failing);
    const int status = scenario.run();
    DisarmFailures();
    report->hasEnded = true;
    if (scenario.settle) {
        scenario.settle();
    }
    report->liveBlocks = scenario.keepsBlocks ? LostBlocks() : LiveBlocks();
    report->openFiles = openFiles() - openBefore;
    const char* fault = scenario.check ? scenario.check() : nullptr;
    snprintf(report->fault, sizeof(report->fault), "%s", fault ? fault : "");
    if (getenv("FAILING_BLOCKS")) {
        PrintLiveBlocks(20);
    }
    fflush(nullptr);
    _exit(status);
}

class Player {
public:
    Player(const Scenario& scenario, const fs::path& folder)
        : m_scenario(scenario), m_folder(folder), m_report(sharedReport())
    {
    }

    Run play(const FailingCall* failing)
    {
        const fs::path own = m_folder / "run";
        const fs::path said = m_folder / "said";
        fs::remove_all(own);
        fs::remove(said); // the game of a tool that has given up may go on and write to the former file
        fs::create_directories(own);
        memset(m_report->fault, 0, sizeof(m_report->fault));
        m_report->liveBlocks = m_report->openFiles = 0;
        m_report->hasEnded = m_report->endedInLibrary = false;
        m_report->endedIn[0] = '\0';
        fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            if (!freopen(said.c_str(), "w", stdout) || dup2(STDOUT_FILENO, STDERR_FILENO) < 0 ||
                chdir(own.c_str()) != 0) {
                _exit(99);
            }
            ::play(m_scenario, failing, m_report);
        }
        Run run = {};
        while (waitpid(child, &run.status, 0) < 0 && errno == EINTR) {
        }
        run.liveBlocks = m_report->liveBlocks;
        run.openFiles = m_report->openFiles;
        run.hasEnded = m_report->hasEnded;
        run.fault = m_report->fault;
        run.endedIn = m_report->endedIn;
        run.endedInLibrary = m_report->endedInLibrary;
        run.said = contentOf(said);
        run.files = filesBelow(own);
        return run;
    }

    const CallLog& log() const { return m_report->log; }

private:
    const Scenario& m_scenario;
    fs::path m_folder;
    Report* m_report;
};

// ---- Judging a run

struct Sums {
    unsigned int injections = 0;
    unsigned int ends = 0;    // the game ended as it does without memory
    unsigned int refused = 0; // a tool ended with another status than 0
    unsigned int accepted = 0;
    std::map<std::string, unsigned int> foreign; // how AppKit ended the process, and how often
    unsigned int faults = 0;
};

// Returns true if the game ended as alloc says: the alert, onOutOfMemory(0), exit(-1).
static bool isDocumentedEnd(const Run& run)
{
    return WIFEXITED(run.status) && WEXITSTATUS(run.status) == 255 && !run.hasEnded &&
           run.said.find("has run out of memory and must be") != std::string::npos &&
           run.said.find("onOutOfMemory(0)") != std::string::npos;
}

static std::string excerpt(const std::string& text)
{
    std::string line = text.substr(text.size() > 200 ? text.size() - 200 : 0);
    std::replace(line.begin(), line.end(), '\n', '|');
    return line;
}

static const std::string* find(const Files& files, const std::string& path)
{
    const auto found = files.find(path);
    return found == files.end() ? nullptr : &found->second;
}

static bool areEqual(const std::string* left, const std::string* right)
{
    return left && right ? *left == *right : left == right;
}

// Returns true for files that the library and the programs make while they replace another file. mkstemp makes the
// names with six random letters at the end.
static bool isTemporary(const std::string& path)
{
    const std::string end = fs::path(path).extension().string();
    const bool isRandom = end.size() == 7 && std::all_of(end.begin() + 1, end.end(), [](char letter) {
                              return isalnum(static_cast<unsigned char>(letter)) != 0;
                          });
    return end == ".new" || end == ".lock" || end == ".bak" || isRandom;
}

// Returns what is wrong with the files; empty if nothing is. Adds the files that accept allowed to sums.
static std::string judgeFiles(const Scenario& scenario, const Files& before, const Files& after, const Run& run,
                              Sums* sums)
{
    std::set<std::string> paths;
    for (const Files* files : {&before, &after, &run.files}) {
        for (const auto& file : *files) {
            paths.insert(file.first);
        }
    }
    for (const std::string& path : paths) {
        const std::string* content = find(run.files, path);
        if (areEqual(content, find(before, path)) || areEqual(content, find(after, path)) || isTemporary(path)) {
            continue;
        }
        if (!content) {
            return path + " is lost";
        }
        if (!scenario.accept || !scenario.accept(path, *content)) {
            return path + " is neither as before nor new: \"" + excerpt(*content) + "\"";
        }
        sums->accepted += 1;
    }
    return "";
}

// The state with which every run is compared.
struct Expected {
    Files before;
    Run whole; // a run without failures
};

// A run in which a call of AppKit fails. AppKit may end the process, but the library may not.
static std::string judgeAppKit(const Run& run, Sums* sums)
{
    const int number = WIFSIGNALED(run.status) ? WTERMSIG(run.status) : 0;
    if (run.status != 0) {
        const std::string how = number == SIGALRM ? "hangs" : number != 0 ? "crashes" : "ends";
        sums->foreign[how + (run.endedIn.empty() ? "" : " in " + run.endedIn)] += 1;
    }
    return run.endedInLibrary ? std::string("dies: ") + strsignal(number) : "";
}

static std::string judge(const Scenario& scenario, const Expected& expected, const Run& run, Sums* sums)
{
    if (WIFSIGNALED(run.status)) {
        return WTERMSIG(run.status) == SIGALRM ? "hangs" : std::string("dies: ") + strsignal(WTERMSIG(run.status));
    }
    const std::string lost = judgeFiles(scenario, expected.before, expected.whole.files, run, sums);
    if (!lost.empty()) {
        return lost;
    }
    if (isDocumentedEnd(run)) {
        sums->ends += 1;
        return "";
    }
    if (scenario.isTool && (WEXITSTATUS(run.status) != 0 && run.status != expected.whole.status)) {
        sums->refused += 1;
        return run.said.empty() ? "ends with " + std::to_string(WEXITSTATUS(run.status)) + " and says nothing" : "";
    }
    if (scenario.otherEnd != 0 && !run.hasEnded && WEXITSTATUS(run.status) == scenario.otherEnd) {
        sums->ends += 1;
        return "";
    }
    if (run.status != expected.whole.status || (!run.hasEnded && !scenario.isTool)) {
        return "ends with " + std::to_string(WEXITSTATUS(run.status));
    }
    if (!run.fault.empty()) {
        return run.fault;
    }
    if (scenario.keepsFile && scenario.keepsFile(run.said)) {
        return "";
    }
    if (scenario.reports) {
        return "";
    }
    const unsigned int kept = run.liveBlocks - expected.whole.liveBlocks;
    if (run.liveBlocks > expected.whole.liveBlocks) {
        return std::to_string(kept) + " blocks are leaked";
    }
    if (run.openFiles > expected.whole.openFiles) {
        return std::to_string(run.openFiles - expected.whole.openFiles) + " files are not closed";
    }
    if (scenario.isTool && run.said != expected.whole.said) {
        return "ends as without a failure, but with another output";
    }
    return "";
}

// ---- Playing

// Returns the name of a call, and where this project's libraries made it: library and offset, innermost first.
static std::string whereIs(const Call& call, const CallLog& log)
{
    std::string text = call.name;
    for (int depth = 0; depth < log.depth; ++depth) {
        size_t offset;
        const std::string file = fileOf(log.stack[depth], &offset);
        if (!isNeutral(file)) {
            char place[32];
            snprintf(place, sizeof(place), "+0x%zx", offset);
            text += " < " + file.substr(0, file.find(".so")) + place;
        }
    }
    return text;
}

static const char* nameOf(e_Failure failure)
{
    return failure == FAIL_ONCE ? "once" : failure == FAIL_INTERRUPTED ? "interrupted" : "from here on";
}

// Lets one call fail in each way.
static void inject(const Scenario& scenario, Player* player, const Expected& expected, unsigned int number,
                   const Call& call, Sums* sums)
{
    for (e_Failure failure : {FAIL_ONCE, FAIL_FROM_HERE, FAIL_INTERRUPTED}) {
        if (failure == FAIL_INTERRUPTED && !call.interruptible) {
            continue;
        }
        const FailingCall failing = {number, failure, scenario.callers};
        const Run run = player->play(&failing);
        sums->injections += 1;
        const std::string fault =
            scenario.callers == CALLERS_APPKIT ? judgeAppKit(run, sums) : judge(scenario, expected, run, sums);
        if (!fault.empty()) {
            sums->faults += 1;
            printf("FAULT: %s: %s; call %u fails %s: %s; it said: %s\n", scenario.name, fault.c_str(), number,
                   nameOf(failure), whereIs(call, player->log()).c_str(), excerpt(run.said).c_str());
        }
    }
}

static unsigned int numberOf(const char* variable, unsigned int otherwise)
{
    const char* text = getenv(variable);
    return text ? static_cast<unsigned int>(atoi(text)) : otherwise;
}

int PlayWithFailures(const Scenario& scenario, unsigned int step)
{
    mallopt(M_PERTURB, 0xa5); // freed and new blocks hold no zeros
    std::string folder =
        fs::exists("/dev/shm") ? "/dev/shm/prove-XXXXXX" : "/tmp/prove-XXXXXX"; // memory: faster than a disk
    if (!mkdtemp(&folder[0])) {
        perror(folder.c_str());
        return 1;
    }
    if (scenario.load) {
        scenario.load();
    }
    Sums sums;
    {
        Player player(scenario, folder);
        Expected expected;
        expected.before = player.play(nullptr).files;
        const FailingCall none = {0, FAIL_ONCE, scenario.callers};
        expected.whole = player.play(&none);
        const unsigned int count = player.log().count;
        const std::vector<Call> calls(player.log().calls, player.log().calls + std::min(count, CallLog::sc_most));
        const bool isLogged = calls.size() == count || scenario.callers == CALLERS_APPKIT;
        const unsigned int lost = scenario.keepsBlocks ? expected.whole.liveBlocks : 0;
        if (expected.whole.status != scenario.goodEnd << 8 || !expected.whole.fault.empty() || !isLogged ||
            lost > 0) {
            printf("FAULT: %s fails without any failure: status %d, %u lost blocks, %s, %s\n", scenario.name,
                   expected.whole.status, lost, expected.whole.fault.c_str(), excerpt(expected.whole.said).c_str());
            sums.faults += 1;
        } else {
            const unsigned int last = std::min(count, numberOf("FAILING_LAST", count));
            for (unsigned int number = numberOf("FAILING_FIRST", 1); number <= last; number += step) {
                const Call unlogged = {"malloc", nullptr, CALL_MEMORY, false};
                inject(scenario, &player, expected, number, number <= calls.size() ? calls[number - 1] : unlogged,
                       &sums);
            }
        }
        unsigned int kinds[sc_callKinds] = {};
        for (const Call& call : calls) {
            kinds[call.kind] += 1;
        }
        printf(
            "%s: %u calls (%u memory, %u file, %u lock, %u window, %u process), %u failures, %u ends without memory, "
            "%u refusals, %u files cut short, %u faults\n",
            scenario.name, count, kinds[CALL_MEMORY], kinds[CALL_FILE], kinds[CALL_LOCK], kinds[CALL_WINDOW],
            kinds[CALL_PROCESS], sums.injections, sums.ends, sums.refused, sums.accepted, sums.faults);
        for (const auto& end : sums.foreign) {
            printf("  AppKit %s: %u\n", end.first.c_str(), end.second);
        }
    }
    fs::remove_all(folder);
    return sums.faults == 0 ? 0 : 1;
}
