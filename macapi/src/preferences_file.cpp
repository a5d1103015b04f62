// Reading and changing the file of a domain.
//
// 1. The file is changed only by him who holds the lock, and only by putting another whole file in its place.
// 2. The bytes of a damaged file always have a name: they lose the old one only when they have a new one.
// 3. Only what does not parse is damaged. What cannot be read may be in the best of order, and is left alone.
#include "macapi/src/preferences_file.h"

#include "logger/printable.h"
#include "macapi/src/disk.h"
#include "macapi/src/folders.h"
#include "macapi/src/plist.h"

#include <atomic>
#include <errno.h>
#include <stdio.h>
#include <unistd.h>

namespace macapi {

static PreferencesContents load(const std::string& path)
{
    PreferencesContents contents = {PreferencesState::Unreadable, nullptr, {}};
    std::string text;
    if (const int error = readFile(path, &text, &contents.status)) {
        contents.state = error == ENOENT ? PreferencesState::Missing : PreferencesState::Unreadable;
    } else {
        contents.values = share(as<__CFDictionary>(readPlist(text).get()));
        contents.state = contents.values ? PreferencesState::Good : PreferencesState::Damaged;
    }
    if (!contents.values) {
        contents.values = make<__CFDictionary>(__CFDictionary::Entries());
    }
    return contents;
}

PreferencesState checkPreferences(const std::string& path)
{
    return load(path).state;
}

// In one line, whatever the paths hold.
static void report(const std::string& line)
{
    fprintf(stderr, "%s\n", printable(line, Lines::Escape).c_str());
}

static bool isSameFile(const std::string& one, const std::string& other)
{
    struct stat a;
    struct stat b;
    return lstat(one.c_str(), &a) == 0 && lstat(other.c_str(), &b) == 0 && a.st_dev == b.st_dev &&
           a.st_ino == b.st_ino;
}

static bool exists(const std::string& path)
{
    struct stat status;
    return lstat(path.c_str(), &status) == 0 || errno != ENOENT;
}

// The new name of a damaged file, which mostly keeps the old one as well; empty when it can't have one.
static std::string setAside(const std::string& path)
{
    for (int number = 1; number < 10000; number++) {
        const std::string name = path + ".damaged-" + std::to_string(number);
        if (link(path.c_str(), name.c_str()) == 0 || isSameFile(path, name)) { // the same: somebody was killed here
            return name;
        }
        if (!exists(name)) { // a file system without a second name for a file, or one that takes no changes
            return rename(path.c_str(), name.c_str()) == 0 ? name : "";
        }
    }
    return "";
}

static PreferencesContents damaged(const std::string& path)
{
    static std::atomic<bool> s_reported;
    if (!s_reported.exchange(true)) { // as it stays where it is, every look at it would say so
        report("macapi: preferences " + path + " do not parse and can't be set aside; " + path +
               ".bak is read, nothing is written");
    }
    PreferencesContents last = load(path + ".bak");
    last.state = PreferencesState::Damaged;
    return last;
}

static FileRights rightsOf(const struct stat& status)
{
    return {status.st_mode, status.st_uid, status.st_gid};
}

// What the file holds once it is in order. For the lock's holder.
static PreferencesContents repaired(const std::string& path)
{
    PreferencesContents contents = load(path);
    if (contents.state != PreferencesState::Damaged) {
        return contents; // somebody else was here first
    }
    const std::string aside = setAside(path);
    if (aside.empty()) {
        return damaged(path);
    }
    std::string last;
    const int error = readFile(path + ".bak", &last);
    if (error != 0 && error != ENOENT && error != EINVAL && error != EFBIG) {
        return damaged(path); // it may be in the best of order, and the next write would put another in its place
    }
    const bool copied = error == 0 && as<__CFDictionary>(readPlist(last).get());
    if (copied ? !replaceFile(path, last, rightsOf(contents.status)) : unlink(path.c_str()) != 0 && errno != ENOENT) {
        return damaged(path);
    }
    syncFolder(folderOf(path));
    report("macapi: preferences " + path + " did not parse and were set aside as " + aside +
           (copied ? "; what was last written is back" : "; they begin anew"));
    return load(path);
}

static FileLock lockFor(const std::string& path, PreferencesUser user)
{
    return FileLock(path + ".lock", user == PreferencesUser::Any ? 0666 : 0600);
}

PreferencesContents readPreferencesFile(const std::string& path, PreferencesUser user)
{
    PreferencesContents contents = load(path);
    if (contents.state != PreferencesState::Damaged) {
        return contents;
    }
    const std::string file = followLinks(path);
    const FileLock lock = lockFor(file, user);
    return lock.held() ? repaired(file) : damaged(file);
}

Ref<__CFDictionary> changed(const __CFDictionary& values, const PreferencesChanges& changes)
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
static std::string textOf(const __CFDictionary& values)
{
    std::string text;
    return writePlist(values, &text) && text.size() <= static_cast<size_t>(sc_mostBytes) ? text : "";
}

bool changePreferencesFile(const std::string& path, const PreferencesChanges& changes, PreferencesUser user)
{
    const std::string file = followLinks(path);
    if (makeFolder(folderOf(file)) != 0) {
        return false;
    }
    const FileLock lock = lockFor(file, user);
    if (!lock.held()) {
        return false;
    }
    const PreferencesContents now = repaired(file);
    const bool there = now.state == PreferencesState::Good;
    if (!there && now.state != PreferencesState::Missing) {
        return false;
    }
    const Ref<__CFDictionary> values = changed(*now.values, changes);
    if (!there && values->entries.empty()) {
        return true; // what is to be removed never was
    }
    const std::string text = textOf(*values);
    const mode_t mode = user == PreferencesUser::Any ? 0644 : 0600;
    const FileRights rights = there ? rightsOf(now.status) : FileRights{mode, geteuid(), getegid()};
    if (text.empty() || !replaceFile(file, text, rights)) {
        return false;
    }
    writeNewFile(file + ".bak", text, rights, false); // one that a loss of power cuts short does not parse either
    return true;
}

} // namespace macapi
