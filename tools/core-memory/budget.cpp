#include "tools/core-memory/budget.h"

#include "tools/core-memory/output.h"
#include "watch/summary.h"

#include <algorithm>
#include <regex>
#include <sstream>
#include <stdlib.h>

static const size_t sc_mostPlaces = 5; // that hold most, in a message

static const char sc_forms[] = "write BANK <= NUMBER with B, KiB, MiB or GiB after it, BANK fallback <= NUMBER, or "
                               "leaks <= NUMBER [from PLACE]";

static uint64_t unitOf(const std::string& unit)
{
    return unit == "KiB" ? 1u << 10 : unit == "MiB" ? 1u << 20 : unit == "GiB" ? 1u << 30 : 1;
}

static bool readBudget(const std::string& line, Budget* budget)
{
    static const std::regex sc_leaks("leaks\\s*<=\\s*(\\d{1,18})(?:\\s+from\\s+(\\S.*))?");
    static const std::regex sc_bank("(\"[^\"]+\"|\\S.*?)(\\s+fallback)?\\s*<=\\s*(\\d{1,9})(?:\\s*(B|KiB|MiB|GiB))?");
    std::smatch parts;
    budget->text = line;
    if (std::regex_match(line, parts, sc_leaks)) {
        budget->kind = Budget::LEAKS;
        budget->most = strtoull(parts[1].str().c_str(), nullptr, 10);
        budget->name = parts[2];
        return true;
    }
    if (!std::regex_match(line, parts, sc_bank) || (parts[2].matched && parts[4].matched)) {
        return false;
    }
    budget->kind = parts[2].matched ? Budget::FALLBACKS : Budget::BYTES;
    budget->name = parts[1].str()[0] == '"' ? parts[1].str().substr(1, parts[1].length() - 2) : parts[1].str();
    budget->most = strtoull(parts[3].str().c_str(), nullptr, 10) * unitOf(parts[4]);
    return true;
}

bool readBudgets(const std::string& text, std::vector<Budget>* budgets, std::string* error)
{
    std::istringstream lines(text);
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
        line.erase(std::min(line.find('#'), line.size()));
        line.erase(line.find_last_not_of(" \t\r") + 1);
        line.erase(0, std::min(line.find_first_not_of(" \t"), line.size()));
        Budget budget;
        if (line.empty()) {
            continue;
        }
        if (!readBudget(line, &budget)) {
            *error = "line " + std::to_string(number) + " is no budget: \"" + line + "\"; " + sc_forms;
            return false;
        }
        budgets->push_back(budget);
    }
    return true;
}

static std::string textOf(const std::vector<watch::PlaceSum>& places)
{
    std::string text;
    for (size_t index = 0; index < std::min(places.size(), sc_mostPlaces); ++index) {
        text += "\n  " + grouped(static_cast<int64_t>(places[index].bytes)) + " bytes in " +
                counted(places[index].blocks, "block") + " from " + places[index].place;
    }
    return text;
}

static std::string checkLeaks(const watch::Snapshot& snapshot, const Budget& budget)
{
    std::vector<watch::PlaceSum> places = watch::sumPlaces(snapshot);
    places.erase(std::remove_if(places.begin(), places.end(),
                                [&budget](const watch::PlaceSum& place) {
                                    return place.place.compare(0, budget.name.size(), budget.name) != 0;
                                }),
                 places.end());
    uint64_t blocks = 0;
    for (const watch::PlaceSum& place : places) {
        blocks += place.blocks;
    }
    if (blocks <= budget.most) {
        return "";
    }
    return counted(blocks, "block") + (blocks == 1 ? " is in use" : " are in use") + textOf(places);
}

static std::string checkBank(const watch::Snapshot& snapshot, const Budget& budget)
{
    const auto bank =
        std::find_if(snapshot.banks.begin(), snapshot.banks.end(),
                     [&budget](const watch::Bank& candidate) { return watch::bankTitle(candidate) == budget.name; });
    if (bank == snapshot.banks.end()) {
        return "the game has no such bank";
    }
    const bool isBytes = budget.kind == Budget::BYTES;
    const uint64_t had = isBytes ? bank->peakBytes : bank->extNodeCount;
    if (had <= budget.most) {
        return "";
    }
    return (isBytes ? "the high-water mark was " + grouped(static_cast<int64_t>(had)) + " bytes"
                    : "the bank has made " + counted(had, "fallback block")) +
           textOf(watch::sumPlaces(snapshot, bank->index));
}

std::vector<std::string> exceededBudgets(const watch::Snapshot& snapshot, const std::vector<Budget>& budgets)
{
    std::vector<std::string> exceeded;
    for (const Budget& budget : budgets) {
        const std::string what =
            budget.kind == Budget::LEAKS ? checkLeaks(snapshot, budget) : checkBank(snapshot, budget);
        if (!what.empty()) {
            exceeded.push_back("budget: " + budget.text + ": " + what);
        }
    }
    return exceeded;
}
