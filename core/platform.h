// The platform: what a game asks of the operating system.
//
//     Platform::SystemCheck();
//     Platform::SetApp(1);
//     snprintf(path, sizeof(path), "%s/saves/1", Platform::GetAppDataDir("saves"));
//     Platform::MessageBox("ignored", "%s could not be read.", path);
//
// GetTime, Sleep and threadStarter may be called from any thread; all else belongs to the main thread.
//
// Texts that come back lie in buffers of the library, 1024 bytes each, longer ones are cut; copy what has to outlive
// the next call.
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

    // Prefix, process name and suffix, run together; null is nothing.
    static const char* CreateAppFilename(const char* prefix, const char* suffix);

    // CFBundleVersion of the game's bundle; "no bundleInfoDict" or "no theCFString" where it has none, yet.
    static const char* GetAppVersion();

    // The game's folder for what it writes: Application Support, "Brackenlow", the process name. Made on the first
    // call, together with subFolder inside it, unless that is null. The result never contains subFolder, and later
    // calls make none.
    static const char* GetAppDataDir(const char* subFolder);

    // An alert titled "Alert", whatever caption says, with at most 4094 bytes of text; returns when it is closed.
    // Without a display the text goes to the standard error stream, and the answer is that of the OK button, 1.
    static int MessageBox(const char* caption, const char* format, ...) __attribute__((format(printf, 2, 3)));

    // Opens a page in the user's browser. 0 when it opened and also when url is no URL; else the system's error.
    static int SpawnWebBrowser(const char* url);

    // Holds the game's command line; never looks inside.
    static void SetCommandLine(CommandLine* commandLine);
    static CommandLine* GetCommandLine();

    // One folder, mode 0755, its parents have to exist: mkdir's result, 0 or else -1 with errno. A backslash is no
    // separator here.
    static int CreateDir(const char* path);

    // Settings: small values by name, kept from run to run in the user's preferences for this game. Each write is on
    // the disk when it returns. A section is taken and ignored: keys alone tell values apart.
    static bool RegInit(const char* name, bool& created); // created: false; always true, and nothing else happens
    static bool RegSetInt32(const char* section, const char* key, int value);       // always true
    static bool RegSetString(const char* section, const char* key, char* value);    // always true
    static int RegGetInt32(const char* section, const char* key, int defaultValue); // also of a text that is one

    // Writes the value, or else defaultValue, to out; look there, as the result means nothing when there was a value. out
    // needs room for 1024 bytes; for more where the game itself stores a longer text with RegSetString, or the default is
    // longer. A text of 1024 bytes or more that RegSetString has not stored for this user counts as missing.
    static char* RegGetString(const char* section, const char* key, char* defaultValue, char* out);

    // Whether the machine carries the mark of that name, made where it wasn't there, which created tells; false when it
    // can't be made.
    static bool RegInitSecureKey(const char* name, bool& created);

    // The window. Positions are those of its contents, in pixels from the lower left corner of the main screen, y up.
    // Without a display, and in a build without windows, none is ever made.
    //
    //     void* window = Platform::InitWindow(0, nullptr, "Brackenlow", nullptr, nullptr, 0, 0, 800, 600, false, false,
    //                                         nullptr);
    //     Platform::SetWindow(window);
    //     Platform::SetWindowPos();

    // A framed window, not shown yet and not the current one; null when it can't be had. It stands in the middle of
    // the screen, wherever x and y say. The title is UTF-8 or Mac Roman. The arguments without a name are taken and
    // ignored. A game that has no application object has one from here on.
    static void* InitWindow(unsigned int, void*, const char* title, void*, void*, int x, int y, int width, int height,
                            bool, bool, void*);
    static void DestructWindow(void* window); // closes it; the current window is none then, if it was this one

    // Replaces a window by one of the other kind, shown and current: one without a frame in front of all others, or a
    // framed one. No view is attached to it. When it can't be had there is no window any more.
    static void SetFullscreenWindow(void* window, bool fullScreen, int width, int height);

    static void SetWindowPos();               // centres the current window and shows it
    static void GetWindowPos(int& x, int& y); // as InitWindow was asked, not where it is; so with its size
    static int GetWindowWidth();
    static int GetWindowHeight();

    // What the main display shows now; zeros without one.
    static void GetDesktopInfo(int& width, int& height, int& bitsPerPixel);

    static void* LoadCursor(int id); // null
    static void* LoadIcon(int id);   // null
    static bool MessagePump();       // true; events are the game's own business

    // The engine's code for a key: its character on an American keyboard, without shift; 146 up, 152 down, 148 left,
    // 150 right, 156 forward delete, 163 to 175 F1 to F13; 0 for keys without one. macKeyCode is the virtual key code of
    // a keyboard event, 0 or more.
    static unsigned int RawKeyToLocalKey(int macKeyCode);

    static void ShowCursor(bool show); // does not count: one true undoes any number of false

    // While the mouse is captured g_MacMouseCaptured is not 0. Capturing also brings the cursor into the window.
    static void CaptureMouse(bool capture);

    static void SetCursorPos(int x, int y);   // in pixels from the upper left corner of the main display, y down
    static void GetCursorPos(int& x, int& y); // of the event at hand, if any, from the lower left of its window, y up

    // Milliseconds since the machine was started. Starts again at 0 every 2^32, about 49.7 days: subtract as unsigned.
    static unsigned int GetTime();
    static void BeginTimePeriod();      // nothing
    static void EndTimePeriod();        // nothing
    static void Sleep(unsigned int ms); // as the free function below

    // The entries of a folder as full paths, in a block of bank 0 that ScanDirFree gives back; how many there are. 0,
    // and a null list, for an empty result and a folder that can't be read. path may have backslashes.
    //
    // Without select everything is listed, "." and ".." and folders, too. With it, regular files only, of which it keeps
    // those whose name it answers not 0 for. Without compare the order is the system's. compare is handed the
    // addresses of two pointers to struct dirent. A path longer than 259 bytes is cut. One scan at a time.
    static int ScanDir(const char* path, char (**out)[260], int (*select)(const char*),
                       int (*compare)(const void*, const void*));
    static void ScanDirFree(char (*list)[260]);
};

