#include "tools/core-memory/takesnapshot.h"
#include "tools/core-memory/coredump.h"
#include "tools/core-memory/locks.h"
#include "tools/core-memory/process.h"
#include "tools/core-memory/status.h"
#include "watch/walk.h"

#include <algorithm>
#include <chrono>
#include <stdlib.h>
#include <thread>

static const int sc_mostTries = 20;  // how often a process is stopped again when a bank's lock was held
static const int sc_damageTries = 3; // how often in all when damage was found: half done work is gone at the next try
static const std::chrono::milliseconds sc_betweenTries(3);

static double millisecondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

// Returns the address of the memory manager; 0 when the game has none yet.
static uint64_t managerOf(const watch::MemoryReader& memory, const GameSymbols& symbols)
{
    uint64_t manager = 0;
    for (const uint64_t pointer : symbols.managerPointers) {
        if (manager == 0 && !memory.readPointer(pointer, &manager)) {
            manager = 0;
        }
    }
    return manager;
}

static bool walk(const watch::MemoryReader& memory, const GameSymbols& symbols, watch::Snapshot* snapshot,
                 std::string* error)
{
    const watch::LinkTables tables = watch::findLinkTables(memory, symbols.writable);
    return watch::takeSnapshot(memory, tables, managerOf(memory, symbols), snapshot, error);
}

bool LiveGame::open(pid_t process, std::string* error)
{
    m_process = process;
    return m_modules.openProcess(process, error) && m_modules.findSymbols(&m_symbols, error);
}

// Stops the game and walks its banks. While a lock is held, only the last try walks.
bool LiveGame::_try(bool isLastTry, watch::Snapshot* snapshot, std::string* error) const
{
    const ProcessMemory source(m_process, m_symbols.layout);
    const watch::CachedMemory memory(source);
    StoppedProcess stopped;
    if (!stopped.stop(m_process, error)) {
        return false;
    }
    snapshot->torn = heldLocks(memory, m_symbols);
    return (!snapshot->torn.empty() && !isLastTry) || walk(memory, m_symbols, snapshot, error);
}

bool LiveGame::take(watch::Snapshot* snapshot, double* stoppedMs, std::string* error) const
{
    for (int tries = 1; tries <= sc_mostTries; ++tries) {
        const auto start = std::chrono::steady_clock::now();
        *snapshot = watch::Snapshot();
        if (!_try(tries == sc_mostTries, snapshot, error)) {
            return false;
        }
        *stoppedMs = millisecondsSince(start);
        if (snapshot->torn.empty() && (snapshot->damages.empty() || tries >= sc_damageTries)) {
            break;
        }
        std::this_thread::sleep_for(sc_betweenTries);
    }
    snapshot->game = m_modules.programName();
    return true;
}

bool LiveGame::takeCounters(watch::Snapshot* snapshot, std::string* error) const
{
    const ProcessMemory memory(m_process, m_symbols.layout);
    *snapshot = watch::Snapshot();
    snapshot->game = m_modules.programName();
    return watch::takeCounters(memory, managerOf(memory, m_symbols), snapshot, error);
}

static int takeOfProcess(pid_t process, watch::Snapshot* snapshot, double* stoppedMs)
{
    LiveGame game;
    std::string error;
    const bool isTaken = game.open(process, &error) && game.take(snapshot, stoppedMs, &error);
    return isTaken ? STATUS_FINE : complain(STATUS_CANT_LOOK, error);
}

static int takeOfCore(const SnapshotSource& source, watch::Snapshot* snapshot)
{
    Modules modules;
    GameSymbols symbols;
    std::string error;
    if (!modules.openCore(source.target, source.executable, &error) || !modules.findSymbols(&symbols, &error)) {
        return complain(STATUS_CANT_LOOK, error);
    }
    const CoreMemory memory(modules, symbols.layout);
    if (!walk(memory, symbols, snapshot, &error)) {
        return complain(STATUS_CANT_LOOK, error);
    }
    snapshot->torn = heldLocks(memory, symbols);
    snapshot->game = modules.programName();
    return STATUS_FINE;
}

static bool isNumber(const std::string& text)
{
    return !text.empty() && text.size() < 10 && text.find_first_not_of("0123456789") == std::string::npos;
}

int takeSnapshotOf(const SnapshotSource& source, watch::Snapshot* snapshot, double* stoppedMs)
{
    *stoppedMs = -1;
    return isNumber(source.target) ? takeOfProcess(atoi(source.target.c_str()), snapshot, stoppedMs)
                                   : takeOfCore(source, snapshot);
}
