// The platform: what a game asks of the operating system.
//
//     Platform::SystemCheck();
//     Platform::SetApp(1);
//     snprintf(path, sizeof(path), "%s/saves/1", Platform::GetAppDataDir("saves"));
//     Platform::MessageBox("ignored", "%s could not be read.", path);
//
// Call SystemCheck first, then SetApp, then the window's calls. The identity calls, folders, settings and time need
// no memory manager; ScanDir does.
//
// - Threads: GetTime, Sleep and threadStarter may be called from any thread, all else from the main thread only.
// - Texts: a returned text lies in a buffer of the library, 1024 bytes long, one for each function. A longer text is cut.
//   The text is valid until the next call of that function.
// - Failures: a call reports a failure only where its comment says so.
#pragma once

#pragma GCC visibility push(default)

class CommandLine;

// The state of the game, 0 or 1. The library keeps it and never reads it.
enum e_AppState : int {};

class Platform {
public:
    // ---- The start, and the state that the library keeps for the game

    // Saves the main display's mode, which the framed window's position depends on. Always returns true.
    static bool SystemCheck();

    // Returns 9, the number of this platform; -1 before SystemCheck.
    static int GetPlatformOS();

    // Stores app, an opaque number of the game's own. The first call also clears the values below and asks whether the
    // processor has a vector unit.
    static void SetApp(unsigned int app);
    static unsigned int GetApp(); // 0 before SetApp

    // The current window, which SetWindowPos, CaptureMouse and SetCursorPos work on. Null: there is none.
    static void SetWindow(void* window);
    static void* GetWindow();

    // Notes of the game's own: it sets them when the system tells it, and reads them in its loop. The library changes
    // nothing when they change.
    static void SetActive(bool active); // true while the game is the application in front
    static bool GetActive();
    static void SetMinimized(bool minimized); // true while the window is in the dock
    static bool GetMinimized();
    static void SetAppState(e_AppState state); // any value but 0 and 1 is ignored

    // ---- Names and folders
    //
    //     const char* log = Platform::CreateAppFilename("logs/", ".log"); // "logs/battle.log" for the process "battle"
    //     const char* data = Platform::GetAppDataDir("saves"); // ".../Brackenlow/battle", with a folder "saves" in it

    // Return the name of the process. They ask the system at each call, and return the last answer when the system
    // gives none; "game" when it never gave one.
    static const char* GetAppFilePrefix();
    static const char* GetAppTitle();

    // Returns prefix, process name and suffix as one text. Null counts as "".
    static const char* CreateAppFilename(const char* prefix, const char* suffix);

    // Returns CFBundleVersion of the game's Info.plist; "no bundleInfoDict" without an Info.plist, "no theCFString"
    // without that key. A call after a failed one tries again.
    static const char* GetAppVersion();

    // Returns the folder for the files that the game writes: Application Support, "Brackenlow", the process name. The
    // first call makes it, and makes subFolder in it unless subFolder is null. Later calls make nothing. The result
    // never contains subFolder. When a symbolic link of another user is part of the path, logs a message and uses
    // "/Brackenlow" and the process name.
    static const char* GetAppDataDir(const char* subFolder);

    // Makes one folder with mode 0755. Its parent must exist; backslashes are not converted. Returns mkdir's result: 0, or
    // -1 with errno.
    static int CreateDir(const char* path);

    // ---- Alerts, web pages, the command line

    // Shows an alert with one button and returns when the user has closed it. Its title is always "Alert"; caption is
    // ignored. The text is read as UTF-8, or as Mac Roman when it is not UTF-8, and truncated after 4094 bytes. Returns 1 for the button. Without a
    // display, writes the text to the standard error stream and returns 1; a terminal shows control characters as "\x1B".
    static int MessageBox(const char* caption, const char* format, ...) __attribute__((format(printf, 2, 3)));

    // Opens a page in the user's browser. Returns 0 when the browser was started, and also when url is no URL;
    // otherwise the system's error.
    static int SpawnWebBrowser(const char* url);

    // Keeps a pointer to the game's command line. The library neither reads nor frees it.
    static void SetCommandLine(CommandLine* commandLine);
    static CommandLine* GetCommandLine(); // null before SetCommandLine

    // ---- Settings: single values in the user's preferences for this game, kept from run to run
    //
    //     Platform::RegSetInt32("Video", "width", 800);
    //     int width = Platform::RegGetInt32("Video", "width", 640); // 800, also in the next run
    //
    // A write that succeeds is durable. The section is ignored: values with the same key are one value.

