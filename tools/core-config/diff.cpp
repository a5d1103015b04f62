// 1. The texts are compared line by line, from the start. At a difference, the nearest pair of equal lines is looked
//    for; the lines before the pair are changed lines.
// 2. Repairs change few lines at a place, so the search is short. If it finds no pair, the two lines count as changed.
#include "tools/core-config/diff.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace config {

typedef std::vector<std::string_view> Lines;

static Lines linesOf(const std::string& text)
{
    Lines lines;
    for (size_t begin = 0; begin < text.size();) {
        const size_t lineFeed = text.find('\n', begin);
        const size_t end = lineFeed == std::string::npos ? text.size() : lineFeed + 1;
        lines.push_back(std::string_view(text).substr(begin, end - begin));
        begin = end;
    }
    return lines;
}

// Lines from first to end of the text before, which are replaced by lines of the text after.
struct Change {
    size_t first;
    size_t end;
    size_t newFirst;
    size_t newEnd;
};

static const size_t sc_farthest = 40; // lines

// Finds the nearest equal lines at or after old and fresh. Returns false if none is near.
static bool findPair(const Lines& before, const Lines& after, size_t* old, size_t* fresh)
{
    for (size_t distance = 1; distance <= sc_farthest; ++distance) {
        for (size_t skip = 0; skip <= distance; ++skip) {
            const size_t a = *old + distance - skip;
            const size_t b = *fresh + skip;
            if (a < before.size() && b < after.size() && before[a] == after[b]) {
                *old = a;
                *fresh = b;
                return true;
            }
        }
    }
    return false;
}

static std::vector<Change> changesOf(const Lines& before, const Lines& after)
{
    std::vector<Change> changes;
    size_t old = 0;
    size_t fresh = 0;
    while (old < before.size() || fresh < after.size()) {
        if (old < before.size() && fresh < after.size() && before[old] == after[fresh]) {
            ++old;
            ++fresh;
            continue;
        }
        const Change start = {old, 0, fresh, 0};
        if (!findPair(before, after, &old, &fresh)) {
            const bool isNearEnd = before.size() - old <= sc_farthest && after.size() - fresh <= sc_farthest;
            old = isNearEnd ? before.size() : std::min(old + 1, before.size());
            fresh = isNearEnd ? after.size() : std::min(fresh + 1, after.size());
        }
        if (!changes.empty() && changes.back().end == start.first && changes.back().newEnd == start.newFirst) {
            changes.back().end = old;
            changes.back().newEnd = fresh;
        } else {
            changes.push_back({start.first, old, start.newFirst, fresh});
        }
    }
    return changes;
}

static void addLines(char mark, const Lines& lines, size_t first, size_t end, std::string* diff)
{
    for (size_t line = first; line < end; ++line) {
        diff->push_back(mark);
        diff->append(lines[line]);
        if (lines[line].back() != '\n') {
            diff->append("\n\\ No newline at end of file\n");
        }
    }
}

static std::string range(size_t first, size_t count)
{
    return std::to_string(count == 0 ? first : first + 1) + (count == 1 ? "" : "," + std::to_string(count));
}

static const size_t sc_context = 3; // lines

// Adds the changes from begin to end, which are near each other, as one hunk.
static void addHunk(const Lines& before, const Lines& after, const Change* begin, const Change* end,
                    std::string* diff)
{
    const size_t context = std::min(sc_context, begin->first);
    const size_t first = begin->first - context;
    const size_t newFirst = begin->newFirst - context;
    const size_t rest = std::min(sc_context, before.size() - end[-1].end);
    const size_t last = end[-1].end + rest;
    *diff += "@@ -" + range(first, last - first) + " +" + range(newFirst, end[-1].newEnd + rest - newFirst) + " @@\n";
    size_t line = first;
    for (const Change* change = begin; change != end; ++change) {
        addLines(' ', before, line, change->first, diff);
        addLines('-', before, change->first, change->end, diff);
        addLines('+', after, change->newFirst, change->newEnd, diff);
        line = change->end;
    }
    addLines(' ', before, line, last, diff);
}

std::string unifiedDiff(const std::string& file, const std::string& before, const std::string& after)
{
    const Lines old = linesOf(before);
    const Lines fresh = linesOf(after);
    const std::vector<Change> changes = changesOf(old, fresh);
    if (changes.empty()) {
        return "";
    }
    std::string diff = "--- " + file + "\n+++ " + file + "\n";
    for (size_t begin = 0, end = 1; begin < changes.size(); begin = end++) {
        while (end < changes.size() && changes[end].first - changes[end - 1].end <= 2 * sc_context) {
            ++end;
        }
        addHunk(old, fresh, &changes[begin], &changes[0] + end, &diff);
    }
    return diff;
}

} // namespace config
