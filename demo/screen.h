// The game's window and its events.
//
//     Screen screen(960, 600, false);
//     while (...) {
//         if (screen.isOpen()) {
//             screen.show(scene);                       // draws, then waits until the next picture begins
//         }
//     }
//
// Screen searches all modules of the process for the graphics module's function CreateGfxSubsystem. Without a display
// no window opens, and isOpen returns false.
#pragma once

#include "demo/scene.h"

class GfxSubsystem;

class Screen {
public:
    // width and height are the size of the window's content in pixels. A full-screen window has the size of the
    // display.
    Screen(int width, int height, bool fullScreen);
    ~Screen();

    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    bool isOpen() const { return m_isOpen; }
    bool isLeft() const { return m_isLeft; } // the player has closed the window, or pressed Escape
    const Input& input() const { return m_input; }

    void show(const Scene& scene);

private:
    void takeEvents();
    void takeKey(int macKey);
    void setFullScreen(bool on);
    void waitForNextPicture();

    GfxSubsystem* m_gfx;
    const int m_width, m_height;
    bool m_isOpen = false;
    bool m_isLeft = false;
    Input m_input;
    unsigned int m_nextPicture = 0; // when the next picture begins: milliseconds of Platform::GetTime
};
