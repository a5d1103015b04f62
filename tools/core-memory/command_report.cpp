// core-memory report: a snapshot as tables.
#include "tools/core-memory/command.h"
#include "tools/core-memory/files.h"
#include "tools/core-memory/output.h"
#include "watch/summary.h"

#include <algorithm>
#include <memory>
#include <stdio.h>
#include <tuple>

static const char sc_footer[] =
    "Examples:\n"
    "  core-memory report level2.snapshot\n"
    "  core-memory report level2.snapshot --by place --bank level --csv > places.csv\n"
    "  core-memory report level2.snapshot --by age --top 10\n"
    "  core-memory report level2.snapshot --json\n"
    "\n"
    "Exit status: 0 fine, 1 the snapshot has damage, 2 the file is no snapshot, 3 no such file.";

struct ReportOptions {
    std::string file;
    std::string by;
    std::string bank;
    unsigned int top = 20;
    bool isCsv = false;
    bool isJson = false;
};

// A snapshot, and the bank that the command line names; sc_allBanks for all of them.
struct View {
    watch::Snapshot snapshot;
    int bank = watch::sc_allBanks;

    bool shows(const watch::Bank& candidate) const { return bank == watch::sc_allBanks || candidate.index == bank; }
};

// Returns the value as JSON; null when it is not known.
static Json known(int64_t value, bool isKnown)
{
    return isKnown ? Json(value) : Json();
}

static Table placeTable(const View& view)
{
    Table table({{"place", Table::TEXT},
                 {"blocks", Table::NUMBER},
                 {"bytes", Table::NUMBER},
                 {"share", Table::PERCENT},
                 {"largest", Table::NUMBER},
                 {"fallback blocks", Table::NUMBER},
                 {"first seen (ms)", Table::MOMENT}});
    const std::vector<watch::PlaceSum> places = watch::sumPlaces(view.snapshot, view.bank);
    uint64_t total = 0;
    for (const watch::PlaceSum& place : places) {
        total += place.bytes;
    }
    for (const watch::PlaceSum& place : places) {
        const double share = static_cast<double>(place.bytes) / static_cast<double>(std::max<uint64_t>(total, 1));
        table.add({place.place, place.blocks, place.bytes, share, place.largest, place.fallbacks,
                   known(place.firstSeen, place.firstSeen >= 0)});
    }
    return table;
}

static Table bankTable(const View& view)
{
    Table table({{"bank", Table::TEXT},
                 {"type", Table::TEXT},
                 {"size", Table::NUMBER},
                 {"in use", Table::NUMBER},
                 {"peak", Table::NUMBER},
                 {"blocks", Table::NUMBER},
                 {"largest free", Table::NUMBER},
                 {"fragmentation", Table::PERCENT},
                 {"fallback blocks", Table::NUMBER},
                 {"next size", Table::NUMBER}});
    for (const watch::Bank& bank : view.snapshot.banks) {
        if (!view.shows(bank)) {
            continue;
        }
        const watch::BankSum sum = watch::sumBank(bank);
        const Json next = known(watch::tunedSize(bank.size, bank.peakBytes), bank.index != -1);
        table.add({watch::bankTitle(bank), watch::typeName(bank), bank.size, bank.bytesInUse, bank.peakBytes,
                   sum.usedBlocks, sum.largestFree, sum.fragmentation(), sum.fallbackBlocks, next});
    }
    return table;
}

// Calls visit(bank, block) for each block in use.
template <typename Visit>
static void forEachUsed(const View& view, Visit visit)
{
    for (const watch::Bank& bank : view.snapshot.banks) {
        if (!view.shows(bank)) {
            continue;
        }
        for (const watch::Block& block : bank.blocks) {
            if (block.state == watch::BLOCK_USED) {
                visit(bank, block);
            }
        }
        for (const watch::Block& block : bank.fallbacks) {
            visit(bank, block);
        }
    }
}

// One row for all nodes of 32 to 63 bytes, of 64 to 127 bytes, and so on.
static Table sizeTable(const View& view)
{
    uint64_t blocks[33] = {};
    uint64_t bytes[33] = {};
    forEachUsed(view, [&](const watch::Bank&, const watch::Block& block) {
        unsigned int group = 0;
        while (group < 32 && block.size >> group > 1) {
            group += 1;
        }
        blocks[group] += 1;
        bytes[group] += block.size;
    });
    Table table(
        {{"from", Table::NUMBER}, {"to", Table::NUMBER}, {"blocks", Table::NUMBER}, {"bytes", Table::NUMBER}});
    for (unsigned int group = 0; group < 33; ++group) {
        if (blocks[group] != 0) {
            table.add({1ull << group, (2ull << group) - 1, blocks[group], bytes[group]});
        }
    }
    return table;
}

