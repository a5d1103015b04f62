// A window platform of the test's own: an X server with what belongs to it, started for the test and ended with it.
#pragma once

#include <X11/Xlib.h>
#include <X11/extensions/Xrandr.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <signal.h>
#include <stdlib.h>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

// A process that ends with this object, and with the test if that is killed. What it writes is dropped, but for what
// goes to the pipes.
class Process {
public:
    using Words = std::vector<std::string>;

    Process() = default;
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process() { kill(); }

    // log: a file for what it writes; empty: none. The new process inherits kept as well.
    bool start(const Words& command, int kept = -1, const std::string& log = "")
    {
        int in[2];
        int out[2];
        if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) {
            return false;
        }
        std::vector<char*> words;
        for (const std::string& word : command) {
            words.push_back(const_cast<char*>(word.c_str()));
        }
        words.push_back(nullptr);
        m_number = fork();
        if (m_number == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            dup2(in[0], STDIN_FILENO);
            const int file = open(log.empty() ? "/dev/null" : log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
            dup2(log.empty() ? out[1] : file, STDOUT_FILENO);
            dup2(file, STDERR_FILENO);
            if (kept >= 0) {
                fcntl(kept, F_SETFD, 0);
            }
            execvp(words[0], words.data());
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        m_in = in[1];
        m_out = out[0];
        return m_number > 0;
    }

    int input() const { return m_in; }   // what is written here it reads
    int output() const { return m_out; } // what it writes can be read here

    bool isAlive()
    {
        if (m_number > 0 && waitpid(m_number, &m_status, WNOHANG) == m_number) {
            m_number = 0;
        }
        return m_number > 0;
    }

    int status() const { return m_status; } // as waitpid tells it, once it has ended

    void kill(int signal = SIGKILL)
    {
        if (m_number > 0) {
            ::kill(m_number, signal);
            waitpid(m_number, &m_status, 0);
            m_number = 0;
        }
        for (int* end : {&m_in, &m_out}) {
            if (*end >= 0) {
                close(*end);
                *end = -1;
            }
        }
    }

private:
    pid_t m_number = 0;
    int m_status = 0;
    int m_in = -1;
    int m_out = -1;
};

struct Rectangle {
    int x; // pixels of the X desktop, y down
    int y;
    int width;
    int height;
};

struct PlatformKind {
    const char* name;
    Process::Words server;  // the server and its arguments; "weston" starts the session around Xwayland
    Process::Words manager; // empty: none
    Rectangle main;         // the main screen
    int desktopWidth; // 0: as the server has it; otherwise the main output is moved to its place on such a desktop
    int desktopHeight;
    bool isWayland; // the session, not the server, has the last word about the cursor
};

class WindowPlatform {
public:
    ~WindowPlatform()
    {
        disconnect();
        m_manager.kill(SIGTERM);
        m_server.kill(SIGTERM); // a server that is told to go takes its files with it
        std::filesystem::remove_all(m_folder);
    }

    // The first program of that platform which is not installed; empty: all are there.
    static std::string missing(const PlatformKind& kind)
    {
        Process::Words programs = {kind.server[0]};
        if (kind.isWayland) {
            programs.push_back("Xwayland");
        }
        if (!kind.manager.empty()) {
            programs.push_back(kind.manager[0]);
        }
        for (const std::string& program : programs) {
            if (system(("command -v " + program + " > /dev/null").c_str()) != 0) {
                return program;
            }
        }
        return "";
    }

    // False when it cannot be had. Sets DISPLAY, and HOME to a folder that goes with this object.
    bool start(const PlatformKind& kind)
    {
        char folder[] = "/tmp/core-windows-XXXXXX";
        if (!mkdtemp(folder)) {
            return false;
        }
        m_folder = folder;
        setenv("HOME", folder, 1);
        setenv("XDG_RUNTIME_DIR", folder, 1);
        if (!(kind.isWayland ? startWayland(kind) : startServer(kind))) {
            return false;
        }
        m_display = XOpenDisplay(nullptr);
        if (!m_display) {
            return false;
        }
        XSetErrorHandler([](Display*, XErrorEvent*) { return 0; }); // a window may go while it is asked for
        if (kind.desktopWidth && !moveMainOutput(kind)) {
            return false;
        }
        return kind.manager.empty() || startManager(kind);
    }