    static bool RegInit(const char* name, bool& created); // sets created to false and returns true; does nothing else

    // Always return true, even when the value could not be stored.
    static bool RegSetInt32(const char* section, const char* key, int value);
    static bool RegSetString(const char* section, const char* key, char* value);

    // Returns the value, or defaultValue when there is none. A stored text that is a number counts as that number.
    static int RegGetInt32(const char* section, const char* key, int defaultValue);

    // Writes the value to out; writes defaultValue when there is none. Use the text in out and ignore the result, which has
    // no meaning when there was a value.
    //
    // Give out 1024 bytes, or more when the game itself stores a longer text with RegSetString or has a longer default. A
    // text of 1024 bytes or more counts as missing unless RegSetString has stored it for this user.
    static char* RegGetString(const char* section, const char* key, char* defaultValue, char* out);

    // Makes a marker that all users of the machine share, unless it exists. created tells whether this call made it.
    // Returns true when the marker exists now; false when it cannot be made.
    static bool RegInitSecureKey(const char* name, bool& created);

    // ---- The window
    //
    //     void* window = Platform::InitWindow(0, nullptr, "Brackenlow", nullptr, nullptr, 0, 0, 800, 600, false, false,
    //                                         nullptr);
    //     Platform::SetWindow(window);
    //     Platform::SetWindowPos(); // shows it
    //
    // The window is an NSWindow; a game's own Objective-C++ code draws in it and reads its events:
    //
    //     while (running) {
    //         NSEvent* event = [NSApp nextEventMatchingMask:NSAnyEventMask
    //                                             untilDate:[NSDate distantPast]
    //                                                inMode:NSDefaultRunLoopMode
    //                                               dequeue:YES];
    //         if (event && [event type] == NSKeyDown) {
    //             running = Platform::RawKeyToLocalKey([event keyCode]) != 27; // Escape ends the game
    //         } else if (event) {
    //             [NSApp sendEvent:event];
    //         } else {
    //             drawFrame((NSWindow*)Platform::GetWindow());
    //         }
    //     }
    //
    // A rectangle is the window's content without its frame, in pixels. Positions count from the lower left corner of
    // the main screen, y upward. Without a display, and in a build without AppKit, no window is ever made.

    // Makes a framed window in the middle of the screen. Does not show it and does not make it the current window.
    // Returns the window; null when it cannot be made, for example when it is wider or higher than 10,000 pixels with its
    // frame, which is AppKit's limit outside the Mac. x and y are only remembered for GetWindowPos. The title is UTF-8
    // or else Mac Roman. The unnamed arguments are ignored. Makes the application object when the game has made none.
    static void* InitWindow(unsigned int, void*, const char* title, void*, void*, int x, int y, int width, int height,
                            bool, bool, void*);

    // Closes a window. When it is the current window, there is no current window then. Null is ignored.
    static void DestructWindow(void* window);

    // Replaces a window by a new one of the other kind and shows it: without a frame above all others (true), or framed
    // (false). The new window is the current window and has the old one's title, but no view. When it cannot be made
    // there is no window at all: GetWindow returns null.
    static void SetFullscreenWindow(void* window, bool fullScreen, int width, int height);

    static void SetWindowPos(); // centres the current window and shows it; nothing without one

    // The position and size that InitWindow was given, not the present ones.
    static void GetWindowPos(int& x, int& y);
    static int GetWindowWidth();
    static int GetWindowHeight();

    // The main display's present size in pixels and its depth; zeros without a display.
    static void GetDesktopInfo(int& width, int& height, int& bitsPerPixel);

    static void* LoadCursor(int id); // always null
    static void* LoadIcon(int id);   // always null
    static bool MessagePump();       // always true; the game fetches its events itself

    // ---- Keys, cursor and mouse

    // Returns the engine's code of a key; 0 for a key that has none. macKeyCode is the key code of an NSEvent, 0 to 127.
    //
    // | Key | Code |
    // |---|---|
    // | letters, digits, punctuation | the key's character on an American keyboard, without shift |
    // | Return, Tab, Escape, Delete, keypad Enter | 13, 9, 27, 127, 3 |
    // | up, down, left, right, forward delete | 146, 152, 148, 150, 156 |
    // | F1 to F13 | 163 to 175 |
    static unsigned int RawKeyToLocalKey(int macKeyCode);

