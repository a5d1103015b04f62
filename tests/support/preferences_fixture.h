// A game's preferences, as the tests of their store write, read and look at them.
#pragma once

#include "macapi/src/preferences/preferences_store.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

static const macapi::PreferencesDomain sc_game = {"com.example.game", macapi::PreferencesUser::Current,
                                                  macapi::PreferencesHost::Any};
static const char sc_file[] = "MACAPI_USER_LIBRARY/Preferences/com.example.game.plist";

inline void set(const std::string& key, const std::string& value, const macapi::PreferencesDomain& domain = sc_game)
{
    macapi::setPreference(domain, key, macapi::make<__CFString>(value));
}

inline bool keep(const std::string& key, const std::string& value, const macapi::PreferencesDomain& domain = sc_game)
{
    set(key, value, domain);
    return macapi::synchronizePreferences(domain);
}

inline std::string value(const std::string& key, const macapi::PreferencesDomain& domain = sc_game)
{
    const macapi::Ref<macapi::Object> object = macapi::copyPreference(domain, key);
    const __CFString* string = macapi::as<__CFString>(object.get());
    return string ? string->text : object ? "(no string)" : "(none)";
}

inline std::string contentsOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

inline void fill(const std::string& path, const std::string& contents)
{
    std::ofstream(path, std::ios::binary) << contents;
}

inline std::string plistOf(const std::string& entries)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n" + entries +
           "</dict>\n</plist>\n";
}

inline std::string entry(const std::string& key, const std::string& text)
{
    return "\t<key>" + key + "</key>\n\t<string>" + text + "</string>\n";
}

inline std::set<std::string> filesIn(const std::string& folder)
{
    std::set<std::string> names;
    for (const auto& file : fs::directory_iterator(folder)) {
        names.insert(file.path().filename().string());
    }
    return names;
}

inline std::set<std::string> files()
{
    return filesIn("MACAPI_USER_LIBRARY/Preferences");
}

// The folder, a file with two keys in it, and its copy.
inline void makeStore()
{
    ASSERT_TRUE(keep("Level", "3"));
    ASSERT_TRUE(keep("Player", "Anna"));
}

inline int modeOf(const std::string& path)
{
    struct stat status;
    return stat(path.c_str(), &status) == 0 ? static_cast<int>(status.st_mode & 07777) : -1;
}

// Runs a part in a process of its own; what it came to.
inline int run(const std::function<void()>& part)
{
    const pid_t child = fork();
    if (child == 0) {
        part();
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}
