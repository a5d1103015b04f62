// Opening a URL: starts xdg-open as a process that is not a child of the game.
#include <Carbon/Carbon.h>

#include "macapi/src/objects/url.h"
#include "macapi/src/system/descriptor.h"
#include "macapi/src/system/rights.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace macapi;

static bool redirectStreams()
{
    const int nowhere = open("/dev/null", O_RDWR);
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; stream++) {
        if (dup2(nowhere, stream) < 0) {
            return false;
        }
    }
    return true;
}

// Marks each descriptor above the standard streams to be closed when xdg-open starts.
static void closeDescriptorsOnExec()
{
    const int first = STDERR_FILENO + 1;
    const int limit = 65536; // for kernels before 5.11, where each descriptor is marked by a call of its own
    if (close_range(first, ~0u, CLOSE_RANGE_CLOEXEC) == 0) {
        return;
    }
    for (int file = first; file < limit; file++) {
        fcntl(file, F_SETFD, FD_CLOEXEC);
    }
}

static void restoreSignals()
{
    for (int number = 1; number < NSIG; number++) {
        signal(number, SIG_DFL);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Changes the environment in place: a process that was forked from one with threads must not allocate memory.
static void fixSearchPath()
{
    static char s_path[] = "PATH=/usr/local/bin:/usr/bin:/bin";
    for (char** variable = environ; variable && *variable; variable++) {
        if (strncmp(*variable, s_path, strlen("PATH=")) == 0) {
            *variable = s_path;
        }
    }
}

// Runs in the process that becomes xdg-open. That process has no streams and no files of the game, the default action
// for each signal, and the rights of the game's user only. Returns only if xdg-open cannot be started, or if a right
// cannot be dropped.
static void becomeOpener(const char* url)
{
    if (!redirectStreams() || !dropExtraRights()) {
        return;
    }
    if (hasExtraRights()) {
        fixSearchPath();
    }
    restoreSignals();
    closeDescriptorsOnExec();
    execlp("xdg-open", "xdg-open", url, static_cast<char*>(nullptr));
}

// Forks twice. The child ends at once, and the game waits for it. So the grandchild belongs to the system and is
// never a zombie of the game. When the grandchild becomes xdg-open, the pipe closes and the reader gets no byte; on
// failure the grandchild or the child writes one byte.
static OSStatus startOpener(const char* url, int reader, int writer)
{
    const pid_t child = fork();
    if (child == 0) {
        setsid(); // a signal from the game's terminal does not reach the browser
        const pid_t opener = fork();
        if (opener == 0) {
            becomeOpener(url);
        }
        const bool failed = opener <= 0;
        _exit(failed && write(writer, "", 1) == 1);
    }
    close(writer);
    if (child < 0) {
        return kLSUnknownErr;
    }
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    char failure;
    ssize_t length;
    do {
        length = read(reader, &failure, 1);
    } while (length < 0 && errno == EINTR);
    return length == 0 ? static_cast<OSStatus>(noErr) : static_cast<OSStatus>(kLSApplicationNotFoundErr);
}

static bool makePipe(int (&ends)[2])
{
    const StandardStreamsFiller filler;
    return pipe2(ends, O_CLOEXEC) == 0;
}

OSStatus LSOpenCFURLRef(CFURLRef reference, CFURLRef* launched)
{
    if (launched) {
        *launched = nullptr;
    }
    const __CFURL* url = as<__CFURL>(reference);
    if (!url) {
        return paramErr;
    }
    if (!hasScheme(url->string->text)) {
        return kLSApplicationNotFoundErr; // xdg-open would take it for an option or the name of a file
    }
    int ends[2];
    if (!makePipe(ends)) {
        return kLSUnknownErr;
    }
    const OSStatus status = startOpener(url->string->text.c_str(), ends[0], ends[1]);
    close(ends[0]);
    return status;
}
