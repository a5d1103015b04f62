#include "tools/core-config/nearest.h"

#include <algorithm>
#include <ctype.h>

namespace config {

// Returns the number of changes from a to b.
static size_t distance(const std::string& a, const std::string& b)
{
    std::vector<std::vector<size_t>> changes(a.size() + 1, std::vector<size_t>(b.size() + 1));
    const auto same = [](char first, char second) {
        return tolower(static_cast<unsigned char>(first)) == tolower(static_cast<unsigned char>(second));
    };
    for (size_t i = 0; i <= a.size(); ++i) {
        for (size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                changes[i][j] = i + j;
                continue;
            }
            const size_t replaced = changes[i - 1][j - 1] + !same(a[i - 1], b[j - 1]);
            changes[i][j] = std::min({changes[i - 1][j] + 1, changes[i][j - 1] + 1, replaced});
            if (i > 1 && j > 1 && same(a[i - 1], b[j - 2]) && same(a[i - 2], b[j - 1])) {
                changes[i][j] = std::min(changes[i][j], changes[i - 2][j - 2] + 1);
            }
        }
    }
    return changes[a.size()][b.size()];
}

std::string nearest(const std::string& text, const std::vector<std::string>& names)
{
    static const size_t sc_longest = 100; // bytes; longer words are no names
    const size_t most = std::max<size_t>(1, text.size() / 3);
    size_t fewest = most + 1;
    std::string result;
    for (const std::string& name : names) {
        const size_t difference = name.size() > text.size() ? name.size() - text.size() : text.size() - name.size();
        if (text.size() > sc_longest || difference > most) {
            continue;
        }
        const size_t count = distance(text, name);
        if (count < fewest) {
            fewest = count;
            result = name;
        }
    }
    return result;
}

} // namespace config
