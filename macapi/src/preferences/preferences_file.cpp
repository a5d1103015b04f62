// Reading and changing the file of a domain.
//
// 1. Only the holder of the lock changes the file, and only by replacing it with a complete new file.
// 2. The bytes of a damaged file always have a name: the old name gets other bytes, or is removed, only after a new name
//    of the damaged bytes is on the disk.
// 3. Only a file that does not parse is damaged. A file that cannot be read may be good, and is not changed.
// 4. If the file exists, the names of all folders on its path are on the disk. So they are synchronised before the file
//    is made. The process that made a folder may have been killed before it synchronised the name.
#include "macapi/src/preferences/preferences_file.h"

#include "logger/printable.h"
#include "macapi/src/objects/plist.h"
#include "macapi/src/system/disk.h"
#include "macapi/src/system/filelock.h"
#include "macapi/src/system/trust.h"

#include <assert.h>
#include <atomic>
#include <errno.h>
#include <exception>
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

namespace macapi {

static Ref<__CFDictionary> noValues()
{
    return make<__CFDictionary>(__CFDictionary::Entries());
}

// Prints one line; escapes control characters of the paths.
static void report(const std::string& line)
{
    fprintf(stderr, "%s\n", printable(line, Lines::Escape).c_str());
}

// Prints a line once in the life of a process. Otherwise each read of a file that cannot be repaired would print it.
static void reportOnce(std::atomic<bool>* reported, const std::string& line)
{
    if (!reported->exchange(true)) {
        report(line);
    }
}

static void reportForeignLink(const std::string& path)
{
    static std::atomic<bool> s_reported;
    reportOnce(&s_reported,
               "macapi: preferences " + path + " are behind a link of another user's, which is not followed");
}

// Reads one file. A file that is too large to parse, or for which there is too little memory, is not damaged.
static PreferencesContents load(int folder, const std::string& name)
{
    PreferencesContents contents = {PreferencesState::Unreadable, noValues(), {}};
    std::string text;
    if (const int error = readFile(folder, name, &text, &contents.status)) {
        contents.state = error == ENOENT ? PreferencesState::Missing : PreferencesState::Unreadable;
        return contents;
    }
    bool isTooMuch = false;
    const Ref<Object> values = readPlist(text, &isTooMuch);
    if (as<__CFDictionary>(values.get())) {
        contents.values = share(as<__CFDictionary>(values.get()));
        contents.state = PreferencesState::Good;
    } else if (!isTooMuch) {
        contents.state = PreferencesState::Damaged;
    }
    return contents;
}

static PreferencesContents notFound(int error)
{
    return {error == ENOENT ? PreferencesState::Missing : PreferencesState::Unreadable, noValues(), {}};
}

PreferencesState checkPreferences(const std::string& path)
{
    FilePlace place;
    const int error = findFile(path, MissingFolders::Fail, &place);
    return error == 0 ? load(place.folder, place.name).state : notFound(error).state;
}

static bool isSameFile(int folder, const std::string& one, const std::string& other)
{
    struct stat a;
    struct stat b;
    return fstatat(folder, one.c_str(), &a, AT_SYMLINK_NOFOLLOW) == 0 &&
           fstatat(folder, other.c_str(), &b, AT_SYMLINK_NOFOLLOW) == 0 && a.st_dev == b.st_dev &&
           a.st_ino == b.st_ino;
}

static bool exists(int folder, const std::string& name)
{
    struct stat status;
    return fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 || errno != ENOENT;
}

static FileRights rightsOf(const struct stat& status)
{
    return {status.st_mode, status.st_uid, status.st_gid};
}

// Copies a damaged file to the name aside, which no file has. Returns false on failure.
static bool copyAside(int folder, const std::string& name, const std::string& aside)
{
    const std::string fresh = name + ".new";
    std::string contents;
    struct stat status;
    if (readFile(folder, name, &contents, &status) != 0 ||
        !writeNewFile(folder, fresh, contents, rightsOf(status), true)) {
        return false;
    }
    if (renameat(folder, fresh.c_str(), folder, aside.c_str()) == 0) {
        return true;
    }
    unlinkat(folder, fresh.c_str(), 0);
    return false;
}

// Gives the bytes of a damaged file a new name, waits until that name is on the disk, and returns it. The old name
// remains. Returns an empty name on failure.
static std::string setAside(int folder, const std::string& name)
{
    for (int number = 1; number < 10000; number++) {
        std::string aside = name + ".damaged-" + std::to_string(number);
        const bool isLinked = linkat(folder, name.c_str(), folder, aside.c_str(), 0) == 0 ||
                              isSameFile(folder, name, aside); // the same: a process was killed here
        if (isLinked || !exists(folder, aside)) {              // neither: a file can have only one name here
            const bool isAside = isLinked || copyAside(folder, name, aside);
            return isAside && syncFolder(folder) ? aside : "";
        }
    }
    return "";
}

namespace {

// The copy of the contents that were written last.
struct Backup {
    int error; // 0, or the errno value of the failed read
    std::string text;
    FileRights rights; // for the file that gets these contents
};

} // namespace

// Reads the copy of a damaged file. In a folder that other users may write to, the copy may be a link, a second name
// of a file elsewhere, or the file of a third user: it is then not read. rights names the owner of the copy, so a
// repair by root does not give one user's contents to another.
static Backup readBackup(const FilePlace& place, const struct stat& damaged)
{
    Backup copy = {0, "", rightsOf(damaged)};
    struct stat status;
    copy.error = readFile(place.folder, place.name + ".bak", &copy.text, &status);
    if (copy.error != 0) {
        return copy;
    }
    const bool isOwners = status.st_uid == damaged.st_uid;
    if (status.st_nlink != 1 || (!isOwners && status.st_uid != geteuid() && status.st_uid != 0)) {
        return {EPERM, "", {}};
    }
    if (!isOwners) {
        copy.rights = rightsOf(status);
    }
    return copy;
}

static PreferencesContents valuesOfBackup(const FilePlace& place, const struct stat& damaged)
{
    const Ref<Object> values = readPlist(readBackup(place, damaged).text);
    const __CFDictionary* dictionary = as<__CFDictionary>(values.get());
    return {PreferencesState::Damaged, dictionary ? share(dictionary) : noValues(), damaged};
}

// Reports once that the file cannot be repaired, and reads its copy.
static PreferencesContents unrepairable(const FilePlace& place, const std::string& path, const struct stat& damaged)
{
    static std::atomic<bool> s_reported;
    reportOnce(&s_reported, "macapi: preferences " + path + " do not parse and can't be repaired; " + path +
                                ".bak is read, nothing is written");
    return valuesOfBackup(place, damaged);
}

// Reads the file, and first repairs it if it is damaged. lock is the file's, and is held.
static PreferencesContents loadAndRepair(const FilePlace& place, const std::string& path,
                                         [[maybe_unused]] const FileLock& lock)
{
    assert(lock.isHeld() && "file 1: only the holder of the lock changes the file");
    PreferencesContents contents = load(place.folder, place.name);
    if (contents.state != PreferencesState::Damaged) {
        return contents; // not damaged, or another process has repaired it meanwhile
    }
    const std::string aside = place.isBehindLink ? "" : setAside(place.folder, place.name);
    if (aside.empty()) {
        return unrepairable(place, path, contents.status);
    }
    const Backup last = readBackup(place, contents.status);
    if (last.error != 0 && last.error != ENOENT && last.error != EINVAL && last.error != EFBIG) {
        // The copy cannot be read, but may be good. The next write would replace it. So nothing is repaired.
        return unrepairable(place, path, contents.status);
    }
    const bool isGood = last.error == 0 && as<__CFDictionary>(readPlist(last.text).get());
    if (isGood ? !replaceFile(place.folder, place.name, last.text, last.rights)
               : unlinkat(place.folder, place.name.c_str(), 0) != 0 && errno != ENOENT) {
        return unrepairable(place, path, contents.status);
    }
    syncFolder(place.folder);
    report("macapi: preferences " + path + " did not parse and were set aside as " + folderOf(path) + "/" + aside +
           (isGood ? "; what was last written is back" : "; they begin anew"));
    return load(place.folder, place.name);
}

static FileLock lockFor(const FilePlace& place, PreferencesUser user, std::chrono::milliseconds timeout)
{
    return FileLock(place.folder, place.name + ".lock", user == PreferencesUser::Any ? 0666 : 0600, timeout);
}

PreferencesContents readPreferencesFile(const std::string& path, PreferencesUser user, bool mayRepair)
{
    FilePlace place;
    const int error = findFile(path, MissingFolders::Fail, &place);
    if (error == sc_foreignLink) {
        reportForeignLink(path);
    }
    PreferencesContents contents = error == 0 ? load(place.folder, place.name) : notFound(error);
    if (contents.state != PreferencesState::Damaged) {
        return contents;
    }
    if (place.isBehindLink) {
        return unrepairable(place, path, contents.status);
    }
    if (!mayRepair) {
        return valuesOfBackup(place, contents.status);
    }
    const FileLock lock = lockFor(place, user, std::chrono::milliseconds(0));
    if (lock.isTaken()) {
        // The other process is going to repair the file with the same values.
        return valuesOfBackup(place, contents.status);
    }
    return lock.isHeld() ? loadAndRepair(place, path, lock) : unrepairable(place, path, contents.status);
}

Ref<__CFDictionary> applyChanges(const __CFDictionary& values, const PreferencesChanges& changes)
{
    __CFDictionary::Entries entries;
    for (const auto& [key, value] : values.entries) {
        entries[key] = share(value.get());
    }
    for (const auto& [key, value] : changes) {
        if (value) {
            entries[key] = share(value.get());
        } else {
            entries.erase(key);
        }
    }
    return make<__CFDictionary>(std::move(entries));
}

// Returns the text of the file; empty if the values cannot be written or the text is too long.
static std::string plistTextOf(const __CFDictionary& values)
{
    std::string text;
    return writePlist(values, &text) && text.size() <= static_cast<size_t>(sc_mostBytes) ? text : "";
}

// Finds the place for the file. Returns false if it cannot be written.
static bool findToWrite(const std::string& path, FilePlace* place)
{
    const int error = findFile(path, MissingFolders::Make, place);
    if (error == sc_foreignLink) {
        reportForeignLink(path);
    }
    if (error != 0) {
        return false;
    }
    // A link may lead to a file that is no preferences file. So the file is read first, before a lock file is made
    // beside it.
    const PreferencesState state =
        place->isBehindLink ? load(place->folder, place->name).state : PreferencesState::Missing;
    return state == PreferencesState::Good || state == PreferencesState::Missing;
}

static void reportNoLock(const std::string& path, const FileLock& lock)
{
    static std::atomic<bool> s_reported;
    const std::string start = "macapi: preferences " + path + " are not written: ";
    if (!lock.isTaken()) {
        reportOnce(&s_reported, start + path + ".lock can't be used");
        return;
    }
    report(start + (lock.holder() != 0 ? "process " + std::to_string(lock.holder()) : "another process") + " holds " +
           path + ".lock");
}

// Returns the rights of a new file. A file that root makes belongs to the owner of the folder, any other to its
// writer.
static FileRights rightsOfNew(int folder, PreferencesUser user)
{
    const mode_t mode = user == PreferencesUser::Any ? 0644 : 0600;
    struct stat owner;
    if (geteuid() != 0 || fstat(folder, &owner) != 0) {
        return {mode, geteuid(), sc_anyGroup};
    }
    return {mode, owner.st_uid, owner.st_gid};
}

bool changePreferencesFile(const std::string& path, const PreferencesChanges& changes, PreferencesUser user,
                           std::chrono::steady_clock::time_point end)
{
    FilePlace place;
    if (!findToWrite(path, &place)) {
        return false;
    }
    // A busy disk may take seconds for this. So no lock is held meanwhile, and the time to wait for the lock begins later.
    const auto begin = std::chrono::steady_clock::now();
    if (!exists(place.folder, place.name) && !syncFoldersAround(place.folder)) {
        return false;
    }
    const auto timeout = std::chrono::ceil<std::chrono::milliseconds>(end - begin);
    const FileLock lock = lockFor(place, user, timeout);
    if (!lock.isHeld()) {
        reportNoLock(path, lock);
        return false;
    }
    const PreferencesContents now = loadAndRepair(place, path, lock);
    const bool there = now.state == PreferencesState::Good;
    if (!there && now.state != PreferencesState::Missing) {
        return false;
    }
    const Ref<__CFDictionary> values = applyChanges(*now.values, changes);
    if (!there && values->entries.empty()) {
        return true; // the values to remove never existed
    }
    const std::string text = plistTextOf(*values);
    const FileRights rights = there ? rightsOf(now.status) : rightsOfNew(place.folder, user);
    if (text.empty() || !replaceFile(place.folder, place.name, text, rights)) {
        return false;
    }
    // A copy that is incomplete after a loss of power does not parse, and is not used.
    writeNewFile(place.folder, place.name + ".bak", text, rights, false);
    return true;
}

} // namespace macapi
