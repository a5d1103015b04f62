// 1. The end is told once: by the first of the manager's destructor, the memory running out, a signal, and exit.
// 2. A signal is handled only while its action is the default one, and this action follows. The game does not see the
//    handler: for sigaction and signal the action is SIG_DFL.
// 3. A forked child tells nothing: its memory is a copy.
#include "watch/preload/ending.h"

#include "watch/preload/announce.h"
#include "watch/preload/channel.h"
#include "watch/preload/memorymgr_hooks.h"
#include "watch/preload/realfunction.h"
#include "watch/preload/settings.h"

#include <atomic>
#include <errno.h>
#include <signal.h>
#include <string.h>
#include <unistd.h>

namespace watch {

static std::atomic<MemoryMgr*> s_manager{nullptr};
static pid_t s_process;
static unsigned int s_defined[32]; // bytes; 0: not known

void bankIsDefined(int bank, unsigned int size)
{
    if (bank >= 0 && bank < 32) {
        s_defined[bank] = size;
    }
}

static void sendEnd(MemoryMgr* manager, const char* cause)
{
    {
        Quiet quiet;
        checkAllBanks(manager);
    }
    announceEnd();
    Channel channel; // its destructor waits until the tool has read the game
    Message message;
    message.add("end: ").add(cause).add("\nmanager ").addHex(reinterpret_cast<uintptr_t>(manager)).add("\n");
    for (int bank = 0; bank < 32; ++bank) {
        if (s_defined[bank] != 0) {
            message.add("defined ").add(bank).add(" ").add(s_defined[bank]).add("\n");
        }
    }
    channel.send(message);
    sendRecords(manager, channel);
}

// A signal that comes meanwhile waits: it would end the process while the tool reads it.
static void tellEnd(MemoryMgr* manager, const char* cause)
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before);
    sendEnd(manager, cause);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void managerEnds(MemoryMgr* manager, const char* cause)
{
    MemoryMgr* expected = manager;
    if (getpid() == s_process && s_manager.compare_exchange_strong(expected, nullptr)) {
        tellEnd(manager, cause);
    }
}

void processEnds(const char* cause)
{
    if (MemoryMgr* manager = s_manager.load()) {
        managerEnds(manager, cause);
    }
}

// ---- Signals

static const int sc_signals[] = {SIGHUP, SIGINT,  SIGQUIT, SIGILL,    SIGTRAP, SIGABRT, SIGBUS,
                                 SIGFPE, SIGSEGV, SIGPIPE, SIGALRM,   SIGTERM, SIGUSR1, SIGUSR2,
                                 SIGSYS, SIGXCPU, SIGXFSZ, SIGVTALRM, SIGPROF};

static RealFunction<int(int, const struct sigaction*, struct sigaction*)> s_sigaction("sigaction");

static bool isWatched(int number)
{
    for (int watched : sc_signals) {
        if (watched == number) {
            return true;
        }
    }
    return false;
}

static bool isDefault(const struct sigaction& action)
{
    return (action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == SIG_DFL;
}

static void endBySignal(int number, siginfo_t* info, void*)
{
    const int error = errno;
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    s_sigaction.real()(number, &action, nullptr);
    Message cause;
    cause.add("signal ").add(number);
    processEnds(cause.text());
    if (info->si_code <=
        0) { // sent by a process; a fault of the program itself comes again when this function returns
        raise(number);
    }
    errno = error;
}

static bool isOurs(const struct sigaction& action)
{
    return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == endBySignal;
}

static struct sigaction ourAction()
{
    struct sigaction action = {};
    action.sa_sigaction = endBySignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigfillset(&action.sa_mask);
    return action;
}

static void watchSignals()
{
    const struct sigaction ours = ourAction();
    for (int number : sc_signals) {
        struct sigaction action;
        if (s_sigaction.real()(number, nullptr, &action) == 0 && isDefault(action)) {
            s_sigaction.real()(number, &ours, nullptr);
        }
    }
}

// sigaction as the game sees it. The handler of this file stands for SIG_DFL, in both directions.
static int setAction(int number, const struct sigaction* action, struct sigaction* before)
{
    const struct sigaction ours = ourAction();
    const bool isEnding = action && s_process != 0 && isWatched(number) && isDefault(*action);
    struct sigaction old;
    const int result = s_sigaction.real()(number, isEnding ? &ours : action, &old);
    if (result == 0 && before) {
        *before = old;
        if (isOurs(old)) {
            *before = {};
            before->sa_handler = SIG_DFL;
        }
    }
    return result;
}

void managerBegins(MemoryMgr* manager)
{
    if (!settings().socket) {
        return;
    }
    memset(s_defined, 0, sizeof(s_defined));
    s_manager.store(manager);
    if (s_process != getpid()) {
        s_process = getpid();
        watchSignals();
    }
}

__attribute__((destructor)) static void endOfLibrary()
{
    processEnds("exit");
}

} // namespace watch

extern "C" __attribute__((visibility("default"))) int sigaction(int number, const struct sigaction* action,
                                                                struct sigaction* before) noexcept
{
    return watch::setAction(number, action, before);
}

// As the C library's signal: interrupted calls go on, and the signal is blocked while its handler runs.
extern "C" __attribute__((visibility("default"))) sighandler_t signal(int number, sighandler_t handler) noexcept
{
    struct sigaction action = {};
    struct sigaction before = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaddset(&action.sa_mask, number);
    if (handler == SIG_ERR) {
        errno = EINVAL;
        return SIG_ERR;
    }
    return watch::setAction(number, &action, &before) == 0 ? before.sa_handler : SIG_ERR;
}

WATCH_FUNCTION("_exit", void, exitNow, (int status))
{
    watch::processEnds("_exit");
    s_exitNow.real()(status);
    __builtin_unreachable();
}

WATCH_FUNCTION("_Exit", void, exitNow2, (int status))
{
    watch::processEnds("_Exit");
    s_exitNow2.real()(status);
    __builtin_unreachable();
}
