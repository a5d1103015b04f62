// core-memory run: starts a game with libcorewatch.so in front.
#include "tools/core-memory/budget.h"
#include "tools/core-memory/command.h"
#include "tools/core-memory/files.h"
#include "tools/core-memory/run_report.h"
#include "tools/core-memory/timeline.h"
#include "tools/core-memory/waitingprocess.h"
#include "tools/core-memory/watchedgame.h"
#include "tools/shared/machine.h"
#include "watch/faulttext.h"
#include "watch/summary.h"
#include "watch/walk.h"

#include <algorithm>
#include <chrono>
#include <errno.h>
#include <memory>
#include <sstream>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

static const char sc_footer[] =
    "Examples:\n"
    "  core-memory run -- ./game -level 2\n"
    "  core-memory run --check --stacks -- ./game\n"
    "  core-memory run --check=each --fail-on-fault -- ./game\n"
    "  core-memory run -o before -- ./game && core-memory report before/end.snapshot\n"
    "\n"
    "The exit status is that of the game. It is 1 when a budget is exceeded, and with --fail-on-fault after a "
    "fault.\n"
    "It is 2 when the command line was not understood, and 3 when the game could not be started.";

struct RunOptions {
    std::vector<std::string> command;
    std::string check; // "", "block" or "each"
    std::string folder;
    std::string budgetFile;
    std::string timelineFile;
    double every = 0; // seconds between two snapshots; 0: none
    unsigned int quarantine = 0;
    bool stacks = false;
    bool valgrind = false;
    bool isFailing = false; // --fail-on-fault
};

// ---- The messages of libcorewatch.so

// The lines of the message "end: CAUSE"; see sendBlocks in watch/preload/recordedbank.h.
class EndMessage {
public:
    EndMessage(const WaitingProcess& process, const std::string& text) : m_process(process)
    {
        std::istringstream lines(text);
        std::string line;
        std::getline(lines, line);
        m_cause = line.substr(strlen("end: "));
        while (std::getline(lines, line)) {
            std::istringstream words(line);
            std::string kind;
            words >> kind;
            if (kind == "manager") {
                words >> std::hex >> m_manager;
            } else if (kind == "defined") {
                int bank = 0;
                words >> bank >> m_defined[bank];
            } else if (kind == "block") {
                _addBlock(words);
            } else if (kind == "stack") {
                unsigned int number = 0;
                words >> number;
                std::getline(words, m_stacks[number]);
            }
        }
    }

    bool store(RunResult* result, std::string* error) const
    {
        watch::CachedMemory memory(m_process);
        if (!watch::takeSnapshot(memory, m_process.tables(), m_manager, &result->snapshot, error)) {
            return false;
        }
        result->snapshot.cause = m_cause;
        for (watch::Bank& bank : result->snapshot.banks) {
            const auto defined = m_defined.find(bank.index);
            bank.defined = defined == m_defined.end() ? 0 : defined->second;
            if (bank.type == watch::BANK_LINEAR) {
                _addLinearBlocks(&result->snapshot, &bank);
            }
            _addTimes(&bank);
        }
        _addStacks(result);
        result->hasSnapshot = true;
        return true;
    }

private:
    struct RecordedBlock {
        int bank;
        long long offset; // -1: a fallback block
        uint32_t bytes;
        std::string nameKind; // see WaitingProcess::sourceName
        uint64_t name;
        uint32_t line;
        unsigned int stack;
        int64_t born;
    };

    void _addBlock(std::istringstream& words)
    {
        RecordedBlock block = {};
        std::string name;
        words >> block.bank >> block.offset >> block.bytes >> block.nameKind >> name >> block.line >> block.stack >>
            block.born;
        block.name = strtoull(name.c_str(), nullptr, 0);
        m_blocks.push_back(block);
    }