    static void ShowCursor(bool show); // does not count calls: one true undoes any number of false

    // Stores capture in g_MacMouseCaptured. true also moves the cursor into the current window.
    static void CaptureMouse(bool capture);

    // Moves the cursor. Pixels from the upper left corner of the main display, y downward.
    static void SetCursorPos(int x, int y);

    // Stores where the cursor was at the event that the game fetched last: pixels from the lower left corner of the
    // content of the event's window, y upward. Stores nothing without an event.
    static void GetCursorPos(int& x, int& y);

    // ---- Time

    // Returns milliseconds since the machine was started. The count starts at 0 again every 2^32 ms, about 49.7 days, so
    // subtract two times as unsigned numbers.
    static unsigned int GetTime();
    static void Sleep(unsigned int ms); // the same as the free function below
    static void BeginTimePeriod();      // does nothing
    static void EndTimePeriod();        // does nothing

    // ---- Folders
    //
    //     char(*list)[260];
    //     int count = Platform::ScanDir("data\\units", &list, isUnit, nullptr);
    //     for (int i = 0; i < count; ++i) {
    //         loadUnit(list[i]); // "data\\units/footman.unit"
    //     }
    //     Platform::ScanDirFree(list);

    // Lists a folder. Returns the number of entries, and in *out their paths: the folder as given, "/", and the name, cut
    // to 259 bytes. The list is a block of bank 0; ScanDirFree gives it back. Returns 0 and a null list for an empty
    // result and for a folder that cannot be read. One scan runs at a time.
    //
    // select is asked for each regular file by its name, and keeps the file unless it returns 0. A null select keeps every
    // entry, also folders, "." and "..". compare orders the entries; it receives the addresses of two pointers to struct
    // dirent. A null compare leaves the system's order.
    static int ScanDir(const char* path, char (**out)[260], int (*select)(const char*),
                       int (*compare)(const void*, const void*));
    static void ScanDirFree(char (*list)[260]); // null is ignored
};

// Returns the folder with the game's own files: the bundle's resources and "/Game/". Returns "" without a bundle, and null
// when the path of the bundle's resources is longer than 1023 bytes.
const char* GetAppGamePath();

// Blocks the calling thread for (ms * 1000000) mod 2^32 nanoseconds, also when signals arrive. From 4295 ms on this is
// less than ms: Sleep(5000) sleeps for 705 ms. Deliberate: games have tuned their waits with it.
void Sleep(unsigned int ms);

// The start routine of a thread that the game makes. Calls the record's function with its argument, then writes 0 to the
// running flag of the thread object, frees the record and returns the function's result.
//
// | Memory | Word 1 | Word 2 | Word 3 | Behind the words |
// |---|---|---|---|---|
// | record, made with the global operator new | function: int (*)(void*) | its argument | thread object | |
// | thread object, the game's own | the game's | the game's | the game's | running flag, 32 bits |
//
// A word has the size of a pointer. The layout is frozen.
int threadStarter(void* record);

// Random numbers: MT19937 (Matsumoto and Nishimura, "Mersenne Twister: a 623-dimensionally equidistributed uniform
// pseudo-random number generator", ACM TOMACS 8, 1998; initialised as in the authors' version of 2002). The process has
// one generator, without a lock. Without a call of mt_srand its seed is 5489.
void mt_srand(unsigned int seed);
unsigned int mt_rand(); // 0 to 4294967295

// Find the factory of a subsystem, a C function CreateGfxSubsystem, CreateSndSubsystem or CreateSnd3dSubsystem, in the
// program or in any module that it has loaded. Store its address below and return 1. When there is no such function they
// end the process with exit(1). name is ignored. The unload calls do nothing and return 1.
int LoadGraphicsAPI(const char* name);
int UnloadGraphicsAPI();
int LoadSoundAPI(const char* name);
int UnloadSoundAPI();
int Load3dSoundAPI(const char* name);
int Unload3dSoundAPI();

// The factories; null before they are loaded. Cast them to the module's own function type.
extern void (*gfxCreateGfxSubsystem)();
extern void (*sndCreateSndSubsystem)();
extern void (*sndCreateSnd3dSubsystem)();

extern int g_MacMouseCaptured; // what CaptureMouse was last given, 0 or 1

#pragma GCC visibility pop
