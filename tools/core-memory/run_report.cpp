#include "tools/core-memory/run_report.h"

#include "tools/core-memory/output.h"
#include "watch/summary.h"

#include <algorithm>
#include <stdio.h>

static const size_t sc_mostPlaces = 20;
static const size_t sc_mostStacks = 3; // of a place

static void printLines(const std::string& text)
{
    size_t begin = 0;
    while (begin < text.size()) {
        const size_t end = std::min(text.find('\n', begin), text.size());
        fprintf(stderr, "%s\n", printable(text.substr(begin, end - begin)).c_str());
        begin = end + 1;
    }
}

void printFault(const std::string& fault)
{
    printLines(fault);
}

// The oldest block of each place: its rank among the blocks in use of its bank, 1 for the oldest.
static std::map<std::string, uint32_t> oldestOfPlaces(const watch::Snapshot& snapshot)
{
    std::map<std::string, uint32_t> oldest;
    for (const watch::Bank& bank : snapshot.banks) {
        for (const auto* blocks : {&bank.blocks, &bank.fallbacks}) {
            for (const watch::Block& block : *blocks) {
                const bool isUsed = block.state == watch::BLOCK_USED || block.state == watch::BLOCK_FALLBACK;
                if (isUsed && block.order != watch::sc_noNumber) {
                    const auto place = oldest.emplace(snapshot.placeOf(block), block.order + 1).first;
                    place->second = std::min(place->second, block.order + 1);
                }
            }
        }
    }
    return oldest;
}

static void printStacks(const RunResult& result, const std::vector<watch::PlaceSum>& places)
{
    for (size_t index = 0; index < std::min(places.size(), sc_mostPlaces); ++index) {
        const auto found = result.stacks.find(places[index].place);
        if (found == result.stacks.end()) {
            continue;
        }
        fprintf(stderr, "\n%s was called by:\n", printable(found->first).c_str());
        for (size_t number = 0; number < std::min(found->second.size(), sc_mostStacks); ++number) {
            const StackSum& stack = found->second[number];
            fprintf(stderr, "  %s, %s bytes\n", counted(stack.blocks, "block").c_str(),
                    grouped(static_cast<int64_t>(stack.bytes)).c_str());
            for (const std::string& function : stack.functions) {
                fprintf(stderr, "    %s\n", printable(function).c_str());
            }
        }
    }
}

static void printPlaces(const RunResult& result)
{
    const std::vector<watch::PlaceSum> places = watch::sumPlaces(result.snapshot);
    const std::map<std::string, uint32_t> oldest = oldestOfPlaces(result.snapshot);
    if (places.empty()) {
        fprintf(stderr, "no block is in use\n");
        return;
    }
    Table table({{"blocks in use", Table::TEXT},
                 {"blocks", Table::NUMBER},
                 {"bytes", Table::NUMBER},
                 {"oldest", Table::NUMBER},
                 {"first seen (ms)", Table::MOMENT}});
    for (const watch::PlaceSum& place : places) {
        const auto first = oldest.find(place.place);
        table.add({place.place, place.blocks, place.bytes, first == oldest.end() ? Json() : Json(first->second),
                   place.firstSeen < 0 ? Json() : Json(place.firstSeen)});
    }
    table.printRows(sc_mostPlaces, stderr);
    if (places.size() > sc_mostPlaces) {
        fprintf(stderr, "... and %zu more places; core-memory report shows all\n", places.size() - sc_mostPlaces);
    }
    printStacks(result, places);
}

static void printBanks(const watch::Snapshot& snapshot)
{
    Table table({{"banks", Table::TEXT},
                 {"size", Table::NUMBER},
                 {"peak", Table::NUMBER},
                 {"in use", Table::NUMBER},
                 {"largest free", Table::NUMBER},
                 {"fragmentation", Table::PERCENT},
                 {"fallback blocks", Table::NUMBER},
                 {"next size", Table::NUMBER}});
    for (const watch::Bank& bank : snapshot.banks) {
        if (bank.index == -1 && bank.allocCount == 0) {
            continue;
        }
        const watch::BankSum sum = watch::sumBank(bank);
        const bool isTuned = bank.index != -1;
        table.add({watch::bankTitle(bank), bank.size, bank.peakBytes, bank.bytesInUse, sum.largestFree,
                   sum.fragmentation(), bank.extNodeCount,
                   isTuned ? Json(watch::tunedSize(bank.size, bank.peakBytes)) : Json()});
    }
    table.printText(stderr);
}

void printSummary(const RunResult& result)
{
    if (result.hasSnapshot) {
        fprintf(stderr, "core-memory: the end of the memory manager: %s\n\n",
                printable(result.snapshot.cause).c_str());
        printPlaces(result);
        fprintf(stderr, "\n");
        printBanks(result.snapshot);
        fprintf(stderr, "\n");
    }
    const size_t count = result.faults.size();
    fprintf(stderr, "core-memory: %s\n",
            count == 0   ? "no fault"
            : count == 1 ? "1 fault"
                         : (std::to_string(count) + " faults").c_str());
}
