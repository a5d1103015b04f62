// A small game without a picture, from start-up to shutdown.
//
// What its scripts and its records ask for was recorded in two real programs. The game plays it again, frame by
// frame, from banks of its own; then it looks whether all is well, and shows where the memory went. Run it twice: the
// banks learn from each run how large they should be.
#include "demo/bankcheck.h"
#include "demo/progress.h"
#include "demo/replay.h"
#include "demo/report.h"

#include "core/platform.h"

#include <unistd.h>

// How the process ends.
static const int sc_allIsWell = 0;
static const int sc_damaged = 1;       // a block or a bank is not as it should be
static const int sc_nothingToPlay = 2; // a session is missing, or no session at all

// The folder with the game's own files; in a bundle it is among the resources.
static std::string defaultFolder()
{
    const char* gamePath = GetAppGamePath();
    return std::string(gamePath ? gamePath : "") + "sessions";
}

static bool load(const std::string& folder, const Recording& recording, Session* session)
{
    const std::string path = folder + "/" + recording.fileName;
    std::string why;
    if (!LoadSession(path.c_str(), session, &why)) {
        ReportUnreadableSession(path, why);
        return false;
    }
    return true;
}

static bool playFrames(Replay& scripts, Replay& records)
{
    Progress progress(sc_frames);
    for (unsigned int frame = 0; frame < sc_frames; ++frame) {
        progress.show(frame);
        if (!scripts.playFrame(frame) || !records.playFrame(frame)) {
            return false;
        }
        g_MemoryPtr->free(BANK_FRAME, nullptr); // the frame is over: forget everything in it
    }
    return true;
}

static bool banksCheckOut(GameMemory& memory, bool expectEmpty)
{
    bool sound = true;
    for (int bank = 0; bank < BANK_COUNT; ++bank) {
        if (const int code = CheckBank(memory, bank, expectEmpty)) {
            ReportBankFault(bank, code);
            sound = false;
        }
    }
    return sound;
}

// Whether the banks hold as many blocks as the session has left there.
static bool liveBlocksMatch(const std::vector<LivePlace>& places, const Replay& replay)
{
    unsigned int found = 0;
    for (const LivePlace& place : places) {
        found += place.file == replay.name() ? place.blocks : 0;
    }
    if (found != replay.liveAtEnd()) {
        ReportLiveCount(replay.name(), replay.liveAtEnd(), found);
        return false;
    }
    return true;
}

// One game, in banks that are ready for it.
static int play(GameMemory& memory, const std::string& folder)
{
    Session scriptSession;
    Session recordSession;
    if (!load(folder, sc_scripts, &scriptSession) || !load(folder, sc_records, &recordSession)) {
        return sc_nothingToPlay;
    }
    Replay scripts(sc_scripts, scriptSession);
    Replay records(sc_records, recordSession);
    const auto begin = std::chrono::steady_clock::now();
    if (!playFrames(scripts, records)) {
        return sc_damaged;
    }
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    ReportPlayed(scriptSession.operations.size() + recordSession.operations.size(), time.count());

    ReportBanks(memory);
    if (!banksCheckOut(memory, false)) {
        return sc_damaged;
    }
    const std::vector<LivePlace> places = FindLiveBlocks(memory);
    ReportLiveBlocks(places);
    if (!liveBlocksMatch(places, scripts) || !liveBlocksMatch(places, records)) {
        return sc_damaged;
    }
    if (!scripts.freeAll() || !records.freeAll() || !banksCheckOut(memory, true)) {
        return sc_damaged;
    }
    ReportVerdict(memory);
    return sc_allIsWell;
}

int main(int argc, char** argv)
{
    // The platform comes first: the memory manager asks it for the game's folder.
    Platform::SystemCheck();
    Platform::SetApp(1);
    if (argc > 2) {
        ReportUsage(argv[0]);
        return sc_nothingToPlay;
    }

    int status = sc_allIsWell;
    std::vector<BankSize> sizes;
    std::string sizesPath;
    {
        GameMemory memory; // g_MemoryPtr from here on
        sizesPath = memory.bankSizesPath();
        const bool hasRunBefore = access(sizesPath.c_str(), R_OK) == 0;
        memory.defineBanks();
        memory.start();
        ReportStart(memory.sizes(), sizesPath, hasRunBefore);
        status = play(memory, argc == 2 ? argv[1] : defaultFolder());
        sizes = memory.sizes();
    } // all memory goes back, and each bank writes down what it would have liked to be
    if (status == sc_allIsWell) {
        ReadNextSizes(sizesPath, &sizes);
        ReportNextSizes(sizes, sizesPath, access(sizesPath.c_str(), W_OK) == 0);
    }
    return status;
}
