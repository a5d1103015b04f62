#include "core/version.h"
#include "tools/core-doctor/elffile.h"
#include "tools/core-doctor/linker.h"
#include "tools/core-doctor/subjects.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <sys/xattr.h>

static const char sc_section[] = "libraries";

// The libraries of this project, up to the number in their names.
static bool isOurs(const std::string& name)
{
    for (const char* known : {"libcore.so", "libfile.so", "liblogger.so", "libmacapi.so"}) {
        if (name.rfind(known, 0) == 0) {
            return true;
        }
    }
    return false;
}

static void addEnvironment(const char* variable, Report* report)
{
    const char* value = getenv(variable);
    if (value && *value) {
        report->add(sc_section, variable, value);
    }
}

static void warnOfTruncation(const std::string& path, const ElfFacts& facts, Report* report)
{
    if (facts.bytes < facts.bytesNeeded) {
        report->warn("file-truncated",
                     path + " has " + std::to_string(facts.bytes) + " bytes, and its header needs " +
                         std::to_string(facts.bytesNeeded) + ".",
                     "Copy or install the file again: its end is missing.");
    }
}

static void addBuild(const std::string& libcore, Report* report)
{
    const std::string version = askLibrary(libcore).version;
    report->add(sc_section, "libcore version", version.empty() ? "unknown, the library can't be loaded" : version);
    const ElfFacts facts = readElf(libcore);
    report->add(sc_section, "libcore built",
                facts.processor + "; " + facts.compiler + (facts.hasDebugInformation ? "; with" : "; without") +
                    " debug information");
    warnOfTruncation(libcore, facts, report);
}

static void lookAtRights(const Game& game, Report* report)
{
    struct stat status;
    const bool isRead = stat(game.path.c_str(), &status) == 0;
    const bool hasBits = isRead && (status.st_mode & (S_ISUID | S_ISGID));
    const bool hasCapabilities = getxattr(game.path.c_str(), "security.capability", nullptr, 0) > 0;
    if (hasBits || hasCapabilities) {
        report->warn("extra-rights", game.path + " is setuid, setgid or has capabilities.",
                     "Take these rights away (chmod ug-s, setcap -r): each user who starts the game gets them.");
    }
}

// Returns the path of libcore; empty if the dynamic linker loads none.
static std::string addLinked(const Game& game, Report* report)
{
    std::string libcore;
    for (const LinkedLibrary& library : librariesOf(game.path)) {
        if (library.path.empty()) {
            report->add(sc_section, library.name, "not found");
            report->warn("library-missing", "The game needs " + library.name + ", which is not found.",
                         "Install its package, or name its folder in LD_LIBRARY_PATH.");
        } else if (isOurs(library.name)) {
            report->add(sc_section, library.name, library.path);
            libcore = library.name.rfind("libcore.so", 0) == 0 ? library.path : libcore;
        }
    }
    return libcore;
}

static std::string lookAtGame(const Game& game, Report* report)
{
    const ElfFacts facts = readElf(game.path);
    report->add(sc_section, "game", game.path);
    report->add(sc_section, "game built", facts.processor + (facts.compiler.empty() ? "" : "; " + facts.compiler));
    lookAtRights(game, report);
    warnOfTruncation(game.path, facts, report);
    if (!facts.isForThisHost) {
        report->warn(
            "other-processor", "The game is built for " + facts.processor + ", unlike core-doctor.",
            "Run the core-doctor of the game's system: this one can't tell which libraries are loaded there.");
        return "";
    }
    return addLinked(game, report);
}

// Returns the libcore that games find without help; empty if there is none.
static std::string findLibcore(Report* report)
{
    const std::string name = "libcore.so." + std::to_string(CORE_VERSION_MAJOR);
    std::string path = askLibrary(name).path;
    if (!path.empty()) {
        report->add(sc_section, name, path);
    }
    return path;
}

std::string lookAtLibraries(const Game& game, Report* report)
{
    report->add(sc_section, "core-doctor", CORE_VERSION);
    if (game.path.empty()) {
        report->add(sc_section, "game",
                    "none named; core-doctor GAME also shows its libraries, data folder, preferences and bank sizes");
    }
    std::string libcore = game.path.empty() ? findLibcore(report) : lookAtGame(game, report);
    if (!libcore.empty()) {
        addBuild(libcore, report);
    } else if (game.path.empty()) {
        report->add(sc_section, "libcore", "not in the folders of the dynamic linker");
    } else {
        report->add(sc_section, "libcore", "not loaded; it may be a part of the game's file");
    }
    addEnvironment("LD_LIBRARY_PATH", report);
    addEnvironment("LD_PRELOAD", report);
    return libcore;
}