    void endServer()
    {
        disconnect();
        m_server.kill();
    }

    // Xlib ends a process whose server goes, so this comes before anything that may end the server.
    void disconnect()
    {
        if (m_display) {
            XCloseDisplay(m_display);
            m_display = nullptr;
        }
    }

    Display* display() { return m_display; } // the test's own connection
    Window root() { return DefaultRootWindow(m_display); }

private:
    bool startServer(const PlatformKind& kind)
    {
        int ends[2];
        if (pipe(ends) != 0) {
            return false;
        }
        fcntl(ends[0], F_SETFD, FD_CLOEXEC);
        Process::Words command = kind.server;
        command.insert(command.end(), {"-noreset", "-displayfd", std::to_string(ends[1])});
        const bool started = m_server.start(command, ends[1]);
        close(ends[1]);
        std::string number;
        for (char digit = 0; started && read(ends[0], &digit, 1) == 1 && digit != '\n';) {
            number += digit;
        }
        close(ends[0]);
        setenv("DISPLAY", (":" + number).c_str(), 1);
        return !number.empty();
    }

    // The session says in its log which display Xwayland listens on.
    bool startWayland(const PlatformKind& kind)
    {
        const std::string log = m_folder + "/log";
        m_server.start(kind.server, -1, log);
        std::string number;
        while (number.empty() && m_server.isAlive()) {
            usleep(10000);
            number = wordBehind(log, "listening on display ");
        }
        setenv("DISPLAY", number.c_str(), 1);
        return !number.empty();
    }

    static std::string wordBehind(const std::string& file, const std::string& words)
    {
        FILE* log = fopen(file.c_str(), "r");
        char line[512];
        std::string found;
        while (log && fgets(line, sizeof(line), log)) {
            const std::string text = line;
            const size_t place = text.find(words);
            if (place != std::string::npos && text.back() == '\n') {
                found = text.substr(place + words.size(), text.size() - place - words.size() - 1);
            }
        }
        if (log) {
            fclose(log);
        }
        return found;
    }

    // A window manager that speaks the usual hints names a window of its own once it is ready.
    bool startManager(const PlatformKind& kind)
    {
        m_manager.start(kind.manager);
        const Atom check = XInternAtom(m_display, "_NET_SUPPORTING_WM_CHECK", False);
        for (;;) {
            unsigned char* value = nullptr;
            Atom type;
            int bits;
            unsigned long count, rest;
            XGetWindowProperty(m_display, root(), check, 0, 1, False, AnyPropertyType, &type, &bits, &count, &rest,
                               &value);
            if (value) {
                XFree(value);
                return true;
            }
            if (!m_manager.isAlive()) {
                return false;
            }
            usleep(5000);
        }
    }

    // Gives the server's one output the main screen's place on a larger desktop.
    bool moveMainOutput(const PlatformKind& kind)
    {
        const unsigned int width = static_cast<unsigned int>(kind.main.width);
        const unsigned int height = static_cast<unsigned int>(kind.main.height);
        XRRScreenResources* resources = XRRGetScreenResourcesCurrent(m_display, root());
        XRRModeInfo info = {};
        info.width = info.hTotal = width;
        info.height = info.vTotal = height;
        info.dotClock = width * height * 60ul; // 60 hertz
        info.name = const_cast<char*>("main");
        info.nameLength = 4;
        const RRMode mode = XRRCreateMode(m_display, root(), &info);
        const RRCrtc crtc = resources->crtcs[0];
        XRRAddOutputMode(m_display, resources->outputs[0], mode);
        XRRSetCrtcConfig(m_display, resources, crtc, CurrentTime, 0, 0, None, RR_Rotate_0, nullptr, 0);
        XRRSetScreenSize(m_display, root(), kind.desktopWidth, kind.desktopHeight, 300, 200);
        const Status status = XRRSetCrtcConfig(m_display, resources, crtc, CurrentTime, kind.main.x, kind.main.y,
                                               mode, RR_Rotate_0, resources->outputs, 1);
        XRRFreeScreenResources(resources);
        return status == RRSetConfigSuccess;
    }

    std::string m_folder;
    Process m_server;
    Process m_manager;
    Display* m_display = nullptr;
};