    std::string _nameOf(const RecordedBlock& block) const
    {
        const auto found = m_names.emplace(std::make_pair(block.nameKind, block.name), "");
        if (found.second) {
            found.first->second = m_process.sourceName(block.nameKind, block.name);
        }
        return found.first->second;
    }

    // Stores the times of the blocks. A fallback block has no offset: the order of the times is the order of the blocks.
    void _addTimes(watch::Bank* bank) const
    {
        std::map<long long, int64_t> times; // by offset
        std::vector<int64_t> fallbackTimes;
        for (const RecordedBlock& recorded : m_blocks) {
            if (recorded.bank == bank->index && recorded.offset >= 0) {
                times[recorded.offset] = recorded.born;
            } else if (recorded.bank == bank->index) {
                fallbackTimes.push_back(recorded.born);
            }
        }
        for (watch::Block& block : bank->blocks) {
            const auto found = times.find(block.offset);
            if (block.state == watch::BLOCK_USED && found != times.end()) {
                block.born = found->second;
            }
        }
        std::sort(fallbackTimes.begin(), fallbackTimes.end());
        for (size_t number = 0; number < fallbackTimes.size() && fallbackTimes.size() == bank->fallbacks.size();
             ++number) {
            bank->fallbacks[number].born = fallbackTimes[number];
        }
    }

    // A linear bank has no headers, so only the records know its blocks.
    void _addLinearBlocks(watch::Snapshot* snapshot, watch::Bank* bank) const
    {
        for (const RecordedBlock& recorded : m_blocks) {
            if (recorded.bank == bank->index && recorded.offset >= 0) {
                watch::Block block;
                block.state = watch::BLOCK_USED;
                block.offset = static_cast<uint32_t>(recorded.offset);
                block.size = (recorded.bytes + 31) & ~31u;
                block.name = snapshot->addName(_nameOf(recorded));
                block.line = recorded.line;
                bank->blocks.push_back(block);
            }
        }
        std::sort(bank->blocks.begin(), bank->blocks.end(),
                  [](const watch::Block& left, const watch::Block& right) { return left.offset < right.offset; });
        for (uint32_t order = 0; order < bank->blocks.size(); ++order) {
            bank->blocks[order].order = order; // a linear bank serves its region from the start to the end
        }
    }

    std::vector<std::string> _functionsOf(unsigned int number) const
    {
        const auto found = m_stacks.find(number);
        std::istringstream tokens(found == m_stacks.end() ? "" : found->second);
        std::string stack;
        for (std::string kind, address; tokens >> kind >> address;) {
            stack.append("    ").append(kind).append(" ").append(address).append("\n");
        }
        std::istringstream places(m_process.explain(stack));
        std::vector<std::string> functions;
        for (std::string place; std::getline(places, place);) {
            functions.push_back(place.substr(4));
        }
        return functions;
    }

    void _addStacks(RunResult* result) const
    {
        std::map<std::pair<std::string, unsigned int>, StackSum> sums; // by place and stack
        for (const RecordedBlock& block : m_blocks) {
            if (block.stack != 0) {
                const std::string name = _nameOf(block);
                StackSum& sum =
                    sums[{(name.empty() ? "(no name)" : name) + ":" + std::to_string(block.line), block.stack}];
                sum.blocks += 1;
                sum.bytes += block.bytes;
            }
        }
        for (auto& sum : sums) {
            sum.second.functions = _functionsOf(sum.first.second);
            result->stacks[sum.first.first].push_back(std::move(sum.second));
        }
        for (auto& place : result->stacks) {
            std::stable_sort(place.second.begin(), place.second.end(),
                             [](const StackSum& left, const StackSum& right) { return left.bytes > right.bytes; });
        }
    }

    const WaitingProcess& m_process;
    std::string m_cause;
    uint64_t m_manager = 0;
    std::map<int, uint32_t> m_defined;
    std::vector<RecordedBlock> m_blocks;
    std::map<unsigned int, std::string> m_stacks;
    mutable std::map<std::pair<std::string, uint64_t>, std::string> m_names;
};

