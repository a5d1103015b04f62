// The platform: what a game asks of the operating system.
//
//     Platform::SystemCheck();
//     Platform::SetApp(1);
//     snprintf(path, sizeof(path), "%s/data/options", Platform::GetAppDataDir("data"));
//     Platform::MessageBox("ignored", "%s could not be read.", path);
//
// Call SystemCheck first, then SetApp, then the calls for the window.
//
// - Memory: only ScanDir and ScanDirFree need a memory manager. A game can use all other calls before it makes one.
// - Threads: any thread may call GetTime, Sleep and threadStarter. Only the main thread may make the other calls.
// - Texts: each function that returns a text has its own buffer of 1024 bytes in the library. The text is valid
//   until the next call of the same function. A text of more than 1023 bytes is truncated.
// - Failures: a call reports a failure only if its comment says so.
//
// docs/surprises.md lists the results that look wrong and are deliberate.
#pragma once

#pragma GCC visibility push(default)

class CommandLine;

// The state of the game, 0 or 1. The game decides what the two numbers mean. The library stores the state for a
// debugger and never reads it.
enum e_AppState : int {};

class Platform {
public:
    // ---- Start-up, and the state that the library stores for the game

    // Saves the mode of the main display. SetFullscreenWindow computes the position of a framed window from this
    // mode. Always returns true.
    static bool SystemCheck();

    // Returns 9, the number of this platform; -1 before SystemCheck.
    static int GetPlatformOS();

    // Stores app. The number belongs to the game: the library only returns it from GetApp.
    //
    // The first call also sets these values to 0, false or null: the current window, active, minimized, the
    // position and size that InitWindow stored. The cursor then counts as shown. So call SetApp before InitWindow,
    // SetWindow and ShowCursor. The first call also checks whether the processor has a vector unit.
    static void SetApp(unsigned int app);
    static unsigned int GetApp(); // 0 before SetApp

    // The current window: SetWindowPos, CaptureMouse and SetCursorPos use it. Null means that there is no current
    // window.
    static void SetWindow(void* window);
    static void* GetWindow();

    // Two flags and the state, for the game's own use. The game sets a flag when the system sends it an event, and
    // reads it in its loop. The library only stores them.
    static void SetActive(bool active); // true while the game is the active application
    static bool GetActive();
    static void SetMinimized(bool minimized); // true while the window is in the dock
    static bool GetMinimized();
    static void SetAppState(e_AppState state); // a value other than 0 and 1 is ignored

    // ---- Names and folders
    //
    //     // In the process "battle": "logs/battle.log", and the new folder ".../Brackenlow/battle/saves".
    //     const char* log = Platform::CreateAppFilename("logs/", ".log");
    //     Platform::CreateDir((std::string(Platform::GetAppDataDir("data")) + "/saves").c_str());

    // Both return the name of the process, which they ask the system for at each call. If the system gives no name,
    // they return the name from the last call; if there was none, "game".
    static const char* GetAppFilePrefix();
    static const char* GetAppTitle();

    // Returns prefix, process name and suffix as one text. Null counts as "".
    static const char* CreateAppFilename(const char* prefix, const char* suffix);

    // Returns the value of CFBundleVersion in the game's Info.plist. Returns "no bundleInfoDict" if there is no
    // Info.plist, and "no theCFString" if the key is missing; the next call then reads the Info.plist again.
    static const char* GetAppVersion();

    // Returns the data folder, in which the game writes its files: the folder Application Support, then
    // "/Brackenlow/", then the name of the process. The result never contains subFolder.
    //
    // Only the first call in a process makes folders: the data folder, and subFolder in it unless subFolder is
    // null. The constructor of the memory manager calls it with "data". That has to be the first call, because the
    // bank-size file needs the folder "data". The game makes every other folder with CreateDir.
    //
    // When a symbolic link that another user made is part of the path, the function logs a message. It then returns
    // "/Brackenlow/" and the name of the process, a folder that an ordinary user cannot make.
    static const char* GetAppDataDir(const char* subFolder);

    // Makes one folder, with mode 0755 less the process's umask. Its parent folder must exist. Does not convert
    // backslashes to slashes. Returns 0; on failure -1, with the reason in errno.
    static int CreateDir(const char* path);

    // ---- Alerts, web pages, the command line
    //
    //     Platform::MessageBox(nullptr, "%s needs %d MB of memory.", Platform::GetAppTitle(), 64);

    // Shows an alert with one button, waits until the user has closed the alert, and returns 1. The title is always
    // "Alert"; caption is ignored. The text is UTF-8; a text that is not UTF-8 is read as Mac Roman. It is
    // truncated after 4094 bytes.
    //
    // Without a display the function writes the text to the standard error stream and returns 1. When that stream
    // is a terminal, control characters are written as "\x1B".
    static int MessageBox(const char* caption, const char* format, ...) __attribute__((format(printf, 2, 3)));

    // Opens a page in the user's browser. Returns 0 if the browser was started, and also if url is not a URL or is
    // null. Returns the system's error code if the browser cannot be started.
    static int SpawnWebBrowser(const char* url);

