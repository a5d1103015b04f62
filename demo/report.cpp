#include "demo/report.h"

#include "demo/table.h"
#include "demo/texts.h"

#include <stdio.h>

DEMO_TEXT(sc_noFile, "%s can't be read.\n");
DEMO_TEXT(sc_fault, "%s, line %u:\nexpected: %s\nfound:    %s\n");
DEMO_TEXT(sc_noSession, "%s can't be played: %s.\n");
DEMO_TEXT(sc_noSessionFrom, "%s can't be played: %s (operation %s).\n");

DEMO_TEXT(sc_start, "core demo: %u frames of battle, while two recorded programs allocate and free memory\n\n");
DEMO_TEXT(sc_firstRun, "First run: banks start from the sizes in banks.txt.\n");
DEMO_TEXT(sc_sameSizes, "Banks start from the sizes in banks.txt. There are no other sizes in\n%s\n");
DEMO_TEXT(sc_lastSizes, "Banks start from the sizes of the last run: %s of %s differ from banks.txt.\n");
DEMO_TEXT(sc_textsFrom, "Texts come from\n%s\n");
DEMO_TEXT(sc_textsCollected, "The game shows its own texts and will collect them in\n%s\n");
DEMO_TEXT(sc_data, "%s kinds of units fight on %s levels.\n");
DEMO_TEXT(sc_levelSize, "%s: %s by %s fields, %s squads.\n");
DEMO_TEXT(sc_played, "%s operations in %s seconds; every block kept its contents until it was freed.\n");

DEMO_TEXT(sc_wins, "%s: %s wins in %u frames and has %d of %d units left.\n");
DEMO_TEXT(sc_undecided, "%s: undecided after %u frames.\n%s has %d of %d units left, %s has %d of %d.\n");
DEMO_TEXT(sc_hits, "%s hits were made.\n");
DEMO_TEXT(sc_survivor, "survivor");
DEMO_TEXT(sc_army, "army");
DEMO_TEXT(sc_health, "health");
DEMO_TEXT(sc_position, "position");

DEMO_TEXT(sc_bank, "bank");
DEMO_TEXT(sc_requests, "requests\nserved");
DEMO_TEXT(sc_size, "size\nKiB");
DEMO_TEXT(sc_peakKiB, "peak\nKiB");
DEMO_TEXT(sc_inUse, "in use\nKiB");
DEMO_TEXT(sc_blocksInUse, "blocks\nin use");
DEMO_TEXT(sc_freeNodes, "free\nnodes");
DEMO_TEXT(sc_largest, "largest\nKiB");
DEMO_TEXT(sc_fallback, "fallback\nblocks");

DEMO_TEXT(sc_live, "%s blocks with %s bytes are still in use, headers included:\n\n");
DEMO_TEXT(sc_askedForIn, "asked for in");
DEMO_TEXT(sc_blocks, "blocks");
DEMO_TEXT(sc_bytes, "bytes");
DEMO_TEXT(sc_otherPlaces, "%s other places");

DEMO_TEXT(sc_notTranslated, "%s texts are not translated in\n%s\n");
DEMO_TEXT(sc_refused, "%s translations are not used: they do not print the same values as their texts.\n");
DEMO_TEXT(sc_verdict, "All %d banks check out: headers, lists and counters agree, and with the\n"
                      "last blocks freed each is one free block again.\n");
DEMO_TEXT(sc_overflowed, "%d overflowed: their fallback blocks came from outside the bank.\n");
DEMO_TEXT(sc_inFile, "in banks.txt");
DEMO_TEXT(sc_thisRun, "this run");
DEMO_TEXT(sc_peak, "peak");
DEMO_TEXT(sc_nextRun, "next run");
DEMO_TEXT(sc_fallbackBefore, "fallback\nlast run");
DEMO_TEXT(sc_fallbackNow, "fallback\nthis run");
DEMO_TEXT(sc_all, "all");
DEMO_TEXT(sc_nextSizes, "The sizes for the next run are in\n%s\n");
DEMO_TEXT(sc_notWritten, "The next run starts from the same sizes as this run: the game cannot write to\n%s\n");