// Returns the name of the bank in a fault's first line; an empty text if the line names no bank.
static std::string bankOfFault(const std::string& fault)
{
    const size_t begin = fault.find(": bank \"");
    const size_t name = begin + strlen(": bank \"");
    return begin == std::string::npos ? "" : fault.substr(name, fault.find('"', name) - name);
}

// The library may have told of the same damage, with more details.
static bool isToldAlready(const std::vector<std::string>& told, const watch::Snapshot& snapshot,
                          const watch::Damage& damage)
{
    const watch::Bank* bank = snapshot.bankOf(damage.bank);
    return bank && std::any_of(told.begin(), told.end(), [bank](const std::string& fault) {
               return bankOfFault(fault) == bank->name && fault.compare(0, 21, "fault: out-of-memory:") != 0;
           });
}

static void addFault(RunResult* result, const std::string& fault)
{
    printFault(fault);
    result->faults.push_back(fault);
}

static std::string now()
{
    const time_t seconds = time(nullptr);
    struct tm parts;
    char text[32];
    strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", gmtime_r(&seconds, &parts));
    return text;
}

static void takeEnd(const RunOptions& options, const WaitingProcess& process, const std::string& message,
                    RunResult* result)
{
    std::string error;
    result->snapshot = watch::Snapshot();
    result->stacks.clear();
    if (!EndMessage(process, message).store(result, &error)) {
        complain(STATUS_CANT_LOOK, "no snapshot: " + error);
        return;
    }
    const std::string& program = options.command[0];
    result->snapshot.game = program.substr(program.rfind('/') + 1);
    result->snapshot.time = now();
    const std::vector<std::string> told = result->faults;
    for (const watch::Damage& damage : result->snapshot.damages) {
        if (!isToldAlready(told, result->snapshot, damage)) {
            addFault(result, watch::faultOf(result->snapshot, damage));
        }
    }
}

static void takeMessage(const RunOptions& options, const WatchedGame& game, RunResult* result)
{
    const WaitingProcess process(game.sender());
    const std::string& message = game.message();
    if (message.compare(0, 5, "end: ") == 0) {
        takeEnd(options, process, message, result);
    } else if (message.compare(0, 7, "fault: ") == 0) {
        addFault(result, process.explain(message));
    }
}

// ---- The command

static bool makeFolder(const std::string& folder)
{
    return mkdir(folder.c_str(), 0777) == 0 || errno == EEXIST;
}

static std::string folderOf(const RunOptions& options, const WatchedGame& game)
{
    return options.folder.empty() ? "core-memory." + std::to_string(game.game().process()) : options.folder;
}

// Writes a snapshot into the folder of -o. Returns its path; empty after a message.
static std::string store(const RunOptions& options, const WatchedGame& game, const std::string& name,
                         const watch::Snapshot& snapshot)
{
    const std::string folder = folderOf(options, game);
    const std::string path = folder + "/" + name + ".snapshot";
    if (!makeFolder(folder)) {
        complain(STATUS_CANT_LOOK, folder + ": " + strerror(errno));
        return "";
    }
    return writeWholeFile(path, watch::writeSnapshot(snapshot)) == STATUS_FINE ? path : "";
}

static GameVariables variablesOf(const RunOptions& options, const std::string& library)
{
    GameVariables variables = watchVariables(library);
    if (!options.check.empty() || options.quarantine != 0) {
        variables.emplace_back("CORE_WATCH_CHECK", options.check.empty() ? "block" : options.check);
    }
    if (options.stacks) {
        variables.emplace_back("CORE_WATCH_STACKS", "1");
    }
    if (options.quarantine != 0) {
        variables.emplace_back("CORE_WATCH_QUARANTINE", std::to_string(options.quarantine));
    }
    return variables;
}

