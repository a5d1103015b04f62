#include "demo/screen.h"

#include "demo/gfx/gfxsubsystem.h"

#include "core/platform.h"

static const unsigned int sc_pictureTime = 33; // milliseconds: 30 pictures a second

enum e_Key : unsigned int { KEY_ESCAPE = 27 };

Screen::Screen(int width, int height, bool fullScreen) : m_width(width), m_height(height)
{
    LoadGraphicsAPI("demo_gfx");
    m_gfx = reinterpret_cast<CreateGfxSubsystem_t*>(gfxCreateGfxSubsystem)();
    int displayWidth = 0, displayHeight = 0, bits = 0;
    Platform::GetDesktopInfo(displayWidth, displayHeight, bits);
    if (displayWidth == 0 || !m_gfx->start(Platform::GetAppTitle())) {
        return;
    }
    void* window =
        Platform::InitWindow(0, nullptr, "core demo", nullptr, nullptr, 0, 0, width, height, false, false, nullptr);
    if (!window) {
        return;
    }
    m_isOpen = true;
    Platform::SetWindow(window);
    m_gfx->attach(window);
    m_gfx->getSize(&m_input.width, &m_input.height);
    Platform::SetWindowPos();
    if (fullScreen) {
        setFullScreen(true);
    }
    m_nextPicture = Platform::GetTime();
}

Screen::~Screen()
{
    if (m_isOpen) {
        Platform::CaptureMouse(false);
        Platform::ShowCursor(true);
        Platform::DestructWindow(Platform::GetWindow());
    }
}

void Screen::show(const Scene& scene)
{
    m_gfx->draw(LayOut(scene, m_input.width, m_input.height));
    waitForNextPicture();
    m_input.isClicked = false;
    m_input.digit = 0;
    takeEvents();
    m_gfx->getSize(&m_input.width, &m_input.height);
}

// Waits until the next picture begins. If a picture took too long, the next pictures still last sc_pictureTime each:
// the game does not run faster to catch up.
void Screen::waitForNextPicture()
{
    const unsigned int now = Platform::GetTime();
    m_nextPicture += sc_pictureTime;
    const unsigned int wait = m_nextPicture - now;
    if (wait <= sc_pictureTime) {
        Platform::Sleep(wait);
    } else {
        m_nextPicture = now;
    }
}

// Reads events up to the first click. Later events wait for the next picture, so that the mouse is still at the place
// of the click when the game carries out the click.
void Screen::takeEvents()
{
    for (GfxEvent event; m_isOpen && !m_input.isClicked && m_gfx->nextEvent(&event);) {
        switch (event.type) {
        case GFX_KEY:
            takeKey(event.keyCode);
            break;
        case GFX_MOUSE:
            Platform::GetCursorPos(m_input.mouseX, m_input.mouseY);
            m_input.isClicked = event.isClick;
            m_input.mouseButtons = event.buttons;
            break;
        case GFX_CLOSE:
            m_isLeft = true;
            break;
        case GFX_IGNORED:
            break;
        }
    }
}

void Screen::takeKey(int macKey)
{
    m_input.hasKey = true;
    m_input.macKey = macKey;
    m_input.key = Platform::RawKeyToLocalKey(macKey);
    if (m_input.key >= '1' && m_input.key <= '9') {
        m_input.digit = static_cast<int>(m_input.key - '0');
    }
    switch (m_input.key) {
    case KEY_ESCAPE:
        m_isLeft = true;
        break;
    case 'f':
        setFullScreen(!m_input.isFullScreen);
        break;
    case 'p':
        m_input.isPaused = !m_input.isPaused;
        break;
    case 'c':
        Platform::CaptureMouse(!m_input.isCaptured);
        m_input.isCaptured = g_MacMouseCaptured != 0;
        break;
    case 'h':
        m_input.isCursorShown = !m_input.isCursorShown;
        Platform::ShowCursor(m_input.isCursorShown);
        break;
    }
}

void Screen::setFullScreen(bool on)
{
    int width = m_width, height = m_height, bits = 0;
    if (on) {
        Platform::GetDesktopInfo(width, height, bits);
    }
    Platform::SetFullscreenWindow(Platform::GetWindow(), on, width, height);
    m_isOpen = Platform::GetWindow() != nullptr;
    if (m_isOpen) {
        m_gfx->attach(Platform::GetWindow()); // SetFullscreenWindow made a new window, which has no view yet
        m_gfx->getSize(&m_input.width, &m_input.height);
    }
    m_input.isFullScreen = on;
}
