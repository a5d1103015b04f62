// Opening a URL: xdg-open, started as nobody's child.
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

// Every descriptor above the streams is closed when xdg-open starts, whether its maker asked for that or not.
static void closeDescriptorsOnExec()
{
    const int first = STDERR_FILENO + 1;
    const int limit = 65536; // on kernels before 5.11, where each descriptor is marked by itself
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

// Changes the environment in place: a process that was forked from one with threads makes no memory of its own.
static void fixSearchPath()
{
    static char s_path[] = "PATH=/usr/local/bin:/usr/bin:/bin";
    for (char** variable = environ; variable && *variable; variable++) {
        if (strncmp(*variable, s_path, strlen("PATH=")) == 0) {
            *variable = s_path;
        }
    }
}

// In the process that becomes xdg-open: it neither reads nor writes for the game, inherits none of the game's files,
// and does not inherit how the game takes its signals. The rights that a game has and its user has not end here.
// Returns only when there is no xdg-open, or when it would start with more than it should have.
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

// Two forks: the child ends at once and is waited for here, so that the grandchild is left to the system and never a
// zombie of the game's. The pipe is closed without a word when xdg-open takes the grandchild's place.
static OSStatus startOpener(const char* url, int reader, int writer)
{
    const pid_t child = fork();
    if (child == 0) {
        setsid(); // what ends the game from a terminal leaves the browser alone
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
        return kLSApplicationNotFoundErr; // to xdg-open that would be an option, or some file in the working folder
    }
    int ends[2];
    if (!makePipe(ends)) {
        return kLSUnknownErr;
    }
    const OSStatus status = startOpener(url->string->text.c_str(), ends[0], ends[1]);
    close(ends[0]);
    return status;
}