// The folder with the game's files: the bundle's resources, "/Game/" behind them. Empty when there is no bundle, and
// null when its path is longer than 1023 bytes.
const char* GetAppGamePath();

// Blocks the calling thread, whatever signals come, for (ms * 1000000) mod 2^32 nanoseconds: from 4295 ms on that is
// less than ms says.
void Sleep(unsigned int ms);

// The start of a thread of the game's. record was made with the global operator new and is released here: the
// function, int (*)(void*), its argument, and the thread object, each the size of a pointer. When the function has
// returned, the 32-bit word behind three pointers in the thread object becomes 0: it isn't running any more. The
// result is the function's.
int threadStarter(void* record);

// Random numbers: MT19937 (Matsumoto and Nishimura, "Mersenne Twister: a 623-dimensionally equidistributed uniform
// pseudo-random number generator", ACM TOMACS 8, 1998; initialised as in the authors' version of 2002). One generator
// for the process and no lock around it. Without a seed it is 5489.
void mt_srand(unsigned int seed);
unsigned int mt_rand(); // all 32 bits

// Finds the factory of a subsystem in the modules the game has loaded, a C function CreateGfxSubsystem,
// CreateSndSubsystem or CreateSnd3dSubsystem, and stores it below; 1. A process without it ends with exit(1). The name is
// ignored. Unloading does nothing: 1.
int LoadGraphicsAPI(const char* name);
int UnloadGraphicsAPI();
int LoadSoundAPI(const char* name);
int UnloadSoundAPI();
int Load3dSoundAPI(const char* name);
int Unload3dSoundAPI();

extern void (*gfxCreateGfxSubsystem)(); // cast it to the module's own signature; null until it is loaded
extern void (*sndCreateSndSubsystem)();
extern void (*sndCreateSnd3dSubsystem)();

extern int g_MacMouseCaptured; // as CaptureMouse was last told

#pragma GCC visibility pop
