// The game's window, and what the player does in it.
//
//     Screen screen(960, 600, false);
//     while (...) {
//         if (screen.isOpen()) {
//             screen.show(scene);                       // and waits until it is time for the next frame
//         }
//     }
//
// The graphics come from whichever module of the process has their factory. Without a display there is no window.
#pragma once

#include "demo/scene.h"

class GfxSubsystem;

class Screen {
public:
    // Pixels of the window's contents; in full screen it has as many as the display.
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
    void waitForNextFrame();

    GfxSubsystem* m_gfx;
    const int m_width, m_height;
    bool m_isOpen = false;
    bool m_isLeft = false;
    Input m_input;
    unsigned int m_nextFrame = 0; // milliseconds, by Platform::GetTime
};
