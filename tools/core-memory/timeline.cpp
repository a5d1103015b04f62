#include "tools/core-memory/timeline.h"

#include "tools/core-memory/output.h"
#include "watch/summary.h"

#include <stdio.h>

bool Timeline::_open()
{
    std::string ignored; // the game is not that far yet
    if (!m_game) {
        auto game = std::make_unique<LiveGame>();
        if (game->open(m_process, &ignored)) {
            m_game = std::move(game);
        }
    }
    return m_game != nullptr;
}

void Timeline::readCounters(double seconds)
{
    watch::Snapshot counters;
    std::string ignored;
    if (!_open() || !m_game->takeCounters(&counters, &ignored)) {
        return;
    }
    for (watch::Bank& bank : counters.banks) {
        m_samples.push_back({seconds, watch::bankTitle(bank), std::move(bank)});
    }
}

bool Timeline::takeSnapshot(watch::Snapshot* snapshot)
{
    double ignoredMs = 0;
    std::string ignored;
    return _open() && m_game->take(snapshot, &ignoredMs, &ignored);
}

std::string Timeline::trace() const
{
    Json events = Json::array();
    for (const Sample& sample : m_samples) {
        events.add(Json::object({{"ph", "C"},
                                 {"pid", 1},
                                 {"ts", static_cast<int64_t>(sample.seconds * 1e6)},
                                 {"name", sample.bank},
                                 {"args", Json::object({{"bytes in use", sample.counters.bytesInUse}})}}));
    }
    return Json::object({{"traceEvents", events}, {"displayTimeUnit", "ms"}}).text(1) + "\n";
}

std::string Timeline::csv() const
{
    std::string text = "seconds,bank,size,bytes in use,peak,allocations,frees,fallback blocks\n";
    for (const Sample& sample : m_samples) {
        char seconds[32];
        snprintf(seconds, sizeof(seconds), "%.3f", sample.seconds);
        std::string name = printable(sample.bank);
        for (size_t quote = name.find('"'); quote != std::string::npos; quote = name.find('"', quote + 2)) {
            name.insert(quote, "\"");
        }
        text += std::string(seconds) + ",\"" + name + "\"";
        const watch::Bank& bank = sample.counters;
        for (const uint32_t number :
             {bank.size, bank.bytesInUse, bank.peakBytes, bank.allocCount, bank.freeCount, bank.extNodeCount}) {
            text += "," + std::to_string(number);
        }
        text += "\n";
    }
    return text;
}
