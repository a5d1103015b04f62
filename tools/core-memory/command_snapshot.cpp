// core-memory snapshot: writes the banks of a running game, or of a core dump, to a snapshot file.
#include "tools/core-memory/command.h"
#include "tools/core-memory/files.h"
#include "tools/core-memory/output.h"
#include "tools/core-memory/takesnapshot.h"

#include <memory>
#include <stdio.h>
#include <time.h>

static const char sc_footer[] =
    "Examples:\n"
    "  core-memory snapshot $(pidof core_demo) -o now.snapshot\n"
    "  core-memory snapshot $(pidof core_demo) | core-memory report -\n"
    "  core-memory snapshot core.4711 --executable build/release/demo/core_demo -o crash.snapshot\n"
    "\n"
    "The process is stopped only while its memory is read. It continues in any case, also when this command is "
    "killed.\n"
    "\n"
    "Exit status: 0 fine, 1 the snapshot has damage, 2 the command line is wrong, 3 the process or file can't be "
    "read.";

struct SnapshotOptions {
    SnapshotSource source;
    std::string output = "-";
    bool isTimeLeftOut = false;
};

static std::string timeNow()
{
    const time_t now = time(nullptr);
    tm parts;
    char text[32];
    gmtime_r(&now, &parts);
    strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

static void tellWhatWasTaken(const watch::Snapshot& snapshot, double stoppedMs)
{
    size_t blocks = 0;
    for (const watch::Bank& bank : snapshot.banks) {
        blocks += bank.blocks.size() + bank.fallbacks.size();
    }
    fprintf(stderr, "core-memory: %s, %s and free nodes", counted(snapshot.banks.size(), "bank").c_str(),
            counted(blocks, "block").c_str());
    if (stoppedMs >= 0) {
        fprintf(stderr, "; the process was stopped for %.1f ms", stoppedMs);
    }
    fprintf(stderr, "\n");
    for (const std::string& torn : snapshot.torn) {
        fprintf(stderr, "core-memory: %s, so its lists may be half linked\n", torn.c_str());
    }
    if (!snapshot.damages.empty()) {
        fprintf(stderr, "core-memory: the snapshot has damage; core-memory report shows it\n");
    }
}

static int takeAndWrite(const SnapshotOptions& options)
{
    watch::Snapshot snapshot;
    double stoppedMs = -1;
    if (const int status = takeSnapshotOf(options.source, &snapshot, &stoppedMs)) {
        return status;
    }
    snapshot.time = options.isTimeLeftOut ? "" : timeNow();
    if (const int status = writeWholeFile(options.output, watch::writeSnapshot(snapshot))) {
        return status;
    }
    tellWhatWasTaken(snapshot, stoppedMs);
    return snapshot.damages.empty() ? STATUS_FINE : STATUS_FOUND;
}

void addSnapshot(Program& program, int* status)
{
    const auto options = std::make_shared<SnapshotOptions>();
    Command command =
        program.addCommand("snapshot", "Writes the banks of a running game, or of a core dump, to a file");
    command.addOption("PID|CORE", &options->source.target, "A process, or a core dump").required();
    command.addOption("-o,--output", &options->output, "The file; - for the standard output").showsDefault();
    command.addOption("--executable", &options->source.executable, "The program of the core dump");
    command.addFlag("--no-time", &options->isTimeLeftOut, "Leave the time out, so that equal games give equal files");
    command.footer(sc_footer);
    command.onRun([=] { *status = takeAndWrite(*options); });
}
