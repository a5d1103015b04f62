// A game in a process of its own, played by a test: each line on the standard input is a command, and is answered by one
// line. Events are handled all the while.
//
//     start WIDTH HEIGHT    the start of a game up to its window; answers whether there is a window
//     show                  SetWindowPos
//     full WIDTH HEIGHT     SetFullscreenWindow to full screen
//     framed WIDTH HEIGHT   SetFullscreenWindow to a framed window
//     move X Y              SetCursorPos
//     hide, unhide          ShowCursor
//     capture, release      CaptureMouse
//     destruct              DestructWindow
//     state                 what AppKit and the platform say now, see answerState
//     end                   ends the process with status 0
#include "core/platform.h"

#include <ApplicationServices/ApplicationServices.h>

#import <AppKit/AppKit.h>

#include <fcntl.h>
#include <iostream>
#include <poll.h>
#include <sstream>
#include <string>
#include <unistd.h>

static int s_keys;          // key presses so far
static unsigned int s_code; // of the last one, the engine's
static bool s_isOurs;       // whether the last one's event named the current window

static NSWindow* window() { return static_cast<NSWindow*>(Platform::GetWindow()); }

static void handle(NSEvent* event)
{
    if ([event type] == NSKeyDown) {
        s_keys++;
        s_code = Platform::RawKeyToLocalKey([event keyCode]);
        s_isOurs = window() && [event window] == window();
    }
    [NSApp sendEvent:event];
}

// Fetches and handles the events that are there.
static void handleEvents()
{
    if (!NSApp) {
        return;
    }
    NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
    NSEvent* event;
    while ((event = [NSApp nextEventMatchingMask:NSAnyEventMask
                                       untilDate:[NSDate dateWithTimeIntervalSinceNow:0.005]
                                          inMode:NSDefaultRunLoopMode
                                         dequeue:YES])) {
        handle(event);
    }
    [pool release];
}

static void start(std::istream& words, std::ostream& answer)
{
    int width, height;
    words >> width >> height;
    Platform::SystemCheck();
    Platform::SetApp(1);
    Platform::SetWindow(Platform::InitWindow(0, nullptr, "Brackenlow", nullptr, nullptr, 100, 100, width, height,
                                             false, false, nullptr));
    answer << (Platform::GetWindow() ? "window" : "none");
}

// The window's number at the server; whether it is key and the application active; key presses so far, the engine's code
// of the last one, and whether it named the current window; where the current event's mouse is.
static void answerState(std::ostream& answer)
{
    NSWindow* shown = window();
    int x = -1;
    int y = -1;
    Platform::GetCursorPos(x, y);
    answer << (shown ? reinterpret_cast<uintptr_t>([shown windowRef]) : 0) << " "
           << (shown && [shown isKeyWindow] && [NSApp keyWindow] == shown) << " " << (NSApp && [NSApp isActive])
           << " " << s_keys << " " << s_code << " " << s_isOurs << " " << x << " " << y;
}

static void obey(const std::string& line, std::ostream& answer)
{
    std::istringstream words(line);
    std::string command;
    int x = 0;
    int y = 0;
    words >> command;
    if (command == "start") {
        start(words, answer);
    } else if (command == "state") {
        answerState(answer);
    } else if (command == "show") {
        Platform::SetWindowPos();
    } else if (command == "full" || command == "framed") {
        words >> x >> y;
        Platform::SetFullscreenWindow(Platform::GetWindow(), command == "full", x, y);
        answer << (Platform::GetWindow() ? "window" : "none");
    } else if (command == "move") {
        words >> x >> y;
        Platform::SetCursorPos(x, y);
    } else if (command == "hide" || command == "unhide") {
        Platform::ShowCursor(command == "unhide");
    } else if (command == "capture" || command == "release") {
        Platform::CaptureMouse(command == "capture");
    } else if (command == "destruct") {
        Platform::DestructWindow(Platform::GetWindow());
    } else if (command == "end") {
        exit(0);
    } else {
        answer << "unknown command";
    }
}

int main()
{
    std::string read;
    for (;;) {
        pollfd input = {STDIN_FILENO, POLLIN, 0};
        if (poll(&input, 1, NSApp ? 0 : -1) > 0) {
            char bytes[256];
            const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof(bytes));
            if (count <= 0) {
                return 1; // the test has gone
            }
            read.append(bytes, count);
        }
        for (size_t end; (end = read.find('\n')) != std::string::npos; read.erase(0, end + 1)) {
            NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
            std::ostringstream answer;
            obey(read.substr(0, end), answer);
            std::cout << answer.str() << std::endl;
            [pool release];
        }
        handleEvents();
    }
}