// What the libraries of windows allocate once and never free is no leak of the game.
static const char sc_suppressions[] = "{\n   objc\n   Memcheck:Leak\n   ...\n   obj:*/libobjc.so*\n}\n"
                                      "{\n   gnustep\n   Memcheck:Leak\n   ...\n   obj:*/libgnustep-*.so*\n}\n";

// Returns the path of a file without a name, which the game inherits.
static std::string suppressionsFile()
{
    const int file = memfd_create("suppressions", 0);
    const bool isWritten = file >= 0 && write(file, sc_suppressions, strlen(sc_suppressions)) > 0;
    return isWritten ? "/proc/self/fd/" + std::to_string(file) : "/dev/null";
}

static std::vector<std::string> commandOf(const RunOptions& options)
{
    std::vector<std::string> command = options.command;
    if (options.valgrind) {
        const std::string words[] = {"valgrind", "--suppressions=" + suppressionsFile()};
        command.insert(command.begin(), std::begin(words), std::end(words));
    }
    return command;
}

// Waits for the end of the game. Meanwhile takes the messages, and a sample after each interval.
class Watching {
public:
    Watching(const RunOptions& options, WatchedGame& game, RunResult* result)
        : m_options(options), m_game(game), m_result(result), m_timeline(game.game().process()),
          m_start(std::chrono::steady_clock::now())
    {
    }

    void watch()
    {
        WatchedGame::Event event;
        while ((event = m_game.wait(_untilSample())) != WatchedGame::EVENT_END) {
            if (event == WatchedGame::EVENT_MESSAGE) {
                if (!m_options.timelineFile.empty()) {
                    m_timeline.readCounters(_seconds()); // the end is a moment of interest as well
                }
                takeMessage(m_options, m_game, m_result);
                m_game.answer();
            } else {
                _sample();
            }
        }
    }

    void writeTimeline() const
    {
        if (!m_options.timelineFile.empty()) {
            writeWholeFile(m_options.timelineFile, m_timeline.trace());
            writeWholeFile(m_options.timelineFile + ".csv", m_timeline.csv());
        }
    }

private:
    double _interval() const
    {
        return m_options.every > 0 ? m_options.every : m_options.timelineFile.empty() ? 0 : 1;
    }

    double _seconds() const
    {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
    }

    int _untilSample() const
    {
        const double left = (m_samples + 1) * _interval() - _seconds();
        return _interval() > 0 ? std::max(0, static_cast<int>(left * 1000)) : -1;
    }

    void _sample()
    {
        m_samples += 1;
        if (!m_options.timelineFile.empty()) {
            m_timeline.readCounters(_seconds());
        }
        watch::Snapshot snapshot;
        if (m_options.every > 0 && m_timeline.takeSnapshot(&snapshot)) {
            char name[16];
            char cause[64];
            snprintf(name, sizeof(name), "%04u", ++m_snapshots);
            snprintf(cause, sizeof(cause), "%.2f seconds after the start", _seconds());
            snapshot.time = now();
            snapshot.cause = cause;
            store(m_options, m_game, name, snapshot);
        }
    }

    const RunOptions& m_options;
    WatchedGame& m_game;
    RunResult* m_result;
    Timeline m_timeline;
    std::chrono::steady_clock::time_point m_start;
    unsigned int m_samples = 0;   // intervals that are over
    unsigned int m_snapshots = 0; // written
};

// Valgrind is a program of this machine. It refuses a 32-bit game without the symbols of the game's C library.
static void tellWhatValgrindNeeds(const RunOptions& options)
{
    const Machine machine = machineOf(programFile(options.command[0]));
    if (options.valgrind && machine.isKnown() && !(machine == ownMachine())) {
        complain(STATUS_CANT_LOOK, "Valgrind starts a " + machine.name() +
                                       " game only if the debug symbols of the game's C library are installed; for " +
                                       "32-bit x86 they are in Debian's package libc6-dbg:i386");
    }
}

