// Domains, their pending values, and the values that were read from their files.
//
// 1. All values are stored under the path of the domain's file. If the environment names another folder, the domain
//    has another file. Pending values belong to the file for which they were set.
// 2. Values that were read are used again only while the file is certainly the same. The clock for the times of files
//    advances in steps of some milliseconds: two changes within one step give a file the same times.
// 3. There are two locks. The lock writing lets one thread change files at a time. The lock mutex guards the stored
//    values. mutex is also held while a file is read, and while that read repairs a damaged file: neither waits for
//    other processes. mutex is not held while pending values are written, because a write may wait for other
//    processes. A write takes writing before mutex. A read takes mutex, and then only tries to take writing.
// 4. While values are being written, reads return them like pending values. Otherwise a read would return the value
//    in the file, which is older than the pending value that an earlier read returned.
#include "macapi/src/preferences/preferences_store.h"

#include "macapi/src/objects/plist.h"
#include "macapi/src/preferences/preferences_file.h"
#include "macapi/src/system/bundle.h"
#include "macapi/src/system/disk.h"
#include "macapi/src/system/executable.h"
#include "macapi/src/system/folders.h"
#include "macapi/src/system/processid.h"

#include <assert.h>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <iterator>
#include <mutex>
#include <optional>
#include <stdio.h>
#include <sys/utsname.h>
#include <time.h>
#include <unistd.h>

