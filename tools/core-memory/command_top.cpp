// core-memory top: the banks of a running game, live.
//
// The counters of the banks are read at each interval, without stopping the game. The blocks need a walk, which stops
// the game and costs more; so walks are as far apart as keeps their cost small.
#include "tools/core-memory/command.h"
#include "tools/core-memory/output.h"
#include "tools/core-memory/takesnapshot.h"
#include "tools/core-memory/terminal.h"
#include "watch/summary.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <stdio.h>
#include <stdlib.h>

static const char sc_footer[] = "Examples:\n"
                                "  core-memory top $(pidof core_demo)\n"
                                "  core-memory top $(pidof core_demo) --every 0.5\n"
                                "  core-memory top $(pidof core_demo) --count 10 > banks.txt\n"
                                "\n"
                                "q ends. Without a terminal, a table is printed at each interval.\n"
                                "\n"
                                "Exit status: 0 fine, 2 the command line is wrong, 3 the process can't be read.";

static const double sc_walkShare = 0.005; // of a core: what walks may cost
static const size_t sc_mostPlaces = 12;

struct TopOptions {
    int process = 0;
    double every = 1;
    unsigned int count = 0;
};

static double secondsNow()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// What the screen shows of a game.
class TopView {
public:
    TopView(const LiveGame& game, const Terminal& terminal) : m_game(game), m_terminal(terminal) {}

    // Reads the game once more. Returns false and stores a sentence in error when it can't be read.
    bool update(std::string* error);

    void print() const;

private:
    bool _walk(std::string* error);
    std::string _bar(const watch::Bank& bank, unsigned int width) const;
    void _printBanks() const;
    void _printPlaces() const;
    double _rate(uint32_t before, uint32_t now) const;

    const LiveGame& m_game;
    const Terminal& m_terminal;
    watch::Snapshot m_counters;
    watch::Snapshot m_before; // the counters one interval earlier
    double m_time = 0;        // seconds
    double m_timeBefore = 0;
    watch::Snapshot m_blocks; // the last walk
    double m_nextWalk = 0;
    double m_stoppedMs = 0;
    std::map<std::string, watch::PlaceSum> m_firstPlaces;
    bool m_hasPlaces = false;
};

bool TopView::update(std::string* error)
{
    m_before = std::move(m_counters);
    m_timeBefore = m_time;
    m_time = secondsNow();
    return m_game.takeCounters(&m_counters, error) && (m_time < m_nextWalk || _walk(error));
}

bool TopView::_walk(std::string* error)
{
    const clock_t start = clock();
    if (!m_game.take(&m_blocks, &m_stoppedMs, error)) {
        return false;
    }
    if (!m_hasPlaces) {
        for (const watch::PlaceSum& place : watch::sumPlaces(m_blocks)) {
            m_firstPlaces[place.place] = place;
        }
        m_hasPlaces = true;
    }
    const double seconds = static_cast<double>(clock() - start) / CLOCKS_PER_SEC;
    m_nextWalk = secondsNow() + seconds / sc_walkShare;
    return true;
}

double TopView::_rate(uint32_t before, uint32_t now) const
{
    const double seconds = m_time - m_timeBefore;
    return seconds > 0 && m_timeBefore > 0 ? static_cast<double>(now - before) / seconds : 0;
}

// Returns a bar of the region: each cell is darker the more of its bytes are in use.
std::string TopView::_bar(const watch::Bank& bank, unsigned int width) const
{
    static const char* const s_cells[] = {"\u00b7", "\u2591", "\u2592", "\u2593", "\u2588"};
    const double perCell = std::max(1.0, static_cast<double>(bank.size) / width);
    std::vector<double> used(width, 0.0);
    const auto add = [&](double low, double high) {
        for (size_t cell = static_cast<size_t>(low / perCell);
             cell < width && static_cast<double>(cell) * perCell < high; ++cell) {
            const double begin = static_cast<double>(cell) * perCell;
            used[cell] += std::min(high, begin + perCell) - std::max(low, begin);
        }
    };
    if (bank.type == watch::BANK_LINEAR) {
        add(0, bank.cursor);
    }
    for (const watch::Block& block : bank.blocks) {
        if (block.state != watch::BLOCK_FREE) {
            add(block.offset, static_cast<double>(block.offset) + block.size);
        }
    }
    std::string bar;
    for (const double bytes : used) {
        const double share = std::min(1.0, bytes / perCell);
        bar += s_cells[share <= 0 ? 0 : 1 + static_cast<size_t>(share * 3.001)];
    }
    return bar;
}

