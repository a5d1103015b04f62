#include "tools/core-doctor/game.h"

#include "macapi/src/objects/encoding.h"
#include "macapi/src/objects/plist.h"
#include "macapi/src/objects/values.h"
#include "macapi/src/system/disk.h"
#include "tools/core-doctor/elffile.h"
#include "tools/core-doctor/linker.h"

#include <algorithm>
#include <errno.h>
#include <memory>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace macapi;

// Returns the path of the Info.plist that the game reads: in its bundle, or in its own folder.
static std::string infoFile(const std::string& executable)
{
    static const std::string sc_inBundle = ".app/Contents/MacOS";
    const std::string folder = folderOf(executable);
    if (folder.size() > sc_inBundle.size() &&
        folder.compare(folder.size() - sc_inBundle.size(), std::string::npos, sc_inBundle) == 0) {
        return folderOf(folder) + "/Info.plist";
    }
    return folder + "/Info.plist";
}

static std::string bundleIdentifierOf(const std::string& executable)
{
    std::string text;
    if (readFile(infoFile(executable), &text) != 0) {
        return "";
    }
    const Ref<Object> info = readPlist(text);
    const __CFDictionary* dictionary = as<__CFDictionary>(info.get());
    const __CFString* identifier = dictionary ? as<__CFString>(dictionary->find("CFBundleIdentifier")) : nullptr;
    return identifier ? identifier->text : "";
}

static bool isAscii(const std::string& text)
{
    return std::none_of(text.begin(), text.end(), [](char byte) { return byte & 0x80; });
}

// The name is in the file's list of names with the shared libcore, and also with the static one. A file that exists and
// cannot be read counts as one that has the name.
static bool namesInitWindow(const std::string& path)
{
    std::string bytes;
    const int error = readFile(path, &bytes);
    return error == 0 ? bytes.find("_ZN8Platform10InitWindow") != std::string::npos : error != ENOENT;
}

bool makesWindows(const Game& game)
{
    if (namesInitWindow(game.path)) {
        return true;
    }
    const std::vector<LinkedLibrary> libraries = librariesOf(game.path);
    return std::any_of(libraries.begin(), libraries.end(), [](const LinkedLibrary& library) {
        return library.name.rfind("libcore", 0) != 0 && namesInitWindow(library.path);
    });
}

bool findGame(const std::string& path, Game* game, std::string* error)
{
    const std::unique_ptr<char, void (*)(void*)> real(realpath(path.c_str(), nullptr), free);
    struct stat status;
    if (!real || stat(real.get(), &status) != 0) {
        *error = path + ": " + strerror(errno);
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        *error = path + ": not a file; name the program's own file, in a bundle X.app/Contents/MacOS/X";
        return false;
    }
    if (access(real.get(), R_OK) != 0) {
        *error = path + ": " + strerror(errno);
        return false;
    }
    if (!readElf(real.get()).hasHeader) {
        *error = path + ": not a program; name the program itself, not a script that starts it";
        return false;
    }
    game->path = real.get();
    const std::string file = game->path.substr(game->path.rfind('/') + 1);
    const std::string name =
        decode(file, kCFStringEncodingUTF8) ? file : decode(file, kCFStringEncodingMacRoman).value();
    game->name = isAscii(name) ? name : "game"; // Platform::GetAppFilePrefix does the same
    const std::string identifier = bundleIdentifierOf(game->path);
    game->preferences = identifier.empty() ? name : identifier;
    return true;
}