// The blocks of each bank, oldest first.
static Table ageTable(const View& view)
{
    struct Aged {
        const watch::Bank* bank;
        const watch::Block* block;
    };
    std::vector<Aged> blocks;
    forEachUsed(view, [&](const watch::Bank& bank, const watch::Block& block) { blocks.push_back({&bank, &block}); });
    std::stable_sort(blocks.begin(), blocks.end(), [](const Aged& left, const Aged& right) {
        return std::make_tuple(left.bank, left.block->state, left.block->order) <
               std::make_tuple(right.bank, right.block->state, right.block->order);
    });
    Table table({{"bank", Table::TEXT},
                 {"age", Table::NUMBER},
                 {"place", Table::TEXT},
                 {"bytes", Table::NUMBER},
                 {"offset", Table::NUMBER},
                 {"born at (ms)", Table::MOMENT}});
    for (const Aged& aged : blocks) {
        const watch::Block& block = *aged.block;
        table.add({watch::bankTitle(*aged.bank), known(block.order + 1, block.order != watch::sc_noNumber),
                   view.snapshot.placeOf(block), block.size, known(block.offset, block.offset != watch::sc_noNumber),
                   known(block.born, block.born >= 0)});
    }
    return table;
}

// Prints each line of text on a line of its own, without control characters.
static void printLines(const std::string& text, bool isAlarm)
{
    size_t at = 0;
    while (at <= text.size()) {
        const size_t end = std::min(text.find('\n', at), text.size());
        const std::string line = printable(text.substr(at, end - at));
        printf("%s\n", (isAlarm && at == 0 ? red(line) : line).c_str());
        at = end + 1;
    }
}

static void printFaults(const watch::Snapshot& snapshot)
{
    for (const std::string& torn : snapshot.torn) {
        printLines("torn: " + torn, true);
    }
    for (const watch::Damage& damage : snapshot.damages) {
        printLines("damage: " + watch::describeDamage(snapshot, damage), true);
    }
    if (!snapshot.torn.empty() || !snapshot.damages.empty()) {
        printf("\n");
    }
}

static Table tableBy(const std::string& by, const View& view)
{
    return by == "bank"   ? bankTable(view)
           : by == "size" ? sizeTable(view)
           : by == "age"  ? ageTable(view)
                          : placeTable(view);
}

static Json jsonOf(const View& view, const std::string& by)
{
    Json json = Json::object();
    const watch::Snapshot& snapshot = view.snapshot;
    json["game"] = snapshot.game;
    json["time"] = snapshot.time;
    json["torn"] = snapshot.torn;
    Json& damages = json["damage"] = Json::array();
    for (const watch::Damage& damage : snapshot.damages) {
        Json one = Json::object({{"bank", damage.bank}, {"kind", watch::nameOf(damage.kind)}});
        one["offset"] = known(damage.offset, damage.offset != watch::sc_noNumber);
        one["fallback block"] = known(damage.fallback, damage.fallback != watch::sc_noNumber);
        one["what"] = damage.what;
        one["block"] = damage.block;
        one["before"] = damage.before;
        one["after"] = damage.after;
        damages.add(std::move(one));
    }
    if (by.empty()) {
        json["banks"] = bankTable(view).json();
    }
    json[by.empty() || by == "place" ? "places"
         : by == "bank"              ? "banks"
         : by == "size"              ? "sizes"
                                     : "blocks"] = tableBy(by, view).json();
    return json;
}

static void printText(const View& view, const ReportOptions& options)
{
    printFaults(view.snapshot);
    if (!options.by.empty()) {
        tableBy(options.by, view).printTop(options.top);
        return;
    }
    const std::string title = view.snapshot.game + (view.snapshot.time.empty() ? "" : " at " + view.snapshot.time);
    if (!title.empty()) {
        printLines(title, false);
        printf("\n");
    }
    bankTable(view).printText();
    printf("\n");
    placeTable(view).printTop(options.top);
}

static int report(const ReportOptions& options)
{
    View view;
    if (const int status = readSnapshotFile(options.file, &view.snapshot)) {
        return status;
    }
    if (!options.bank.empty() && !findBank(view.snapshot, options.bank, &view.bank)) {
        return complain(STATUS_NOT_UNDERSTOOD, "the snapshot has no bank \"" + options.bank + "\"");
    }
    if (options.isJson) {
        printJson(jsonOf(view, options.by));
    } else if (options.isCsv) {
        tableBy(options.by, view).printCsv();
    } else {
        printText(view, options);
    }
    return view.snapshot.damages.empty() ? STATUS_FINE : STATUS_FOUND;
}

void addReport(Program& program, int* status)
{
    const auto options = std::make_shared<ReportOptions>();
    Command command =
        program.addCommand("report", "Shows a snapshot: the banks, and what each place of the source holds");
    command.addOption("FILE", &options->file, "A snapshot; - for the standard input").required();
    command.addOption("--by", &options->by, "What a row is: place, bank, size or age")
        .oneOf({"place", "bank", "size", "age"});
    command.addOption("--bank", &options->bank, "Only this bank: its name or its number");
    command.addOption("--top", &options->top, "The most rows of the text; 0 for all").showsDefault();
    const auto csv =
        command.addFlag("--csv", &options->isCsv, "Comma-separated values (of places, unless --by is given)");
    command.addFlag("--json", &options->isJson, "JSON").excludes(csv);
    command.footer(sc_footer);
    command.onRun([=] { *status = report(*options); });
}