    // Stores a pointer to the game's command line. The library neither reads nor frees the command line.
    static void SetCommandLine(CommandLine* commandLine);
    static CommandLine* GetCommandLine(); // null before SetCommandLine

    // ---- Settings: single values in the user's preferences for this game, which the next run can read
    //
    //     Platform::RegSetInt32("Video", "width", 800);
    //     int width = Platform::RegGetInt32("Video", "width", 640); // 800, also in the next run
    //
    // When a call returns, its value is on the disk, if it could be stored. The section is ignored: two sections
    // with the same key share one value.

    static bool RegInit(const char* name, bool& created); // sets created to false and returns true; does nothing else

    // Both always return true, even if the value could not be stored. A null key or value stores nothing.
    static bool RegSetInt32(const char* section, const char* key, int value);
    static bool RegSetString(const char* section, const char* key, char* value);

    // Returns the value. Returns defaultValue if there is no value, and if the value is outside the range of an int.
    // A stored text that is a number counts as that number.
    static int RegGetInt32(const char* section, const char* key, int defaultValue);

    // Copies the value to out; copies defaultValue if there is no value. Use the text in out and ignore the result.
    //
    // out needs room for 1024 bytes. If the game stores a longer text with RegSetString, or passes a longer default,
    // out needs room for all of it and a NUL. A text of 1024 bytes or more that did not come from RegSetString, for
    // example from the preferences of all users, counts as missing.
    static char* RegGetString(const char* section, const char* key, char* defaultValue, char* out);

    // Makes a marker: an empty value that all users of this computer share. Does nothing if the marker exists. Sets
    // created to true if this call tried to make the marker. Returns true if the marker exists now; false if it
    // could not be made.
    static bool RegInitSecureKey(const char* name, bool& created);

    // ---- The window
    //
    //     void* window = Platform::InitWindow(0, nullptr, "Brackenlow", nullptr, nullptr, 0, 0, 800, 600, false,
    //                                         false, nullptr);
    //     Platform::SetWindow(window);
    //     Platform::SetWindowPos(); // shows it
    //
    // The window is an NSWindow. The game's own Objective-C++ code draws in it and fetches its events:
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
    // A position and a size are those of the content rectangle (the window without its frame), in pixels. Positions
    // count from the lower left corner of the main display, y upward. No window can be made without a display, or in
    // a build without AppKit. The order of the messages to the window is frozen: docs/architecture.md, "Orders of
    // calls".

    // Makes a framed window and centres it on the screen. Returns the window, which is not yet visible and not yet
    // the current window. Returns null if the window cannot be made, for example if it would be wider or higher than
    // 10,000 pixels with its frame: GNUstep's AppKit has no larger windows.
    //
    // x and y do not move the window; GetWindowPos returns them. The title is UTF-8; a title that is not UTF-8 is
    // read as Mac Roman. The arguments without a name are ignored. If the game has not made the application object
    // (NSApp), this function makes it.
    static void* InitWindow(unsigned int, void*, const char* title, void*, void*, int x, int y, int width, int height,
                            bool, bool, void*);

    // Closes a window. If it is the current window, there is no current window afterwards. Null is ignored.
    static void DestructWindow(void* window);

    // Closes window, makes a new one of the given size, shows it and makes it the current window. If fullScreen is
    // true, the new window has no frame and lies above all other windows; otherwise it is framed. It has the title
    // of the old window but no view: the game attaches its view again. If the new window cannot be made, the old one
    // is closed all the same, and GetWindow returns null if it was the current window.
    static void SetFullscreenWindow(void* window, bool fullScreen, int width, int height);

    static void SetWindowPos(); // centres the current window and shows it; does nothing if there is none

    // Return the position and the size that the game gave to the last successful InitWindow. They do not change when
    // the window is moved.
    static void GetWindowPos(int& x, int& y);
    static int GetWindowWidth();
    static int GetWindowHeight();

    // Stores the present size of the main display in pixels and its bits per pixel; zeros without a display.
    static void GetDesktopInfo(int& width, int& height, int& bitsPerPixel);

    static void* LoadCursor(int id); // always null
    static void* LoadIcon(int id);   // always null
    static bool MessagePump();       // always true; the game fetches its events itself

    // ---- Keys, cursor and mouse
    //
    //     int x = 0;
    //     int y = 0;
    //     Platform::ShowCursor(false);  // the game draws its own cursor
    //     Platform::GetCursorPos(x, y); // where the cursor was at the last event

    // Returns the library's code of a key; 0 for a key without a code, and for a number outside 0 to 127.
    // macKeyCode is the keyCode of an NSEvent.
    //
    // | Key | Code |
    // |---|---|
    // | letters, digits, punctuation | the key's character on an American keyboard, without shift |
    // | Return, Tab, Escape, Delete, keypad Enter | 13, 9, 27, 127, 3 |
    // | up, down, left, right, forward delete | 146, 152, 148, 150, 156 |
    // | F1 to F13 | 163 to 175 |
    static unsigned int RawKeyToLocalKey(int macKeyCode);

