// Who the game is, where its folders are, and the state it keeps with the platform.
//
// 1. Initial contents are what callers see as long as the system has no answer; a failed query leaves a buffer alone.
// 2. Paths and the version are asked for until they are known, and then stay.
// 3. A null text is an empty one.
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
static CommandLine* s_commandLine; // the game's
static Text sGameFolder;

// Copies a text as far as it fits.
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

// Replaces name by the name of the process, where the system tells it.
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
    Text name; // prefix and suffix may be the last result
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
    // Deliberate, although the bundle owns the text. It happens once.
    CFRelease(version); // NOLINT(clang-analyzer-osx.cocoa.RetainCount)
    checked = true;
    return outVersion;
}

static void reportOthersLink(const char* path)
{
    owLogger::log(3, "^CFF0000Platform::GetAppDataDir:^c Another user's link is not followed: \"^CFFFF00%s^c\"\f",
                  path);
}

// Makes the folder. One behind another user's link is replaced by elsewhere, as if there were no Application Support
// folder: ordinary users can't make that one.
static void makeDataFolder(Text& folder, const char* elsewhere)
{
    if (HasOthersLink(folder)) {
        reportOthersLink(folder);
        copyText(folder, elsewhere);
    }
    Platform::CreateDir(folder);
}

const char* Platform::GetAppDataDir(const char* subFolder)
{
    static Text dataDir;
    if (dataDir[0] != '\0') {
        return dataDir;
    }
    // Without such a folder all the rest starts from the root.
    Text path = "";
    FSRef support;
    const OSErr error = FSFindFolder(kLocalDomain, kApplicationSupportFolderType, kCreateFolder, &support);
    if (error == noErr) {
        FSRefMakePath(&support, reinterpret_cast<UInt8*>(path), sizeof(path));
    } else if (error == afpAccessDenied) {
        reportOthersLink("Application Support"); // its path is not known
    }
    snprintf(dataDir, sizeof(dataDir), "%s/Brackenlow", path);
    makeDataFolder(dataDir, "/Brackenlow");
    copyText(path, dataDir);
    const char* const name = GetAppFilePrefix();
    snprintf(dataDir, sizeof(dataDir), "%s/%s", path, name);
    snprintf(path, sizeof(path), "/Brackenlow/%s", name);
    makeDataFolder(dataDir, path);
    snprintf(path, sizeof(path), "%s/%s", dataDir, orEmpty(subFolder));
    if (!HasOthersLink(path)) {
        CreateDir(path);
    }
    return dataDir; // what lies in subFolder is for the caller to name
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
        return 0; // as for a page that opened: callers can't tell the two apart
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
