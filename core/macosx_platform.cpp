// The game's names and folders, and the state that the platform stores for the game.
//
// 1. The name of the process is asked for at each call. When the system gives no name, the buffer does not change.
// 2. The version and the folder of the game's own files are asked for until the system has given them; later calls
//    return the same text. The data folder is asked for at the first call only, also when that call fails.
// 3. A null text counts as an empty text.
#include "core/macosx_platform.h"
#include "core/otherslinks.h"
#include "core/platform.h"
#include "logger/logger.h"

#include <ApplicationServices/ApplicationServices.h>
#include <Carbon/Carbon.h>
#include <CoreFoundation/CoreFoundation.h>

#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

typedef char Text[1024];

PlatformData_s s_platformData;

static int s_platformOS = -1;
static e_AppState s_AppState;
static CommandLine* s_commandLine; // the game owns it
static Text sGameFolder;

// Copies a text; truncates it to 1023 bytes.
static void copyText(Text& target, const char* source)
{
    snprintf(target, sizeof(target), "%s", source);
}

static const char* orEmpty(const char* text)
{
    return text ? text : "";
}

bool Platform::SystemCheck()
{
    s_platformData.desktopMode = CGDisplayCurrentMode(kCGDirectMainDisplay);
    s_platformOS = 9;
    return true;
}

int Platform::GetPlatformOS()
{
    return s_platformOS;
}

void Platform::SetApp(unsigned int app)
{
    static bool sInited = false;
    if (!sInited) {
        const CFDictionaryRef desktopMode = s_platformData.desktopMode;
        s_platformData = {};
        s_platformData.desktopMode = desktopMode;

        SInt32 features = 0;
        const SInt32 vectorInstructions = 1 << gestaltPowerPCHasVectorInstructions;
        if (Gestalt(gestaltPowerPCProcessorFeatures, &features) == noErr && (features & vectorInstructions)) {
            s_platformData.hasVectorUnit = 1;
        }
        sInited = true;
    }
    s_platformData.appHandle = app;
}

unsigned int Platform::GetApp()
{
    return s_platformData.appHandle;
}

void Platform::SetWindow(void* window)
{
    s_platformData.window = window;
}

void* Platform::GetWindow()
{
    return s_platformData.window;
}

void Platform::SetActive(bool active)
{
    s_platformData.active = active;
}

bool Platform::GetActive()
{
    return s_platformData.active != 0;
}

void Platform::SetMinimized(bool minimized)
{
    s_platformData.minimized = minimized;
}

bool Platform::GetMinimized()
{
    return s_platformData.minimized != 0;
}

void Platform::SetAppState(e_AppState state)
{
    if (state == 0 || state == 1) {
        s_AppState = state;
    }
}

// Replaces name by the name of the process. Returns name; unchanged when the system gives no name.
static const char* readProcessName(Text& name)
{
    ProcessSerialNumber process;
    CFStringRef processName = nullptr;
    if (GetCurrentProcess(&process) != noErr || CopyProcessName(&process, &processName) != noErr) {
        return name;
    }
    Text read;
    if (CFStringGetCString(processName, read, sizeof(read), kCFStringEncodingASCII)) {
        copyText(name, read);
    }
    CFRelease(processName);
    return name;
}

const char* Platform::GetAppFilePrefix()
{
    static Text outTitle = "game";
    return readProcessName(outTitle);
}

const char* Platform::GetAppTitle()
{
    static Text outTitle = "game";
    return readProcessName(outTitle);
}

const char* Platform::CreateAppFilename(const char* prefix, const char* suffix)
{
    static Text filename = "application";
    Text name; // a buffer of its own, because prefix or suffix can be the text that the last call returned
    snprintf(name, sizeof(name), "%s%s%s", orEmpty(prefix), GetAppFilePrefix(), orEmpty(suffix));
    copyText(filename, name);
    return filename;
}

