// Reading and changing the file of a domain.
//
// 1. The file is changed only by him who holds the lock, and only by putting another whole file in its place.
// 2. The bytes of a damaged file always have a name: they lose the old one only when they have a new one.
// 3. Only what does not parse is damaged. What cannot be read may be in the best of order, and is left alone.
#include "macapi/src/preferences/preferences_file.h"

#include "logger/printable.h"
#include "macapi/src/objects/plist.h"
#include "macapi/src/system/disk.h"
#include "macapi/src/system/filelock.h"
#include "macapi/src/system/trust.h"

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

// In one line, whatever the paths hold.
static void report(const std::string& line)
{
    fprintf(stderr, "%s\n", printable(line, Lines::Escape).c_str());
}

// Says it once in a process's life: a file that stays as it is would be reported at every look at it.
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

// The file of that name. What does not parse, for lack of memory or because there is too much in it, is not damaged.
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

// The new name of a damaged file, which mostly keeps the old one as well; empty when it can't have one.
static std::string setAside(int folder, const std::string& name)
{
    for (int number = 1; number < 10000; number++) {
        std::string aside = name + ".damaged-" + std::to_string(number);
        if (linkat(folder, name.c_str(), folder, aside.c_str(), 0) == 0 ||
            isSameFile(folder, name, aside)) { // the same: somebody was killed here
            return aside;
        }
        if (!exists(folder, aside)) { // a file system without a second name for a file, or one that takes no changes
            return renameat(folder, name.c_str(), folder, aside.c_str()) == 0 ? aside : "";
        }
    }
    return "";
}

static FileRights rightsOf(const struct stat& status)
{
    return {status.st_mode, status.st_uid, status.st_gid};
}

namespace {

// What was last written.
struct Backup {
    int error; // 0, or why it could not be read
    std::string text;
    FileRights rights; // for a file that takes the copy's contents
};

} // namespace

// The copy of a damaged file. Where others may write to the folder, it may be a link, a second name of a file elsewhere,
// or a file of a user who has nothing to do with this one: then it is not read. Its contents get no other owner than
// they had.
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

// A damaged file that has to stay where it is.
static PreferencesContents unrepairable(const FilePlace& place, const std::string& path, const struct stat& damaged)
{
    static std::atomic<bool> s_reported;
    reportOnce(&s_reported, "macapi: preferences " + path + " do not parse and can't be repaired; " + path +
                                ".bak is read, nothing is written");
    return valuesOfBackup(place, damaged);
}

// What the file holds once it is in order. For the lock's holder.
static PreferencesContents loadAndRepair(const FilePlace& place, const std::string& path)
{
    PreferencesContents contents = load(place.folder, place.name);
    if (contents.state != PreferencesState::Damaged) {
        return contents; // somebody else was here first
    }
    const std::string aside = place.isBehindLink ? "" : setAside(place.folder, place.name);
    if (aside.empty()) {
        return unrepairable(place, path, contents.status);
    }
    const Backup last = readBackup(place, contents.status);
    if (last.error != 0 && last.error != ENOENT && last.error != EINVAL && last.error != EFBIG) {
        // It may be in the best of order, and the next write would put another in its place.
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
        return valuesOfBackup(place,
                              contents.status); // which is what the other process is about to put in the file's place
    }
    return lock.isHeld() ? loadAndRepair(place, path) : unrepairable(place, path, contents.status);
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

// Empty where it has no place in a file.
static std::string plistTextOf(const __CFDictionary& values)
{
    std::string text;
    return writePlist(values, &text) && text.size() <= static_cast<size_t>(sc_mostBytes) ? text : "";
}

// Where the file is to be written. False when it cannot be.
static bool findToWrite(const std::string& path, FilePlace* place)
{
    const int error = findFile(path, MissingFolders::Make, place);
    if (error == sc_foreignLink) {
        reportForeignLink(path);
    }
    if (error != 0) {
        return false;
    }
    // Beside a file behind a link not even a lock is made before it is certain that the file is one of ours.
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

// A file that is new belongs to its folder's owner, if the writer may give it away.
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
    const auto timeout = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    const FileLock lock = lockFor(place, user, timeout);
    if (!lock.isHeld()) {
        reportNoLock(path, lock);
        return false;
    }
    const PreferencesContents now = loadAndRepair(place, path);
    const bool there = now.state == PreferencesState::Good;
    if (!there && now.state != PreferencesState::Missing) {
        return false;
    }
    const Ref<__CFDictionary> values = applyChanges(*now.values, changes);
    if (!there && values->entries.empty()) {
        return true; // what is to be removed never was
    }
    const std::string text = plistTextOf(*values);
    const FileRights rights = there ? rightsOf(now.status) : rightsOfNew(place.folder, user);
    if (text.empty() || !replaceFile(place.folder, place.name, text, rights)) {
        return false;
    }
    // One that a loss of power cuts short does not parse either.
    writeNewFile(place.folder, place.name + ".bak", text, rights, false);
    return true;
}

} // namespace macapi