    static void ShowCursor(bool show); // calls are not counted: one call with true always shows the cursor

    // Stores capture in g_MacMouseCaptured. If capture is true, also moves the cursor to the point of the current
    // window that is nearest to the upper left corner of the main display. If that corner lies in the window, the
    // cursor does not move. After this call the game itself has to confine the cursor to the window.
    static void CaptureMouse(bool capture);

    // Moves the cursor to a point: in pixels from the upper left corner of the main display, y downward.
    static void SetCursorPos(int x, int y);

    // Stores the position of the cursor at the last event that the game fetched: in pixels from the lower left corner
    // of the content of the event's window, y upward. Stores nothing if the game has fetched no event.
    static void GetCursorPos(int& x, int& y);

    // ---- Time
    //
    //     const unsigned int start = Platform::GetTime();
    //     loadUnit("footman.unit");
    //     const unsigned int passed = Platform::GetTime() - start; // milliseconds, also across the return to 0

    // Returns milliseconds since the computer was started. The number returns to 0 after 2^32 ms, about 49.7 days.
    // The difference of two times is right even if the number has returned to 0 in between: subtract them as
    // unsigned numbers.
    static unsigned int GetTime();
    static void Sleep(unsigned int ms); // calls the free function Sleep at the end of this file
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

    // Lists a folder. Returns the number of paths, and stores the list of paths in *out. Each path is the folder as
    // the caller spelled it, "/", and the name; a path of more than 259 bytes is truncated. The list is a block of
    // bank 0 with the frozen tag "core/macosx_platform", 1072; ScanDirFree frees it. If no path is listed, or the
    // folder cannot be read, the function returns 0 and stores null in *out. select may itself call ScanDir.
    //
    // - select is called with the name of each regular file. When it returns 0, the file is not listed. Folders are
    //   not listed. When select is null, every entry is listed, also folders, "." and "..".
    // - compare is called with the addresses of two pointers to struct dirent, and returns an order as for qsort.
    //   When compare is null, the list has the system's order.
    static int ScanDir(const char* path, char (**out)[260], int (*select)(const char*),
                       int (*compare)(const void*, const void*));
    static void ScanDirFree(char (*list)[260]); // null is ignored
};

// Returns the folder of the files that ship with the game: the bundle's folder for resources, then "/Game/".
// Returns "" if there is no bundle; null if the path of the folder for resources is longer than 1023 bytes.
const char* GetAppGamePath();

// Blocks the calling thread for (ms * 1,000,000) modulo 2^32 nanoseconds. A signal does not end the sleep early. From
// 4295 ms on the sleep is shorter than ms: Sleep(5000) sleeps for 705 ms. This is deliberate and frozen
// (docs/architecture.md, "Sizes and rounding"): games have tuned their waits with it.
void Sleep(unsigned int ms);

// The start routine of a thread that the game makes. Calls the record's function with the record's argument, then
// writes 0 to the running flag of the thread object, frees the record with the global operator delete, and returns
// the function's result. Returns 0 for null.
//
// The record comes from the global operator new; the game owns the thread object. A word has the size of a pointer:
//
//   record:         word 1: function, int (*)(void*) | word 2: argument | word 3: address of the thread object
//   thread object:  words 1 to 3: for the game       | then 32 bits: the running flag
//
// A null function is not called; a null thread object is not written to. The layout is frozen: docs/architecture.md,
// "Record layouts and virtual tables".
int threadStarter(void* record);

// Random numbers: MT19937 (Matsumoto and Nishimura, "Mersenne Twister: a 623-dimensionally equidistributed uniform
// pseudo-random number generator", ACM TOMACS 8, 1998; initialised as in the authors' version of 2002). The process
// has one generator. It takes no lock, so only one thread at a time may call. The seed is 5489 until the game calls
// mt_srand.
void mt_srand(unsigned int seed);
unsigned int mt_rand(); // 0 to 4294967295

// Each load call looks for the factory of one subsystem: a C function CreateGfxSubsystem, CreateSndSubsystem or
// CreateSnd3dSubsystem, in the program or in any library that the process has loaded. It stores the function's
// address in the variable below and returns 1. If there is no such function, it ends the process with exit(1) and
// prints nothing. name is ignored. Each unload call returns 1 and does nothing; the variable does not change.
int LoadGraphicsAPI(const char* name);
int UnloadGraphicsAPI();
int LoadSoundAPI(const char* name);
int UnloadSoundAPI();
int Load3dSoundAPI(const char* name);
int Unload3dSoundAPI();

// The factories; each is null before its load call. The module that defines a factory also declares its function
// type: cast the variable to that type before you call it.
extern void (*gfxCreateGfxSubsystem)();
extern void (*sndCreateSndSubsystem)();
extern void (*sndCreateSnd3dSubsystem)();

extern int g_MacMouseCaptured; // what CaptureMouse was last given, 0 or 1

#pragma GCC visibility pop
