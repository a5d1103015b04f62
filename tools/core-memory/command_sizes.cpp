// core-memory sizes: the bank-size file explained.
//
// At its end a game writes a size for each bank, (s * s + p * p) / (s + p), where s is the bank's size and p its
// high-water mark. The next run uses these sizes instead of those in its code.
#include "tools/core-memory/command.h"
#include "tools/core-memory/files.h"
#include "tools/core-memory/output.h"
#include "watch/sizefile.h"
#include "watch/summary.h"

#include <memory>
#include <stdio.h>

static const char sc_footer[] =
    "Examples:\n"
    "  core-memory sizes --snapshot end.snapshot\n"
    "  core-memory sizes memory.dat\n"
    "  core-memory sizes memory.dat --snapshot end.snapshot --json\n"
    "\n"
    "had         the bank's size in this run\n"
    "needed      its high-water mark, with headers and fallback blocks\n"
    "next        the size that the game writes for the next run\n"
    "after N     the size after N equal runs; with a file, from the size in the file on\n"
    "define      the smallest size to define, so that equal runs never need more than the bank has. The file's line\n"
    "            must go, because it replaces the size in the code. A heap bank also needs room for the gaps "
    "between\n"
    "            its blocks, which no size in the code can keep: each run takes a part of it away.\n"
    "\n"
    "Exit status: 0 fine, 1 a bank has less than it needs or the file has a wrong line, 2 a file is not understood,\n"
    "3 a file can't be read.";

struct SizesOptions {
    std::string file;
    std::string snapshot;
    bool isCsv = false;
    bool isJson = false;
};

static uint32_t afterRuns(uint32_t size, uint32_t peak, int runs)
{
    for (int run = 0; run < runs; ++run) {
        size = watch::tunedSize(size, peak);
    }
    return size;
}

// Returns the smallest multiple of 32 that stays at the high-water mark or above it in all runs. The sizes of equal
// runs come to rest within 100 runs, because each run halves the distance.
static Json lastingSize(uint32_t peak)
{
    const uint64_t first = (static_cast<uint64_t>(peak) + 31) / 32 * 32;
    for (uint64_t size = first; size <= UINT32_MAX - 31 && size < first + 32 * 64; size += 32) {
        uint32_t tuned = static_cast<uint32_t>(size);
        int run = 0;
        while (run < 100 && tuned >= peak) {
            tuned = watch::tunedSize(tuned, peak);
            run += 1;
        }
        if (run == 100) {
            return size == 0 ? 32 : size;
        }
    }
    return Json();
}

static const watch::SizeLine* lineOf(const std::vector<watch::SizeLine>& lines, const std::string& bank)
{
    const watch::SizeLine* found = nullptr;
    for (const watch::SizeLine& line : lines) {
        found = line.isRead && line.name == bank ? &line : found; // the last line of a name counts
    }
    return found;
}

static Table tableOfBanks(const watch::Snapshot& snapshot, const std::vector<watch::SizeLine>& lines, bool hasFile,
                          bool* isShort)
{
    std::vector<Table::Column> columns = {{"bank", Table::TEXT},
                                          {"defined", Table::NUMBER},
                                          {"had", Table::NUMBER},
                                          {"needed", Table::NUMBER},
                                          {"next", Table::NUMBER}};
    if (hasFile) {
        columns.push_back({"in file", Table::NUMBER});
    }
    columns.insert(columns.end(), {{"after 2", Table::NUMBER},
                                   {"after 5", Table::NUMBER},
                                   {"after 20", Table::NUMBER},
                                   {"define", Table::NUMBER}});
    Table table(columns);
    for (const watch::Bank& bank : snapshot.banks) {
        if (bank.index == -1) {
            continue;
        }
        const watch::SizeLine* line = lineOf(lines, bank.name);
        const uint32_t start = line ? line->size : bank.size;
        *isShort = *isShort || bank.peakBytes > bank.size;
        std::vector<Json> row = {watch::bankTitle(bank), bank.defined ? Json(bank.defined) : Json(), bank.size,
                                 bank.peakBytes, watch::tunedSize(bank.size, bank.peakBytes)};
        if (hasFile) {
            row.push_back(line ? Json(line->size) : Json());
        }
        for (const int runs : {2, 5, 20}) {
            row.push_back(afterRuns(start, bank.peakBytes, runs));
        }
        row.push_back(lastingSize(bank.peakBytes));
        table.add(row);
    }
    return table;
}

static Table tableOfLines(const std::vector<watch::SizeLine>& lines)
{
    Table table({{"line", Table::NUMBER}, {"bank", Table::TEXT}, {"size", Table::NUMBER}, {"remark", Table::TEXT}});
    for (const watch::SizeLine& line : lines) {
        table.add({line.number, line.name, line.isRead ? Json(line.size) : Json(), line.remark});
    }
    return table;
}

static void print(const Table& table, const SizesOptions& options)
{
    if (options.isCsv) {
        table.printCsv();
    } else {
        table.printText();
    }
}

static int sizes(const SizesOptions& options)
{
    if (options.file.empty() && options.snapshot.empty()) {
        return complain(STATUS_NOT_UNDERSTOOD, "sizes needs a bank-size file, a snapshot, or both");
    }
    std::string text;
    watch::Snapshot snapshot;
    if (const int status = options.file.empty() ? STATUS_FINE : readWholeFile(options.file, &text)) {
        return status;
    }
    if (const int status = options.snapshot.empty() ? STATUS_FINE : readSnapshotFile(options.snapshot, &snapshot)) {
        return status;
    }
    const bool hasSnapshot = !options.snapshot.empty();
    const std::vector<watch::SizeLine> lines = watch::readSizeFile(text, hasSnapshot ? &snapshot : nullptr);
    bool isFound = false;
    for (const watch::SizeLine& line : lines) {
        isFound = isFound || line.isWrong;
    }
    const Table banks = tableOfBanks(snapshot, lines, !options.file.empty(), &isFound);
    if (options.isJson) {
        printJson(Json::object({{"lines", tableOfLines(lines).json()}, {"banks", banks.json()}}));
    } else {
        if (!options.file.empty()) {
            print(tableOfLines(lines), options);
        }
        if (!options.file.empty() && hasSnapshot) {
            printf("\n");
        }
        if (hasSnapshot) {
            print(banks, options);
        }
    }
    return isFound ? STATUS_FOUND : STATUS_FINE;
}

void addSizes(Program& program, int* status)
{
    const auto options = std::make_shared<SizesOptions>();
    Command command =
        program.addCommand("sizes", "Explains the sizes of banks: needed, next, and where tuning leads");
    command.addOption("FILE", &options->file, "The bank-size file, data/memory.dat");
    command.addOption("--snapshot", &options->snapshot, "A snapshot of the run, best of its end");
    const auto csv = command.addFlag("--csv", &options->isCsv, "Comma-separated values");
    command.addFlag("--json", &options->isJson, "JSON").excludes(csv);
    command.footer(sc_footer);
    command.onRun([=] { *status = sizes(*options); });
}
