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

static void lookAtStore(const std::string& name, const PreferencesDomain& domain, Report* report)
{
    const StoreCheck store = checkStore(domain);
    if (store.file.empty()) {
        return; // the section on folders says why
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
}

static void lookAtPreferences(const Game& game, Report* report)
{
    if (!game.path.empty()) {
        lookAtStore("user's", {game.preferences, PreferencesUser::Current, PreferencesHost::Any}, report);
        lookAtStore("machine's", {game.preferences, PreferencesUser::Any, PreferencesHost::Any}, report);
        lookAtStore("user's, this host", {game.preferences, PreferencesUser::Current, PreferencesHost::Current},
                    report);
        lookAtStore("machine's, this host", {game.preferences, PreferencesUser::Any, PreferencesHost::Current},
                    report);
    }
    lookAtStore("user's, all games", {sc_anyApplication, PreferencesUser::Current, PreferencesHost::Any}, report);
    lookAtStore("machine's, all games", {sc_anyApplication, PreferencesUser::Any, PreferencesHost::Any}, report);
    lookAtStore("user's, all games, this host",
                {sc_anyApplication, PreferencesUser::Current, PreferencesHost::Current}, report);
    lookAtStore("machine's, all games, this host",
                {sc_anyApplication, PreferencesUser::Any, PreferencesHost::Current}, report);
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
