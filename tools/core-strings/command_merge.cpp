// core-strings merge: brings the new texts of a game into a translation.
//
// 1. Each entry of OLD whose key NEW has stays as it is, and in its place.
// 2. Each other key of NEW becomes a proposal, after the item whose key comes before it in NEW.
// 3. Each entry of OLD whose key NEW lacks becomes obsolete, or is dropped.
#include "tools/core-strings/askedtexts.h"
#include "tools/core-strings/commands.h"
#include "tools/core-strings/game.h"
#include "tools/core-strings/texts.h"

#include <algorithm>
#include <map>
#include <set>
#include <stdio.h>

static const double sc_leastSimilarity = 0.7; // of the key that a proposal comes from

typedef std::map<std::string, size_t> Index; // the place of the first item with a key, in lower case

static Index indexOf(const std::vector<Item>& items)
{
    Index index;
    for (size_t place = 0; place < items.size(); ++place) {
        index.emplace(foldCase(items[place].key), place);
    }
    return index;
}

static bool startsWith(const std::string& line, const char* start)
{
    return line.compare(0, std::string(start).size(), start) == 0;
}

static bool isFromGame(const std::string& comment)
{
    return startsWith(comment, "//: ") || startsWith(comment, "//. ");
}

// The comments of a translation stay; those that say where a game uses the text come from the new file.
static void takeGamesComments(Item* item, const Item& from)
{
    std::vector<std::string> fresh;
    std::copy_if(from.comments.begin(), from.comments.end(), std::back_inserter(fresh), isFromGame);
    if (!fresh.empty()) {
        std::vector<std::string>& comments = item->comments;
        comments.erase(std::remove_if(comments.begin(), comments.end(), isFromGame), comments.end());
        comments.insert(comments.end(), fresh.begin(), fresh.end());
    }
}

namespace {
class Merger {
public:
    Merger(std::vector<Item> items, const std::vector<Item>& fresh, const MergeOptions& options)
        : m_items(std::move(items)), m_fresh(fresh), m_freshIndex(indexOf(fresh)), m_options(options)
    {
    }

    std::vector<Item> run()
    {
        for (const Item& item : m_items) {
            m_translations.push_back(item);
        }
        _placeOldItems();
        _placeNewItems();
        printf("%zu kept, %zu new (%zu with a proposal), %zu no longer used%s\n", m_kept, m_new, m_proposed, m_unused,
               m_options.dropsUnused ? " and dropped" : "");
        return m_result;
    }

private:
    void _placeOldItems();
    void _placeNewItems();
    Item _proposalFor(const Item& fresh);

    std::vector<Item> m_items;
    const std::vector<Item>& m_fresh;
    const Index m_freshIndex;
    const MergeOptions& m_options;
    std::vector<Item> m_translations; // all that proposals can come from
    std::vector<Item> m_result;
    std::set<std::string> m_done; // the keys in m_result, in lower case
    size_t m_kept = 0;
    size_t m_new = 0;
    size_t m_proposed = 0;
    size_t m_unused = 0;
};
} // namespace

void Merger::_placeOldItems()
{
    for (Item& item : m_items) {
        const auto fresh = m_freshIndex.find(foldCase(item.key));
        if (fresh != m_freshIndex.end() && m_fresh[fresh->second].kind != ITEM_OBSOLETE) {
            item.kind = item.kind == ITEM_OBSOLETE ? ITEM_ENTRY : item.kind; // the game asks for it again
            takeGamesComments(&item, m_fresh[fresh->second]);
            m_kept += 1;
            m_done.insert(foldCase(item.key));
        } else if (item.kind == ITEM_PROPOSAL || m_options.dropsUnused) {
            m_unused += 1;
            continue; // unused: a proposal always goes, an entry only if the user asks for it
        } else {
            m_unused += item.kind == ITEM_ENTRY;
            item.kind = ITEM_OBSOLETE;
        }
        m_result.push_back(std::move(item));
    }
}

void Merger::_placeNewItems()
{
    std::string before; // the key before, in lower case
    for (const Item& fresh : m_fresh) {
        const std::string key = foldCase(fresh.key);
        if (fresh.kind == ITEM_OBSOLETE) {
            continue;
        }
        if (m_done.insert(key).second) {
            const auto place = std::find_if(m_result.begin(), m_result.end(),
                                            [&](const Item& item) { return foldCase(item.key) == before; });
            m_result.insert(place == m_result.end() ? place : place + 1, _proposalFor(fresh));
            m_new += 1;
        }
        before = key;
    }
}

Item Merger::_proposalFor(const Item& fresh)
{
    Item item = fresh;
    item.kind = ITEM_PROPOSAL;
    item.translation.clear();
    const Item* best = nullptr;
    double most = sc_leastSimilarity;
    for (const Item& candidate : m_translations) {
        const double value = candidate.translation.empty() ? 0 : similarity(candidate.key, fresh.key);
        if (value > most) {
            most = value;
            best = &candidate;
        }
    }
    if (best && !m_options.isWithoutProposals) {
        m_proposed += 1;
        item.comments.push_back("//| \"" + encodeEscapes(best->key) + '"');
        item.translation = best->translation;
    }
    return item;
}

int runMerge(const MergeOptions& options)
{
    Document document;
    Document fresh;
    if (const int status = loadDocument(options.oldFile, &document)) {
        return status;
    }
    if (const int status = loadDocument(options.newFile, &fresh)) {
        return status;
    }
    removeCounts(&fresh); // they differ from run to run, and no translator needs them
    document.items = Merger(std::move(document.items), fresh.items, options).run();
    normalise(&document);
    const std::string output = options.output.empty() ? options.oldFile : options.output;
    return saveFile(output, writeDocument(document));
}