namespace macapi {

static const size_t sc_longestName = 160; // bytes; the system allows 255 for the whole name
// Nanoseconds; longer than the step of the clock for files' times.
static const int64_t sc_timestampMargin = 20 * 1000 * 1000;
// How long a write waits for other processes that hold the file's lock.
static const std::chrono::seconds sc_lockTimeout(5);

static std::string hashOf(const std::string& text)
{
    uint64_t hash = 0xcbf29ce484222325; // FNV-1a
    for (unsigned char byte : text) {
        hash = (hash ^ byte) * 0x100000001b3;
    }
    char digits[17];
    snprintf(digits, sizeof(digits), "%08x%08x", static_cast<unsigned int>(hash >> 32),
             static_cast<unsigned int>(hash));
    return digits;
}

// False until hostName was called: the process has then stored nothing for a file of this host.
static std::atomic<bool> s_isHostNamed;

// Returns a name for this computer. Computers that share a folder have different names. The name is a hash of the
// machine's identity, which is not for other users to see. A computer that gets a new network name keeps its
// identity. Without an identity, the network name is hashed.
static const std::string& hostName()
{
    static const std::string s_name = [] {
        s_isHostNamed = true;
        std::string identity;
        utsname names;
        if (readFile("/etc/machine-id", &identity) != 0 || identity.size() < 32) {
            identity = uname(&names) == 0 ? names.nodename : "";
        }
        return hashOf(identity);
    }();
    return s_name;
}

// Returns a file name for an application. Different applications have different names, and no name leads to another
// folder. A slash, a percent sign, a control character and a leading dot become % and two hexadecimal digits. In a
// name that is too long, %- and a hash of the whole name replace the end.
static std::string fileNameOf(const std::string& application)
{
    std::string name;
    for (unsigned char byte : application) {
        if (byte < ' ' || byte == 0x7f || byte == '/' || byte == '%' || (byte == '.' && name.empty())) {
            char digits[4];
            snprintf(digits, sizeof(digits), "%%%02x", byte);
            name += digits;
        } else {
            name += static_cast<char>(byte);
        }
    }
    if (name.size() > sc_longestName) {
        size_t length = sc_longestName;
        while ((name[length] & 0xc0) == 0x80) { // a UTF-8 character is not divided
            length--;
        }
        name = name.substr(0, length) + "%-" + hashOf(application);
    }
    return name;
}

// Returns the name of this process's application; empty if it is not known at this moment.
static std::string currentApplication()
{
    const std::optional<std::string> identifier = bundleIdentifier();
    return !identifier ? "" : identifier->empty() ? processName() : *identifier;
}

// Returns fileNameOf the current application. The name is looked up once, so a program whose file is renamed while it
// runs has the same preferences as before. A name that is not known is looked up again by the next call: otherwise a
// moment without memory or with too many open files would give the process other preferences, or none, until it ends.
static std::string currentFileName()
{
    static std::mutex s_mutex;
    static auto& s_name = *new std::string; // never freed: other threads may still use it when the process ends

    const std::lock_guard<std::mutex> lock(s_mutex);
    if (s_name.empty()) {
        s_name = fileNameOf(currentApplication());
    }
    return s_name;
}

// Returns the file name without host and .plist. fileNameOf escapes a leading dot, so no application can have the
// file of the domain of all applications.
static std::string fileNameFor(const std::string& application)
{
    if (application == sc_anyApplication) {
        return ".GlobalPreferences";
    }
    if (application == sc_currentApplication) {
        return currentFileName();
    }
    return fileNameOf(application);
}

// Reads the environment at each call. Empty for a user without a home.
static std::string preferencesFolder(PreferencesUser user)
{
    return systemFolder(user == PreferencesUser::Any ? kLocalDomain : kUserDomain, kPreferencesFolderType);
}

static const char* const sc_hostFolder = "/ByHost";

// Returns the path of a file in a Preferences folder. name is the name that fileNameFor returns.
static std::string pathOf(const std::string& folder, const std::string& name, PreferencesHost host)
{
    std::string path;
    path.reserve(folder.size() + name.size() + 64); // 64: for the name of the host and the fixed parts
    path += folder;
    if (host == PreferencesHost::Current) {
        path.append(sc_hostFolder).append("/").append(name).append(".").append(hostName());
    } else {
        path.append("/").append(name);
    }
    return path += ".plist";
}

std::string preferencesFile(const PreferencesDomain& domain)
{
    const std::string folder = preferencesFolder(domain.user);
    const std::string name = fileNameFor(domain.application);
    return name.empty() || folder.empty() ? "" : pathOf(folder, name, domain.host);
}

namespace {

// What the process has stored for a domain's file.
struct File {
    PreferencesChanges pending;
    PreferencesChanges written; // a thread is writing them to the file
    Ref<__CFDictionary> values; // null: must be read
    struct stat status;         // of the file that these values came from
};

// The files of one Preferences folder in which the values of an application are looked up, in the order of the search.
struct SearchPlaces {
    std::string application;
    std::string folder;
    std::string hostFolder;
    bool folderExisted; // when it was last looked at
    bool hostFolderExisted;
    std::string files[2];     // the application's and that of all applications
    std::string hostFiles[2]; // the same for this host; empty until they are needed
};

// The state of one process. A forked child makes a new one: it must not write its parent's pending values, and a lock
// may be held by a thread of the parent that does not exist in the child.
struct ProcessState {
    const pid_t id;
    ProcessState* const parent;
    std::mutex writing;                // held while a file is changed or repaired
    std::mutex mutex;                  // guards files and places
    std::map<std::string, File> files; // by path
    SearchPlaces places[2];            // of the last search: the current user's, then any user's
};

} // namespace

static ProcessState& processState()
{
    static std::atomic<ProcessState*> s_process; // never freed: other threads may still use it when the process ends
    ProcessState* known = s_process.load();
    const pid_t id = processId();
    while (!known || known->id != id) {
        ProcessState* fresh = new ProcessState{id, known, {}, {}, {}, {}};
        if (s_process.compare_exchange_strong(known, fresh)) {
            return *fresh;
        }
        delete fresh;
    }
    return *known;
}

static int64_t nanoseconds(const timespec& time)
{
    return static_cast<int64_t>(time.tv_sec) * 1000000000 + time.tv_nsec;
}

static bool isSame(const struct stat& one, const struct stat& other)
{
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino && one.st_size == other.st_size &&
           nanoseconds(one.st_mtim) == nanoseconds(other.st_mtim) &&
           nanoseconds(one.st_ctim) == nanoseconds(other.st_ctim);
}

static Ref<__CFDictionary> emptyDictionary()
{
    static const __CFDictionary* const s_empty = immortal(make<__CFDictionary>(__CFDictionary::Entries()));
    return share(s_empty);
}

// Returns the values of the file at this moment. A damaged file is repaired, unless another thread is writing.
static Ref<__CFDictionary> valuesOf(ProcessState* state, File* file, const std::string& path, PreferencesUser user)
{
    struct stat now;
    if (stat(path.c_str(), &now) != 0) {
        return emptyDictionary();
    }
    if (file->values && isSame(file->status, now)) {
        return share(file->values.get());
    }
    timespec time;
    clock_gettime(CLOCK_REALTIME, &time);
    const std::unique_lock<std::mutex> writing(state->writing, std::try_to_lock);
    PreferencesContents contents = readPreferencesFile(path, user, writing.owns_lock());
    file->values.reset();
    if (contents.state == PreferencesState::Good &&
        nanoseconds(time) - nanoseconds(contents.status.st_ctim) > sc_timestampMargin) {
        file->values = share(contents.values.get());
        file->status = contents.status;
    }
    return std::move(contents.values);
}

// Returns false if the folder, and so every file in it, is missing at this moment. *existed is false if the folder was
// missing at the last call. A folder that existed is not looked at again; its files may be missing all the same.
static bool mayHaveFiles(const std::string& folder, bool* existed)
{
    struct stat status;
    *existed = *existed || stat(folder.c_str(), &status) == 0;
    return *existed;
}

// Returns the change of a value; null if the changes do not contain it.
static const Ref<Object>* find(const PreferencesChanges& changes, const std::string& key)
{
    const auto change = changes.find(key);
    return change != changes.end() ? &change->second : nullptr;
}

// Returns the value in one domain; null if there is none. mayExist is false when the domain's file is missing.
static Ref<Object> valueIn(ProcessState* state, const std::string& path, PreferencesUser user, const std::string& key,
                           bool mayExist)
{
    const auto known = state->files.find(path);
    if (known != state->files.end()) {
        for (const PreferencesChanges* changes : {&known->second.pending, &known->second.written}) {
            if (const Ref<Object>* value = find(*changes, key)) {
                return share(value->get());
            }
        }
    }
    if (!mayExist) {
        return nullptr;
    }
    File& file = known != state->files.end() ? known->second : state->files[path];
    return share(valuesOf(state, &file, path, user)->find(key));
}

Ref<Object> copyPreference(const PreferencesDomain& domain, const std::string& key)
{
    const std::string path = preferencesFile(domain);
    if (path.empty()) {
        return nullptr;
    }
    ProcessState& state = processState();
    const std::lock_guard<std::mutex> lock(state.mutex);
    return valueIn(&state, path, domain.user, key, true);
}

// valueIn for a path that is empty if the file's name is not known or not needed.
static Ref<Object> valueInFile(ProcessState* state, const std::string& path, PreferencesUser user,
                               const std::string& key, bool mayExist)
{
    return path.empty() ? nullptr : valueIn(state, path, user, key, mayExist);
}

// Returns the path of an application's file in a Preferences folder; empty if the application's name is not known.
static std::string fileIn(const std::string& folder, const std::string& application, PreferencesHost host)
{
    const std::string name = fileNameFor(application);
    return name.empty() ? "" : pathOf(folder, name, host);
}

static SearchPlaces placesIn(const std::string& folder, const std::string& application)
{
    return {
        application,
        folder,
        folder + sc_hostFolder,
        false,
        false,
        {fileIn(folder, application, PreferencesHost::Any), fileIn(folder, sc_anyApplication, PreferencesHost::Any)},
        {}};
}

static void addHostFiles(SearchPlaces* places)
{
    places->hostFiles[0] = fileIn(places->folder, places->application, PreferencesHost::Current);
    places->hostFiles[1] = fileIn(places->folder, sc_anyApplication, PreferencesHost::Current);
}

// Returns the value of an application in the domains of one user; null if there is none. Makes *places anew when they
// are of another folder or application, and when the name of the current application was not known.
static Ref<Object> valueOfUser(ProcessState* state, SearchPlaces* places, PreferencesUser user,
                               const std::string& application, const std::string& key)
{
    const std::string folder = preferencesFolder(user);
    if (folder.empty()) {
        return nullptr;
    }
    if (places->folder != folder || places->application != application || places->files[0].empty()) {
        *places = placesIn(folder, application);
    }
    const bool mayExist = mayHaveFiles(folder, &places->folderExisted);
    const bool mayExistForHost = mayExist && mayHaveFiles(places->hostFolder, &places->hostFolderExisted);
    // Finding the host's name takes time, and most hosts have no files of their own.
    if ((mayExistForHost || s_isHostNamed) && places->hostFiles[1].empty()) {
        addHostFiles(places);
    }
    Ref<Object> value;
    for (size_t i = 0; i < std::size(places->files) && !value; i++) {
        value = valueInFile(state, places->hostFiles[i], user, key, mayExistForHost);
        value = value ? std::move(value) : valueInFile(state, places->files[i], user, key, mayExist);
    }
    return value;
}

Ref<Object> copyAppPreference(const std::string& application, const std::string& key)
{
    ProcessState& state = processState();
    const std::lock_guard<std::mutex> lock(state.mutex);
    Ref<Object> value = valueOfUser(&state, &state.places[0], PreferencesUser::Current, application, key);
    return value ? std::move(value) : valueOfUser(&state, &state.places[1], PreferencesUser::Any, application, key);
}

Ref<__CFDictionary> copyPreferences(const PreferencesDomain& domain)
{
    const std::string path = preferencesFile(domain);
    if (path.empty()) {
        return emptyDictionary();
    }
    ProcessState& state = processState();
    const std::lock_guard<std::mutex> lock(state.mutex);
    File& file = state.files[path];
    return applyChanges(*applyChanges(*valuesOf(&state, &file, path, domain.user), file.written), file.pending);
}

void setPreference(const PreferencesDomain& domain, const std::string& key, Ref<Object> value)
{
    const std::string path = preferencesFile(domain);
    PreferencesChanges change;
    change[key] = std::move(value);
    std::string text;
    if (path.empty() || !writePlist(*applyChanges(*emptyDictionary(), change), &text)) {
        return;
    }
    ProcessState& state = processState();
    const std::lock_guard<std::mutex> lock(state.mutex);
    state.files[path].pending[key] = std::move(change[key]);
}

namespace {

// Marks the pending values of a file as being written, until this object is destroyed. Only the thread that holds
// writing may make one.
class PendingWrite {
public:
    PendingWrite(ProcessState* processState, const std::string& path) : m_process(processState), m_path(path)
    {
        const std::lock_guard<std::mutex> lock(processState->mutex);
        m_file = &processState->files[path];
        assert(m_file->written.empty() && "store 3: writing lets one thread write at a time");
        m_file->written = std::move(m_file->pending);
        m_file->pending.clear();
    }
    ~PendingWrite()
    {
        const std::lock_guard<std::mutex> lock(m_process->mutex);
        m_file->written.clear();
        m_file->values.reset();
        if (m_file->pending.empty()) {
            m_process->files.erase(m_path);
        }
    }
    PendingWrite(const PendingWrite&) = delete;
    PendingWrite& operator=(const PendingWrite&) = delete;

    const PreferencesChanges& changes() const { return m_file->written; } // no other thread changes these

private:
    ProcessState* const m_process;
    const std::string m_path;
    File* m_file;
};

} // namespace

bool synchronizePreferences(const PreferencesDomain& domain)
{
    const auto end = std::chrono::steady_clock::now() + sc_lockTimeout;
    const std::string path = preferencesFile(domain);
    if (path.empty()) {
        return false;
    }
    ProcessState& state = processState();
    const std::lock_guard<std::mutex> lock(state.writing);
    const PendingWrite writing(&state, path);
    return writing.changes().empty() || changePreferencesFile(path, writing.changes(), domain.user, end);
}

} // namespace macapi