void TopView::_printBanks() const
{
    Table table({{"bank", Table::TEXT},
                 {"in use", Table::NUMBER},
                 {"size", Table::NUMBER},
                 {"peak", Table::NUMBER},
                 {"fallbacks made", Table::NUMBER},
                 {"allocs/s", Table::NUMBER},
                 {"frees/s", Table::NUMBER}});
    for (const watch::Bank& bank : m_counters.banks) {
        const watch::Bank* before = m_before.bankOf(bank.index);
        const watch::Bank& from = before ? *before : bank;
        table.add({watch::bankTitle(bank), bank.bytesInUse, bank.size, bank.peakBytes, bank.extNodeCount,
                   static_cast<int64_t>(_rate(from.allocCount, bank.allocCount)),
                   static_cast<int64_t>(_rate(from.freeCount, bank.freeCount))});
    }
    table.printText();
}

void TopView::_printPlaces() const
{
    struct Growth {
        watch::PlaceSum place;
        int64_t more;
    };
    std::vector<Growth> growths;
    for (const watch::PlaceSum& place : watch::sumPlaces(m_blocks)) {
        const auto first = m_firstPlaces.find(place.place);
        const int64_t before = first == m_firstPlaces.end() ? 0 : static_cast<int64_t>(first->second.bytes);
        growths.push_back({place, static_cast<int64_t>(place.bytes) - before});
    }
    std::stable_sort(growths.begin(), growths.end(),
                     [](const Growth& left, const Growth& right) { return left.more > right.more; });
    Table table(
        {{"place", Table::TEXT}, {"blocks", Table::NUMBER}, {"bytes", Table::NUMBER}, {"bytes more", Table::CHANGE}});
    for (const Growth& growth : growths) {
        table.add({growth.place.place, growth.place.blocks, growth.place.bytes, growth.more});
    }
    table.printRows(m_terminal.isScreen() ? sc_mostPlaces : 5);
}

void TopView::print() const
{
    if (m_terminal.isScreen()) {
        printf("\033[H\033[J");
    }
    printf("%s  the last walk stopped the game for %.1f ms%s\n\n", bold(printable(m_counters.game)).c_str(),
           m_stoppedMs, m_terminal.isScreen() ? "  q ends" : "");
    _printBanks();
    printf("\n");
    if (m_terminal.isScreen()) {
        const unsigned int width = std::max(20u, m_terminal.width()) - 16;
        for (const watch::Bank& bank : m_blocks.banks) {
            if (bank.hasRegion) {
                printf("%-14.14s %s\n", printable(watch::bankTitle(bank)).c_str(), _bar(bank, width).c_str());
            }
        }
        printf("\n");
    }
    for (const std::string& torn : m_blocks.torn) {
        printf("torn: %s\n", printable(torn).c_str());
    }
    _printPlaces();
    printf("%s", m_terminal.isScreen() ? "" : "\n");
    fflush(stdout);
}

static int top(const TopOptions& options)
{
    LiveGame game;
    std::string error;
    if (!game.open(options.process, &error)) {
        return complain(STATUS_CANT_LOOK, error);
    }
    bool isFirst = true;
    {
        const Terminal terminal;
        TopView view(game, terminal);
        for (unsigned int shown = 0; options.count == 0 || shown < options.count; ++shown) {
            if (!view.update(&error)) {
                break;
            }
            isFirst = false;
            view.print();
            if (ferror(stdout) || (shown + 1 != options.count && terminal.waitForKey(options.every) == 'q')) {
                return STATUS_FINE;
            }
        }
    }
    if (isFirst) {
        return complain(STATUS_CANT_LOOK, error);
    }
    if (!error.empty()) {
        fprintf(stderr, "core-memory: the game has ended\n");
    }
    return STATUS_FINE;
}

void addTop(Program& program, int* status)
{
    const auto options = std::make_shared<TopOptions>();
    Command command = program.addCommand("top", "Shows the banks of a running game, live");
    command.addOption("PID", &options->process, "The process").required().positive();
    command.addOption("--every", &options->every, "Seconds between two pictures").range(0.1, 3600.0).showsDefault();
    command.addOption("--count", &options->count, "End after so many pictures; 0: never").showsDefault();
    command.footer(sc_footer);
    command.onRun([=] { *status = top(*options); });
}
