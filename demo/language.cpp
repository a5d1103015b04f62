#include "demo/language.h"

#include "demo/liveblocks.h"
#include "demo/texts.h"

#include "core/platform.h"
#include "core/stringtable.h"

#include <stdio.h>
#include <unistd.h>

static const size_t sc_longestPath = 127; // bytes the string table has room for

// An entry of a string table's is a record of this place, and a text.
static const char sc_recordFile[] = "core/stringtable";
static const unsigned int sc_recordLine = 221;

static unsigned int countEntries(GameMemory& memory)
{
    for (const LivePlace& place : FindLiveBlocks(memory)) {
        if (place.file == sc_recordFile && place.line == sc_recordLine) {
            return place.blocks;
        }
    }
    return 0;
}

void Language::setFolder(const std::string& folder)
{
    m_path = folder + "/" + StringTable::sc_stringFileName;
    // From inside the folder the name alone is enough, and short.
    const bool isInside = m_path.size() > sc_longestPath && chdir(folder.c_str()) == 0;
    StringTable::s_setLocalePath(isInside ? "." : folder.c_str());
}

bool Language::choose(const Options& options)
{
    if (!options.locale.empty()) {
        setFolder(options.folder + "locale/" + options.locale);
        if (access(m_path.c_str(), R_OK) == 0) {
            m_name = options.locale;
            return true;
        }
        m_missingPath = m_path;
    }
    const std::string folder = std::string(Platform::GetAppDataDir("data")) + "/locale";
    Platform::CreateDir(folder.c_str());
    setFolder(folder);
    m_name = "collected";
    m_isCollecting = access(m_path.c_str(), F_OK) != 0;
    return options.locale.empty();
}

void Language::load(GameMemory& memory, StringTable& strings)
{
    if (!m_isCollecting) { // else the table would say that there is no file, as if that were wrong
        strings.setLanguage(m_name.c_str());
    }
    m_entries = countEntries(memory);
}

unsigned int Language::newTexts(GameMemory& memory) const
{
    return countEntries(memory) - m_entries;
}

// A text that the file doesn't have would come back all the same, as its own translation; but it makes an entry.
bool Language::textsCameBack(GameMemory& memory, unsigned int collected) const
{
    if (access(m_path.c_str(), R_OK) != 0) {
        return false;
    }
    StringTable strings;
    return strings.setLanguage(m_name.c_str()) && countEntries(memory) == collected && TextsAreTheSame() &&
           countEntries(memory) == collected;
}

void Language::forgetCollected() const
{
    if (m_isCollecting) {
        remove(m_path.c_str());
    }
}
