// The files in which core stores a game's values: preferences and bank sizes.
#include "macapi/src/system/disk.h"
#include "macapi/src/system/folders.h"
#include "macapi/src/system/trust.h"
#include "tools/core-doctor/subjects.h"
#include "tools/store_check.h"
#include "watch/sizefile.h"

#include <errno.h>
#include <string.h>

using namespace macapi;

// Returns true if the file exists.
static bool lookAtStore(const std::string& name, const PreferencesDomain& domain, Report* report)
{
    const StoreCheck store = checkStore(domain);
    if (store.state == PreferencesState::Missing) {
        return false; // most games have one or two of these files
    }
    report->add("preferences", name, store.file + ": " + store.text);
    if (store.state == PreferencesState::Damaged) {
        report->warn(
            "preferences-damaged", store.file + ": " + store.text + ".",
            "Repair it with an editor. Else the game sets it aside when it next reads it, and uses the copy, "
            "FILE.bak.");
    } else if (store.state == PreferencesState::Unreadable) {
        report->warn(
            "preferences-unreadable", store.file + ": " + store.text + ".",
            "Look at its owner, its permissions and the links on its path; the game can't store values there.");
    }
    return true;
}

static void lookAtPreferences(const Game& game, Report* report)
{
    static const struct {
        const char* name;
        bool isOfGame; // else of all games
        PreferencesUser user;
        PreferencesHost host;
    } sc_stores[] = {
        {"user's", true, PreferencesUser::Current, PreferencesHost::Any},
        {"user's, this host", true, PreferencesUser::Current, PreferencesHost::Current},
        {"machine's", true, PreferencesUser::Any, PreferencesHost::Any},
        {"machine's, this host", true, PreferencesUser::Any, PreferencesHost::Current},
        {"user's, all games", false, PreferencesUser::Current, PreferencesHost::Any},
        {"user's, all games, this host", false, PreferencesUser::Current, PreferencesHost::Current},
        {"machine's, all games", false, PreferencesUser::Any, PreferencesHost::Any},
        {"machine's, all games, this host", false, PreferencesUser::Any, PreferencesHost::Current},
    };
    bool isThere = false;
    for (const auto& store : sc_stores) {
        const std::string application = store.isOfGame ? game.preferences : sc_anyApplication;
        isThere |= lookAtStore(store.name, {application, store.user, store.host}, report);
    }
    if (!isThere) {
        report->add("preferences", "files", "none yet");
    }
}

static void addSizes(const std::string& path, const std::string& text, Report* report)
{
    report->add("bank sizes", "file", path);
    for (const watch::SizeLine& line : watch::readSizeFile(text, nullptr)) {
        const std::string number = "line " + std::to_string(line.number);
        const std::string value = line.isRead ? line.name + " = " + std::to_string(line.size) + " bytes" : "not read";
        report->add("bank sizes", number, value + (line.remark.empty() ? "" : "; " + line.remark));
        if (line.isWrong) {
            report->warn("sizes-wrong", path + ", " + number + ": " + line.remark + ".",
                         "Remove the file: the game then uses the sizes in its code, and writes the file anew.");
        }
    }
}

static void lookAtSizes(const Game& game, Report* report)
{
    const std::string support = systemFolder(kLocalDomain, kApplicationSupportFolderType);
    if (game.path.empty() || support.empty()) {
        return;
    }
    const std::string path = support + "/Brackenlow/" + game.name + "/data/memory.dat";
    FilePlace place;
    std::string text;
    int error = findFile(path, MissingFolders::Fail, &place);
    error = error == 0 ? readFile(place.folder, place.name, &text) : error;
    if (error == 0) {
        addSizes(path, text, report);
    } else if (error == ENOENT) {
        report->add("bank sizes", "file", path + ": not written yet, the sizes in the game's code hold");
    } else {
        const std::string why = error == sc_foreignLink ? "another user's link is on the path"
                                : error == EINVAL       ? "not a regular file"
                                                        : strerror(error);
        report->add("bank sizes", "file", path + ": can't be read");
        report->warn("sizes-unreadable", path + ": can't be read: " + why + ".",
                     "Remove it, or give this user the right to read and write it.");
    }
}

void lookAtStores(const Game& game, Report* report)
{
    lookAtPreferences(game, report);
    lookAtSizes(game, report);
}
