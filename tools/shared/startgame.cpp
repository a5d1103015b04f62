#include "tools/shared/startgame.h"

#include "tools/shared/machine.h"

#include <errno.h>
#include <fcntl.h>
#include <filesystem>
#include <limits.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

static pid_t s_game;               // for the signal handler
static const int sc_unknown = 127; // stands for the exit status of a game that the system does not tell

// Returns the folders that can have a libcorewatch.so: those of an installed tool, and those of a build.
static std::vector<std::string> watchFolders(const Machine& game)
{
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof(path) - 1);
    const std::string program(path, length > 0 ? static_cast<size_t>(length) : 0);
    const std::string own = program.substr(0, program.rfind('/') + 1);
    std::vector<std::string> folders;
    for (const char* place : {CORE_TOOL_LIBRARIES "/", "", "../../watch/preload/"}) {
        folders.push_back(own + place);
        folders.push_back(own + place + game.folder() + "/");
    }
    folders.push_back(own + "../lib/" + game.folder() + "/core-tools/");
    if (game.wordBits == 32) {
        folders.push_back(own + "../lib32/core-tools/");
    }
    return folders;
}

static std::string missingLibrary(const Machine& game)
{
    if (game == ownMachine()) {
        return "libcorewatch.so is not beside this program";
    }
    const std::filesystem::path folder = watchFolders(game)[1];
    return "the game is a " + game.name() + " program, and there is no libcorewatch.so for " + game.name() +
           " programs. Build the target corewatch of core with a compiler for " + game.name() +
           ", and copy watch/preload/libcorewatch.so of that build to " + folder.lexically_normal().string();
}

std::string watchLibraryPath(const std::vector<std::string>& command, std::string* error)
{
    const Machine program = machineOf(programFile(command[0]));
    const Machine game = program.isKnown() ? program : ownMachine(); // a script starts programs of this machine
    for (const std::string& folder : watchFolders(game)) {
        char path[PATH_MAX];
        if (realpath((folder + "libcorewatch.so").c_str(), path) && machineOf(path) == game) {
            return path;
        }
    }
    *error = missingLibrary(game);
    return "";
}

GameVariables watchVariables(const std::string& library)
{
    const char* others = getenv("LD_PRELOAD");
    const char* sanitizer = getenv("ASAN_OPTIONS");
    return {
        {"LD_PRELOAD", library + (others && *others ? ":" + std::string(others) : "")},
        {"ASAN_OPTIONS", "verify_asan_link_order=0" + (sanitizer && *sanitizer ? ":" + std::string(sanitizer) : "")}};
}

StartedGame::~StartedGame()
{
    if (m_end >= 0) {
        close(m_end);
    }
}

static std::string failure(const char* what)
{
    return std::string(what) + ": " + strerror(errno);
}

// Returns pointers to the words, and a null pointer at the end.
static std::vector<char*> pointersTo(const std::vector<std::string>& command)
{
    std::vector<char*> words;
    words.reserve(command.size() + 1);
    for (const std::string& word : command) {
        words.push_back(const_cast<char*>(word.c_str()));
    }
    words.push_back(nullptr);
    return words;
}

// In the child. Returns only when the program can't be started; the reason is in errno.
static void execute(const std::vector<char*>& words, const GameVariables& variables, int output)
{
    for (const auto& variable : variables) {
        if (setenv(variable.first.c_str(), variable.second.c_str(), 1) != 0) {
            return;
        }
    }
    if (output == STDOUT_FILENO || dup2(output, STDOUT_FILENO) == STDOUT_FILENO) {
        execvp(words[0], words.data());
    }
}

static void passOn(int number)
{
    kill(s_game, number);
}

// Control-C in a terminal reaches the game as well, so it is ignored here. Other signals are sent to the game.
static void passSignalsOn()
{
    signal(SIGINT, SIG_IGN);
    signal(SIGQUIT, SIG_IGN);
    signal(SIGPIPE, SIG_IGN);
    for (const int number : {SIGTERM, SIGHUP, SIGUSR1, SIGUSR2}) {
        signal(number, passOn);
    }
}

bool StartedGame::start(const std::vector<std::string>& command, const GameVariables& variables, std::string* error,
                        int output)
{
    const std::vector<char*> words = pointersTo(command);
    int failed[2]; // stays empty when the program starts
    if (pipe2(failed, O_CLOEXEC) != 0) {
        *error = failure("no pipe");
        return false;
    }
    sigset_t passed;
    sigset_t before;
    sigfillset(&passed);
    sigprocmask(SIG_BLOCK, &passed, &before);         // a signal that comes too early waits until it can be passed on
    const auto ofChildren = signal(SIGCHLD, SIG_DFL); // while SIGCHLD is ignored, waitpid gets no status
    m_process = s_game = fork();
    if (m_process == 0) {
        signal(SIGCHLD, ofChildren);
        sigprocmask(SIG_SETMASK, &before, nullptr);
        execute(words, variables, output);
        const int reason = errno;
        (void)!write(failed[1], &reason, sizeof(reason));
        _exit(127);
    }
    if (m_process > 0) {
        passSignalsOn();
    }
    sigprocmask(SIG_SETMASK, &before, nullptr);
    close(failed[1]);
    int reason = 0;
    const bool isStarted = m_process > 0 && read(failed[0], &reason, sizeof(reason)) == 0;
    close(failed[0]);
    m_end = isStarted ? static_cast<int>(syscall(SYS_pidfd_open, m_process, 0)) : -1;
    if (m_end < 0) {
        errno = reason ? reason : errno;
        *error = failure(command[0].c_str());
        return false;
    }
    return true;
}

void StartedGame::wait()
{
    while (!m_isOver) {
        pollfd end = {m_end, POLLIN, 0};
        const bool isInterrupted = poll(&end, 1, -1) < 0 && errno == EINTR; // after another error, waitpid waits
        if (!isInterrupted && waitpid(m_process, &m_status, 0) == m_process) {
            m_isOver = true;
        } else if (!isInterrupted && errno != EINTR) {
            fprintf(stderr, "%s: the system does not tell how the game has ended: %s\n",
                    program_invocation_short_name, strerror(errno));
            m_isOver = true;
            m_isEndKnown = false;
            m_status = sc_unknown << 8;
        }
    }
}

int StartedGame::endAsTheGame() const
{
    if (!WIFSIGNALED(m_status)) {
        return WEXITSTATUS(m_status);
    }
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_CORE, &none); // the game has written its own core file
    const int number = WTERMSIG(m_status);
    signal(number, SIG_DFL);
    raise(number);
    return 128 + number;
}