static const size_t sc_mostPlaces = 12; // lines in the table of blocks in use

void ReportDataFault(const DataFault& fault)
{
    if (fault.line == 0) {
        Complain(sc_noFile, fault.path.c_str());
    } else {
        Complain(sc_fault, fault.path.c_str(), fault.line, fault.expected.c_str(), fault.found.c_str());
    }
}

void ReportUnreadableSession(const std::string& path, const std::string& why)
{
    static const std::string place = ", in operation ";
    const size_t reason = why.find(place);
    if (reason == std::string::npos) {
        Complain(sc_noSession, path.c_str(), Text(why));
    } else {
        Complain(sc_noSessionFrom, path.c_str(), Text(why.substr(0, reason)), why.c_str() + reason + place.size());
    }
}

void ReportStart(const std::vector<BankSize>& sizes, const std::string& path, bool fileFound, unsigned int frames)
{
    size_t changed = 0;
    for (const BankSize& size : sizes) {
        changed += size.start != size.planned;
    }
    Say(sc_start, frames);
    if (!fileFound) {
        Say(sc_firstRun);
    } else if (changed == 0) {
        Say(sc_sameSizes, path.c_str());
    } else {
        Say(sc_lastSizes, Grouped(changed).c_str(), Grouped(sizes.size()).c_str());
    }
}

void ReportTextSource(const Language& language)
{
    Say(language.isCollecting() ? sc_textsCollected : sc_textsFrom, language.path().c_str());
}

void ReportData(const GameData& data, bool details)
{
    Say(sc_data, Grouped(data.kinds().size()).c_str(), Grouped(data.levels().size()).c_str());
    for (const Level& level : data.levels()) {
        if (details) {
            Say(sc_levelSize, Text(level.title), Grouped(static_cast<unsigned int>(level.width)).c_str(),
                Grouped(static_cast<unsigned int>(level.height)).c_str(), Grouped(level.squads.size()).c_str());
        }
    }
}

void ReportPlayed(size_t operations, double seconds)
{
    Say(sc_played, Grouped(operations).c_str(), WithTenths(seconds).c_str());
}

static void reportOutcome(const Battle& battle)
{
    const Level& level = battle.level();
    const int winner = battle.winner();
    if (winner >= 0) {
        Say(sc_wins, Text(level.title), Text(level.armies[winner]), battle.frames(), battle.left(winner),
            battle.atStart(winner));
    } else {
        Say(sc_undecided, Text(level.title), battle.frames(), Text(level.armies[0]), battle.left(0),
            battle.atStart(0), Text(level.armies[1]), battle.left(1), battle.atStart(1));
    }
}

static void reportSurvivors(const Battle& battle)
{
    Table table("llrrr");
    table.add({Text(sc_survivor), Text(sc_army), Text(sc_health), Text(sc_position), ""});
    for (const Unit* unit : battle.units()) {
        table.add({Text(unit->kind->title), Text(battle.level().armies[unit->army]),
                   Grouped(static_cast<unsigned int>(unit->health)), WithTenths(unit->x), WithTenths(unit->y)});
    }
    table.print();
}

void ReportBattles(const Campaign& campaign, bool details)
{
    printf("\n");
    for (const auto& battle : campaign.battles()) {
        reportOutcome(*battle);
        if (details) {
            Say(sc_hits, Grouped(battle->hits()).c_str());
            reportSurvivors(*battle);
            printf("\n");
        }
    }
}