const char* Platform::GetAppVersion()
{
    static Text outVersion = "x.x.x.x";
    static bool checked = false;
    if (checked) {
        return outVersion;
    }
    const CFBundleRef bundle = CFBundleGetMainBundle();
    if (!bundle || !CFBundleGetInfoDictionary(bundle)) {
        copyText(outVersion, "no bundleInfoDict");
        return outVersion;
    }
    const CFTypeRef version = CFBundleGetValueForInfoDictionaryKey(bundle, kCFBundleVersionKey);
    if (!version) {
        copyText(outVersion, "no theCFString");
        return outVersion;
    }
    CFStringGetCString(static_cast<CFStringRef>(version), outVersion, sizeof(outVersion), kCFStringEncodingASCII);
    // Deliberate: this releases a text that the bundle owns, but only once in a process.
    CFRelease(version); // NOLINT(clang-analyzer-osx.cocoa.RetainCount)
    checked = true;
    return outVersion;
}

static void reportOthersLink(const char* path)
{
    owLogger::log(3, "^CFF0000Platform::GetAppDataDir:^c Another user's link is not followed: \"^CFFFF00%s^c\"\f",
                  path);
}

// Makes the folder. When another user's link is part of its path, logs a message, replaces folder by elsewhere and
// makes that folder. elsewhere is the path without an Application Support folder: it begins at the root, where only
// root can make folders. *checked is for HasOthersLink; 0 at the first folder.
static void makeDataFolder(Text& folder, const char* elsewhere, size_t* checked)
{
    if (HasOthersLink(folder, checked)) {
        reportOthersLink(folder);
        copyText(folder, elsewhere);
        *checked = 0;
    }
    Platform::CreateDir(folder);
}

const char* Platform::GetAppDataDir(const char* subFolder)
{
    static Text dataDir;
    if (dataDir[0] != '\0') {
        return dataDir;
    }
    // Without an Application Support folder path stays empty, and the data folder's path begins at the root.
    Text path = "";
    FSRef support;
    const OSErr error = FSFindFolder(kLocalDomain, kApplicationSupportFolderType, kCreateFolder, &support);
    if (error == noErr) {
        FSRefMakePath(&support, reinterpret_cast<UInt8*>(path), sizeof(path));
    } else if (error == afpAccessDenied) {
        reportOthersLink("Application Support"); // its path is not known
    }
    snprintf(dataDir, sizeof(dataDir), "%s/Brackenlow", path);
    size_t checked = 0;
    makeDataFolder(dataDir, "/Brackenlow", &checked);
    copyText(path, dataDir);
    const char* const name = GetAppFilePrefix();
    snprintf(dataDir, sizeof(dataDir), "%s/%s", path, name);
    snprintf(path, sizeof(path), "/Brackenlow/%s", name);
    makeDataFolder(dataDir, path, &checked);
    snprintf(path, sizeof(path), "%s/%s", dataDir, orEmpty(subFolder));
    if (!HasOthersLink(path, &checked)) {
        CreateDir(path);
    }
    return dataDir; // deliberately without subFolder: the caller appends the subfolder's name itself
}

const char* GetAppGamePath()
{
    if (sGameFolder[0] != '\0') {
        return sGameFolder;
    }
    const CFBundleRef bundle = CFBundleGetMainBundle();
    const CFURLRef resources = bundle ? CFBundleCopyResourcesDirectoryURL(bundle) : nullptr;
    if (!resources) {
        return sGameFolder;
    }
    Text path;
    const bool fits = CFURLGetFileSystemRepresentation(resources, true, reinterpret_cast<UInt8*>(path), sizeof(path));
    CFRelease(resources);
    if (!fits) {
        return nullptr;
    }
    snprintf(sGameFolder, sizeof(sGameFolder), "%s/Game/", path);
    return sGameFolder;
}

int Platform::SpawnWebBrowser(const char* url)
{
    const CFStringRef text = url ? CFStringCreateWithCString(nullptr, url, kCFStringEncodingASCII) : nullptr;
    if (!text) {
        return 0;
    }
    const CFURLRef page = CFURLCreateWithString(nullptr, text, nullptr);
    CFRelease(text);
    if (!page) {
        return 0; // deliberate: the same result as for a page that was opened
    }
    const OSStatus status = LSOpenCFURLRef(page, nullptr);
    CFRelease(page);
    return status;
}

void Platform::SetCommandLine(CommandLine* commandLine)
{
    s_commandLine = commandLine;
}

CommandLine* Platform::GetCommandLine()
{
    return s_commandLine;
}

int Platform::CreateDir(const char* path)
{
    return mkdir(orEmpty(path), 0755);
}
