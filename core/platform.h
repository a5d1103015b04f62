// The platform: what a game asks of the operating system.
//
//     Platform::SystemCheck();
//     Platform::SetApp(1);
//     snprintf(path, sizeof(path), "%s/saves/1", Platform::GetAppDataDir("saves"));
//     Platform::MessageBox("ignored", "%s could not be read.", path);
//
// All calls belong to the main thread. Texts that come back lie in buffers of the library, 1024 bytes each, longer
// ones are cut; copy what has to outlive the next call.
#pragma once

#pragma GCC visibility push(default)

class CommandLine;

// The two states a game can be in; other values are never stored.
enum e_AppState : int {};

class Platform {
public:
    // Remembers the main display's mode and makes GetPlatformOS answer 9. Always true.
    static bool SystemCheck();
    static int GetPlatformOS(); // -1 before SystemCheck

    // The first call clears the state below and looks for the processor's vector unit; each stores app.
    static void SetApp(unsigned int app);
    static unsigned int GetApp();

    static void SetWindow(void* window);
    static void* GetWindow();
    static void SetActive(bool active);
    static bool GetActive();
    static void SetMinimized(bool minimized);
    static bool GetMinimized();
    static void SetAppState(e_AppState state); // 0 or 1; anything else is ignored

    // The name of the process, asked for at each call; "game" as long as it has never been known.
    static const char* GetAppFilePrefix();
    static const char* GetAppTitle();
    static const char* CreateAppFilename(const char* prefix,
                                         const char* suffix); // prefix, process name, suffix

    // CFBundleVersion of the game's bundle; "no bundleInfoDict" or "no theCFString" where it has none, yet.
    static const char* GetAppVersion();

    // The game's folder for what it writes: Application Support, "Brackenlow", the process name. Made on the first
    // call, together with subFolder inside it. The result never contains subFolder, and later calls make none.
    static const char* GetAppDataDir(const char* subFolder);

    // An alert titled "Alert", whatever caption says, with at most 4094 bytes of text; returns when it is closed.
    // Without a display the text goes to the standard error stream, and the answer is that of the OK button, 1.
    static int MessageBox(const char* caption, const char* format, ...) __attribute__((format(printf, 2, 3)));

    // Opens a page in the user's browser. 0 when it opened and also when url is no URL; else the system's error.
    static int SpawnWebBrowser(const char* url);

    // Holds the game's command line; never looks inside.
    static void SetCommandLine(CommandLine* commandLine);
    static CommandLine* GetCommandLine();

    // One folder, mode 0755, its parents have to exist: mkdir's result.
    static int CreateDir(const char* path);
};

// The folder with the game's files: the bundle's resources, "/Game/" behind them. Empty when there is no bundle, and
// null when its path is longer than 1023 bytes.
const char* GetAppGamePath();

#pragma GCC visibility pop
