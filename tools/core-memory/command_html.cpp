// core-memory html: snapshots as one page for a browser.
//
// The page is a file of its own, without any address of the network. Its parts lie in the folder page.
#include "tools/core-memory/command.h"
#include "tools/core-memory/files.h"
#include "tools/core-memory/output.h"
#include "tools/core-memory/page.h"
#include "watch/summary.h"

#include <memory>
#include <unordered_map>

static const char sc_footer[] = "Examples:\n"
                                "  core-memory html level2.snapshot -o report.html\n"
                                "  core-memory html start.snapshot level1.snapshot level2.snapshot -o report.html\n"
                                "\n"
                                "Several snapshots give the page a time line and a player.\n"
                                "\n"
                                "Exit status: 0 fine, 2 a file is no snapshot, 3 a file can't be read or written.";

// Stand for nodes without a place; page.js has the same numbers.
static const int sc_freePlace = -1;
static const int sc_damagedPlace = -2;

// The places of all snapshots, each once, so that a place has one colour in all of them.
class Places {
public:
    int numberOf(const std::string& place)
    {
        const auto added = m_numbers.emplace(place, static_cast<int>(m_places.size()));
        if (added.second) {
            m_places.push_back(place);
        }
        return added.first->second;
    }
    const std::vector<std::string>& all() const { return m_places; }

private:
    std::vector<std::string> m_places;
    std::unordered_map<std::string, int> m_numbers;
};

// The places of one snapshot, each looked up once.
class PlaceCache {
public:
    PlaceCache(const watch::Snapshot& snapshot, Places* places) : m_snapshot(snapshot), m_places(places) {}

    int numberOf(const watch::Block& block)
    {
        if (block.state == watch::BLOCK_FREE || block.state == watch::BLOCK_DAMAGED) {
            return block.state == watch::BLOCK_FREE ? sc_freePlace : sc_damagedPlace;
        }
        const auto added = m_numbers.emplace(static_cast<uint64_t>(block.name) << 32 | block.line, 0);
        if (added.second) {
            added.first->second = m_places->numberOf(m_snapshot.placeOf(block));
        }
        return added.first->second;
    }

private:
    const watch::Snapshot& m_snapshot;
    Places* m_places;
    std::unordered_map<uint64_t, int> m_numbers;
};

// The nodes as columns. Offsets and times are left out when the page can do without.
static Json columnsOf(const std::vector<watch::Block>& blocks, PlaceCache* places)
{
    Json sizes = Json::array();
    Json numbers = Json::array();
    Json ages = Json::array();
    Json offsets = Json::array();
    Json born = Json::array();
    uint64_t end = 0;
    bool isTiled = true;
    bool hasTimes = false;
    for (const watch::Block& block : blocks) {
        const bool isInside = block.offset != watch::sc_noNumber;
        sizes.add(block.size);
        numbers.add(places->numberOf(block));
        ages.add(block.order == watch::sc_noNumber ? -1 : static_cast<int64_t>(block.order));
        offsets.add(isInside ? block.offset : end);
        born.add(block.born);
        isTiled = isTiled && (!isInside || block.offset == end);
        hasTimes = hasTimes || block.born >= 0;
        end += block.size;
    }
    Json columns = Json::object({{"sizes", sizes}, {"places", numbers}, {"ages", ages}});
    if (!isTiled) {
        columns["offsets"] = offsets;
    }
    if (hasTimes) {
        columns["born"] = born;
    }
    return columns;
}

static Json bankOf(const watch::Bank& bank, PlaceCache* places)
{
    const watch::BankSum sum = watch::sumBank(bank);
    return Json::object({{"index", bank.index},
                         {"title", watch::bankTitle(bank)},
                         {"type", watch::typeName(bank)},
                         {"region", bank.hasRegion},
                         {"size", bank.size},
                         {"inUse", bank.bytesInUse},
                         {"peak", bank.peakBytes},
                         {"cursor", bank.cursor},
                         {"freeNodes", sum.freeNodes},
                         {"freeBytes", sum.freeBytes},
                         {"largestFree", sum.largestFree},
                         {"aged", Json::array({sum.usedBlocks, sum.fallbackBlocks})},
                         {"nodes", columnsOf(bank.blocks, places)},
                         {"fallbacks", columnsOf(bank.fallbacks, places)}});
}

static Json snapshotOf(const watch::Snapshot& snapshot, const std::string& file, Places* allPlaces)
{
    PlaceCache places(snapshot, allPlaces);
    Json banks = Json::array();
    for (const watch::Bank& bank : snapshot.banks) {
        banks.add(bankOf(bank, &places));
    }
    Json damages = Json::array();
    for (const watch::Damage& damage : snapshot.damages) {
        damages.add(watch::describeDamage(snapshot, damage));
    }
    return Json::object({{"file", file},
                         {"game", snapshot.game},
                         {"time", snapshot.time},
                         {"torn", snapshot.torn},
                         {"damage", damages},
                         {"banks", banks}});
}

static void replaceMark(std::string* page, const std::string& mark, const std::string& text)
{
    page->replace(page->find(mark), mark.size(), text);
}

// Returns JSON that no HTML parser takes for the end of the script element.
static std::string safeJson(const Json& json)
{
    std::string text = json.text();
    for (size_t at = text.find('<'); at != std::string::npos; at = text.find('<', at)) {
        text.replace(at, 1, "\\u003c");
    }
    return text;
}

struct HtmlOptions {
    std::vector<std::string> files;
    std::string output = "-";
};

static int writePage(const HtmlOptions& options)
{
    Places places;
    Json snapshots = Json::array();
    for (const std::string& file : options.files) {
        watch::Snapshot snapshot;
        if (const int status = readSnapshotFile(file, &snapshot)) {
            return status;
        }
        snapshots.add(snapshotOf(snapshot, file.substr(file.rfind('/') + 1), &places));
    }
    std::string page = page_html;
    replaceMark(&page, "@STYLE@", page_css);
    replaceMark(&page, "@SCRIPT@", page_js);
    replaceMark(&page, "@DATA@", safeJson(Json::object({{"places", places.all()}, {"snapshots", snapshots}})));
    return writeWholeFile(options.output, page);
}

void addHtml(Program& program, int* status)
{
    const auto options = std::make_shared<HtmlOptions>();
    Command command = program.addCommand("html", "Writes snapshots as one page for a browser");
    command.addOption("SNAPSHOT", &options->files, "Snapshots, in the order of time").required();
    command.addOption("-o,--output", &options->output, "The page; - for the standard output").showsDefault();
    command.footer(sc_footer);
    command.onRun([=] { *status = writePage(*options); });
}