void ReportBanks(GameMemory& memory)
{
    Table table("lrrrrrrrr");
    table.add({Text(sc_bank), Text(sc_requests), Text(sc_size), Text(sc_peakKiB), Text(sc_inUse),
               Text(sc_blocksInUse), Text(sc_freeNodes), Text(sc_largest), Text(sc_fallback)});
    for (int index = 0; index < memory.count(); ++index) {
        const MemoryBank_s& bank = memory.bank(index);
        const bool heap = bank.type == MEMBANK_HEAP; // a linear bank does not count its blocks in use
        unsigned int largestFree = 0;
        memory.checkMemory(index, &largestFree, false);
        table.add({bank.name, Grouped(bank.allocCount), InKiB(bank.size), InKiB(bank.peakBytes),
                   InKiB(bank.bytesInUse), heap ? Grouped(bank.allocCount - bank.freeCount) : "-",
                   heap ? Grouped(bank.freeNodeCount) : "-", InKiB(largestFree), Grouped(bank.extNodeCount)});
    }
    printf("\n");
    table.print();
}

static void addTo(watch::PlaceSum* sum, const watch::PlaceSum& place)
{
    sum->blocks += place.blocks;
    sum->bytes += place.bytes;
}

void ReportLiveBlocks(const std::vector<watch::PlaceSum>& places)
{
    watch::PlaceSum all, others;
    Table table("lrr");
    table.add({Text(sc_askedForIn), Text(sc_blocks), Text(sc_bytes)});
    for (size_t index = 0; index < places.size(); ++index) {
        const watch::PlaceSum& place = places[index];
        addTo(&all, place);
        if (index < sc_mostPlaces) {
            table.add({place.place, Grouped(place.blocks), Grouped(place.bytes)});
        } else {
            addTo(&others, place);
        }
    }
    if (others.blocks != 0) {
        const std::string count = Grouped(places.size() - sc_mostPlaces);
        table.add({Compose(sc_otherPlaces, count.c_str()), Grouped(others.blocks), Grouped(others.bytes)});
    }
    printf("\n");
    Say(sc_live, Grouped(all.blocks).c_str(), Grouped(all.bytes).c_str());
    table.print();
    printf("\n");
}

void ReportTranslation(unsigned int missing, const std::string& path)
{
    if (missing != 0) {
        Say(sc_notTranslated, Grouped(missing).c_str(), path.c_str());
    }
    if (TextsRefused() != 0) {
        Say(sc_refused, Grouped(TextsRefused()).c_str());
    }
}

void ReportVerdict(const GameMemory& memory)
{
    int overflowed = 0;
    for (int index = 0; index < memory.count(); ++index) {
        overflowed += memory.bank(index).extNodeCount != 0;
    }
    Say(sc_verdict, memory.count());
    if (overflowed != 0) {
        Say(sc_overflowed, overflowed);
    }
}

static void addSize(Table* table, const BankSize& size)
{
    table->add({size.name, Grouped(size.planned), Grouped(size.start), Grouped(size.peak), Grouped(size.next),
                size.fallbackBefore ? Grouped(*size.fallbackBefore) : "-", Grouped(size.fallback)});
}

void ReportNextSizes(const std::vector<BankSize>& sizes, const std::string& path, bool written)
{
    Table table("lrrrrrr");
    table.add({Text(sc_bytes), Text(sc_inFile), Text(sc_thisRun), Text(sc_peak), Text(sc_nextRun),
               Text(sc_fallbackBefore), Text(sc_fallbackNow)});
    BankSize all = {};
    all.name = Text(sc_all);
    for (const BankSize& size : sizes) {
        addSize(&table, size);
        all.planned += size.planned;
        all.start += size.start;
        all.peak += size.peak;
        all.next += size.next;
        all.fallback += size.fallback;
        if (size.fallbackBefore) {
            all.fallbackBefore = all.fallbackBefore.value_or(0) + *size.fallbackBefore;
        }
    }
    addSize(&table, all);
    printf("\n");
    table.print();
    printf("\n");
    Say(written ? sc_nextSizes : sc_notWritten, path.c_str());
}
