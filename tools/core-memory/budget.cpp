#include "tools/core-memory/budget.h"

#include "tools/core-memory/output.h"
#include "watch/summary.h"

#include <algorithm>
#include <regex.h>
#include <sstream>
#include <stdlib.h>

static const size_t sc_mostPlaces = 5; // that hold most, in a message

static const char sc_forms[] = "write BANK <= NUMBER with B, KiB, MiB or GiB after it, BANK fallback <= NUMBER, or "
                               "leaks <= NUMBER [from PLACE]";

static uint64_t unitOf(const std::string& unit)
{
    return unit == "KiB" ? 1u << 10 : unit == "MiB" ? 1u << 20 : unit == "GiB" ? 1u << 30 : 1;
}

// Compares text with an extended regular expression of POSIX, and stores the parts in brackets. A part that is missing
// is empty. The class of the C++ library would take the compiler five seconds.
static bool matches(const std::string& text, const char* pattern, std::vector<std::string>* parts)
{
    regex_t regex;
    if (regcomp(&regex, pattern, REG_EXTENDED) != 0) {
        return false;
    }
    std::vector<regmatch_t> places(regex.re_nsub + 1);
    const bool isMatch = regexec(&regex, text.c_str(), places.size(), places.data(), 0) == 0;
    regfree(&regex);
    parts->clear();
    for (const regmatch_t& place : places) {
        const bool isThere = isMatch && place.rm_so >= 0;
        const size_t begin = isThere ? static_cast<size_t>(place.rm_so) : 0;
        parts->push_back(isThere ? text.substr(begin, static_cast<size_t>(place.rm_eo) - begin) : "");
    }
    return isMatch;
}

static const char sc_leaks[] =
    "^leaks[[:space:]]*<=[[:space:]]*([0-9]{1,18})([[:space:]]+from[[:space:]]+([^[:space:]].*))?$";
static const char sc_bank[] = "^(.*[^[:space:]])[[:space:]]*<=[[:space:]]*([0-9]{1,9})[[:space:]]*(B|KiB|MiB|GiB)?$";
static const char sc_fallbacks[] = "^(.*[^[:space:]])[[:space:]]+fallback$";
static const char sc_quoted[] = "^\"([^\"]+)\"$";

static bool readBudget(const std::string& line, Budget* budget)
{
    std::vector<std::string> parts;
    budget->text = line;
    if (matches(line, sc_leaks, &parts)) {
        budget->kind = Budget::LEAKS;
        budget->most = strtoull(parts[1].c_str(), nullptr, 10);
        budget->name = parts[3];
        return true;
    }
    if (!matches(line, sc_bank, &parts)) {
        return false;
    }
    const std::string unit = parts[3];
    budget->kind = Budget::BYTES;
    budget->name = parts[1];
    budget->most = strtoull(parts[2].c_str(), nullptr, 10) * unitOf(unit);
    if (matches(budget->name, sc_fallbacks, &parts)) {
        budget->kind = Budget::FALLBACKS;
        budget->name = parts[1];
    }
    if (matches(budget->name, sc_quoted, &parts)) {
        budget->name = parts[1];
    }
    return budget->kind == Budget::BYTES || unit.empty();
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
