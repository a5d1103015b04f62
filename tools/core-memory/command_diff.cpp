// core-memory diff: what came, went and grew between two snapshots.
#include "tools/core-memory/command.h"
#include "tools/core-memory/files.h"
#include "tools/core-memory/output.h"
#include "watch/summary.h"

#include <algorithm>
#include <map>
#include <memory>
#include <stdio.h>
#include <stdlib.h>

static const char sc_footer[] =
    "Examples:\n"
    "  core-memory diff level1.snapshot level2.snapshot\n"
    "  core-memory diff level1.snapshot level2.snapshot --by bank\n"
    "  core-memory diff level1.snapshot level2.snapshot --bank level --json\n"
    "\n"
    "Exit status: 0 no difference, 1 differences, 2 a file is no snapshot, 3 a file can't be read.";

struct DiffOptions {
    std::string before;
    std::string after;
    std::string by = "place";
    std::string bank;
    unsigned int top = 20;
    bool isCsv = false;
    bool isJson = false;
};

// What one place or one bank had in each of the two snapshots.
struct Pair {
    uint64_t blocks[2] = {0, 0};
    uint64_t bytes[2] = {0, 0};

    int64_t change() const { return static_cast<int64_t>(bytes[1]) - static_cast<int64_t>(bytes[0]); }
    int64_t blockChange() const { return static_cast<int64_t>(blocks[1]) - static_cast<int64_t>(blocks[0]); }
    bool isEqual() const { return bytes[0] == bytes[1] && blocks[0] == blocks[1]; }

    const char* what() const
    {
        if (blocks[0] == 0 || blocks[1] == 0) {
            return blocks[0] == 0 ? "came" : "went";
        }
        return change() == 0 ? "changed" : change() > 0 ? "grew" : "shrank";
    }
};

typedef std::map<std::string, Pair> Pairs; // by place, or by bank

static void addPlaces(const watch::Snapshot& snapshot, int bank, size_t side, Pairs* pairs)
{
    for (const watch::PlaceSum& place : watch::sumPlaces(snapshot, bank)) {
        Pair& pair = (*pairs)[place.place];
        pair.blocks[side] = place.blocks;
        pair.bytes[side] = place.bytes;
    }
}

static void addBanks(const watch::Snapshot& snapshot, int wanted, size_t side, Pairs* pairs)
{
    for (const watch::Bank& bank : snapshot.banks) {
        if (wanted == watch::sc_allBanks || wanted == bank.index) {
            const watch::BankSum sum = watch::sumBank(bank);
            Pair& pair = (*pairs)[watch::bankTitle(bank)];
            pair.blocks[side] = sum.usedBlocks + sum.fallbackBlocks;
            pair.bytes[side] = bank.bytesInUse;
        }
    }
}

// One row for each place or bank that differs; the largest change first.
static Table tableOf(const Pairs& pairs, const std::string& by)
{
    std::vector<const Pairs::value_type*> rows;
    for (const Pairs::value_type& pair : pairs) {
        if (!pair.second.isEqual()) {
            rows.push_back(&pair);
        }
    }
    std::stable_sort(rows.begin(), rows.end(), [](const Pairs::value_type* left, const Pairs::value_type* right) {
        return llabs(left->second.change()) > llabs(right->second.change());
    });
    Table table({{"what", Table::TEXT},
                 {by == "bank" ? "bank" : "place", Table::TEXT},
                 {"blocks before", Table::NUMBER},
                 {"blocks after", Table::NUMBER},
                 {"bytes before", Table::NUMBER},
                 {"bytes after", Table::NUMBER},
                 {"bytes more", Table::CHANGE}});
    for (const Pairs::value_type* row : rows) {
        const Pair& pair = row->second;
        table.add(
            {pair.what(), row->first, pair.blocks[0], pair.blocks[1], pair.bytes[0], pair.bytes[1], pair.change()});
    }
    return table;
}

// Prints the sum of all changes.
static void printTotal(const Pairs& pairs)
{
    int64_t bytes = 0;
    int64_t blocks = 0;
    for (const Pairs::value_type& pair : pairs) {
        bytes += pair.second.change();
        blocks += pair.second.blockChange();
    }
    printf("\nall together: %s%s bytes, %s%s block%s\n", bytes > 0 ? "+" : "", grouped(bytes).c_str(),
           blocks > 0 ? "+" : "", grouped(blocks).c_str(), blocks == 1 || blocks == -1 ? "" : "s");
}

static int diff(const DiffOptions& options)
{
    const std::string* const files[2] = {&options.before, &options.after};
    Pairs pairs;
    for (size_t side = 0; side < 2; ++side) {
        watch::Snapshot snapshot;
        int bank = watch::sc_allBanks;
        if (const int status = readSnapshotFile(*files[side], &snapshot)) {
            return status;
        }
        if (!options.bank.empty() && !findBank(snapshot, options.bank, &bank)) {
            return complain(STATUS_NOT_UNDERSTOOD, *files[side] + ": there is no bank \"" + options.bank + "\"");
        }
        (options.by == "bank" ? addBanks : addPlaces)(snapshot, bank, side, &pairs);
    }
    Table table = tableOf(pairs, options.by);
    const int status = table.rowCount() == 0 ? STATUS_FINE : STATUS_FOUND;
    if (options.isJson) {
        printJson(table.json());
    } else if (options.isCsv) {
        table.printCsv();
    } else if (status == STATUS_FINE) {
        printf("no difference\n");
    } else {
        table.printTop(options.top);
        printTotal(pairs);
    }
    return status;
}

void addDiff(Program& program, int* status)
{
    const auto options = std::make_shared<DiffOptions>();
    Command command = program.addCommand("diff", "Shows what came, went and grew between two snapshots");
    command.addOption("BEFORE", &options->before, "The earlier snapshot").required();
    command.addOption("AFTER", &options->after, "The later snapshot").required();
    command.addOption("--by", &options->by, "What a row is: place or bank").oneOf({"place", "bank"}).showsDefault();
    command.addOption("--bank", &options->bank, "Only this bank: its name or its number");
    command.addOption("--top", &options->top, "The most rows of the text; 0 for all").showsDefault();
    const auto csv = command.addFlag("--csv", &options->isCsv, "Comma-separated values");
    command.addFlag("--json", &options->isJson, "JSON").excludes(csv);
    command.footer(sc_footer);
    command.onRun([=] { *status = diff(*options); });
}