// Prints what the run has found. Returns true when a budget is exceeded.
static bool report(const RunOptions& options, const WatchedGame& game, const std::vector<Budget>& budgets,
                   const RunResult& result)
{
    if (!result.hasSnapshot) {
        complain(STATUS_CANT_LOOK, "the game has made no memory manager that this program could see");
        tellWhatValgrindNeeds(options);
        printSummary(result);
        return !budgets.empty();
    }
    printSummary(result);
    const std::vector<std::string> exceeded = exceededBudgets(result.snapshot, budgets);
    for (const std::string& budget : exceeded) {
        printFault(budget);
    }
    const std::string path = store(options, game, "end", result.snapshot);
    if (!path.empty()) {
        fprintf(stderr, "core-memory: the snapshot is %s\n", path.c_str());
    }
    return !exceeded.empty();
}

static int readBudgetFile(const std::string& path, std::vector<Budget>* budgets)
{
    std::string text;
    std::string error;
    if (path.empty()) {
        return STATUS_FINE;
    }
    if (const int status = readWholeFile(path, &text)) {
        return status;
    }
    return readBudgets(text, budgets, &error) ? static_cast<int>(STATUS_FINE)
                                              : complain(STATUS_NOT_UNDERSTOOD, path + ": " + error);
}

static int run(const RunOptions& options)
{
    std::vector<Budget> budgets;
    WatchedGame game;
    RunResult result;
    std::string error;
    const std::string library = watchLibraryPath(options.command, &error);
    if (library.empty()) {
        return complain(STATUS_CANT_LOOK, error);
    }
    if (const int status = readBudgetFile(options.budgetFile, &budgets)) {
        return status;
    }
    if (!game.start(commandOf(options), variablesOf(options, library), &error)) {
        return complain(STATUS_CANT_LOOK, error);
    }
    if (options.quarantine != 0) {
        fprintf(stderr, "core-memory: --quarantine changes where blocks lie\n");
    }
    Watching watching(options, game, &result);
    watching.watch();
    watching.writeTimeline();
    const bool isExceeded = report(options, game, budgets, result);
    const bool isFaulty = options.isFailing && !result.faults.empty();
    return isExceeded || isFaulty ? static_cast<int>(STATUS_FOUND) : game.game().endAsTheGame();
}

void addRun(Program& program, int* status)
{
    auto options = std::make_shared<RunOptions>();
    Command command = program.addCommand("run", "Runs a game; at its end tells its blocks, its banks and its faults");
    command.footer(sc_footer);
    command
        .addFlag("--check{block}", &options->check,
                 "Write patterns into spare and freed bytes, and compare headers; =each: at each operation")
        .oneOf({"block", "each"});
    command.addFlag("--stacks", &options->stacks, "Record the stack of each allocation");
    command.addFlag("--valgrind", &options->valgrind,
                    "Start the game under Valgrind, and announce every block to memcheck");
    command
        .addOption("--quarantine", &options->quarantine,
                   "Keep the last N freed blocks of each bank out of reuse; this changes where blocks lie")
        .range(1, 1 << 20);
    command.addFlag("--fail-on-fault", &options->isFailing, "Exit with status 1 after a fault");
    command.addOption("--every", &options->every, "Take a snapshot each so many seconds: FOLDER/0001.snapshot, ...")
        .range(0.01, 1e6);
    command.addOption("--budget", &options->budgetFile,
                      "Limits, a line each, such as \"level <= 4 MiB\", \"level fallback <= 0\", "
                      "\"leaks <= 0 from game/\"; exit with status 1 when one is exceeded");
    command.addOption("--timeline", &options->timelineFile,
                      "Write the banks over time: FILE for chrome://tracing or Perfetto, FILE.csv as a table");
    command.addOption("-o,--output", &options->folder, "The folder for snapshots (default: core-memory.PID)");
    command.addOption("command", &options->command, "The game and its arguments, after --").required();
    command.endsAtPlaces();
    command.onRun([options, status] { *status = run(*options); });
}
