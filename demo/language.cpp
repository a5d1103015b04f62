#include "demo/language.h"

#include "demo/texts.h"

#include "core/platform.h"
#include "core/stringtable.h"
#include "watch/gamewatch.h"

#include <stdio.h>
#include <unistd.h>

static const char sc_ownLanguage[] = "en";
static const size_t sc_longestPath = 127; // bytes of a path that the string table has room for

// Each entry of a string table is a block from this place. So the number of these blocks is the number of entries.
static const char sc_recordPlace[] = "core/stringtable:221";

static unsigned int countEntries()
{
    for (const watch::PlaceSum& place : watch::sumPlaces(watch::takeGameSnapshot(""))) {
        if (place.place == sc_recordPlace) {
            return static_cast<unsigned int>(place.blocks);
        }
    }
    return 0;
}

static std::string folderOf(const std::string& folder, const std::string& name)
{
    return folder + "locale/" + name;
}

static std::string fileIn(const std::string& folder)
{
    return folder + "/" + StringTable::sc_stringFileName;
}

void Language::setFolder(const std::string& folder)
{
    m_path = fileIn(folder);
    // The string table truncates a long path. So the process enters the folder, and the path becomes ".".
    const bool isInside = m_path.size() > sc_longestPath && chdir(folder.c_str()) == 0;
    StringTable::s_setLocalePath(isInside ? "." : folder.c_str());
}

bool HasLanguage(const std::string& folder, const std::string& name)
{
    return name == sc_ownLanguage || access(fileIn(folderOf(folder, name)).c_str(), R_OK) == 0;
}

bool Language::choose(const std::string& folder, const std::string& name)
{
    if (!HasLanguage(folder, name)) {
        m_missingPath = fileIn(folderOf(folder, name));
    } else if (name != sc_ownLanguage) {
        setFolder(folderOf(folder, name));
        m_name = name;
        return true;
    }
    const std::string own = std::string(Platform::GetAppDataDir("data")) + "/locale";
    Platform::CreateDir(own.c_str());
    setFolder(own);
    m_name = "collected";
    m_isCollecting = access(m_path.c_str(), F_OK) != 0;
    return m_missingPath.empty();
}

void Language::load(StringTable& strings)
{
    if (!m_isCollecting) { // else setLanguage would log that the file is missing, which is no fault here
        strings.setLanguage(m_name.c_str());
    }
    m_entries = countEntries();
}

unsigned int Language::newTexts() const
{
    return countEntries() - m_entries;
}

// A text that the file lacks also comes back unchanged, because the table uses it as its own translation. But
// translate then adds an entry. So the number of entries is compared as well.
bool Language::textsCameBack(unsigned int collected) const
{
    if (access(m_path.c_str(), R_OK) != 0) {
        return false;
    }
    StringTable strings;
    return strings.setLanguage(m_name.c_str()) && countEntries() == collected && TextsAreTheSame() &&
           countEntries() == collected;
}

void Language::forgetCollected() const
{
    if (m_isCollecting) {
        remove(m_path.c_str());
    }
}
