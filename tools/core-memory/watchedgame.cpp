#include "tools/core-memory/watchedgame.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <signal.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

static pid_t s_game; // for the signal handler

std::string watchLibraryPath()
{
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof(path) - 1);
    const std::string program(path, length > 0 ? static_cast<size_t>(length) : 0);
    const std::string folder = program.substr(0, program.rfind('/') + 1);
    for (const char* place : {CORE_MEMORY_LIBRARIES "/", "", "../../watch/preload/"}) {
        const std::string candidate = folder + place + "libcorewatch.so";
        if (realpath(candidate.c_str(), path)) {
            return path;
        }
    }
    return "";
}

WatchedGame::~WatchedGame()
{
    for (const int file : {m_listener, m_connection, m_end}) {
        if (file >= 0) {
            close(file);
        }
    }
}

static std::string failure(const char* what)
{
    return std::string(what) + ": " + strerror(errno);
}

// The socket's name is not a file, so nothing is left when this process is killed.
bool WatchedGame::_listen(std::string* error)
{
    unsigned long random = 0;
    if (getentropy(&random, sizeof(random)) != 0) {
        random = static_cast<unsigned long>(getpid());
    }
    m_name = "core-memory-" + std::to_string(getpid()) + "-" + std::to_string(random);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path + 1, m_name.data(), m_name.size());
    const socklen_t size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + m_name.size());
    m_listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (m_listener < 0 || bind(m_listener, reinterpret_cast<const sockaddr*>(&address), size) != 0 ||
        listen(m_listener, 64) != 0) {
        *error = failure("no socket for the game");
        return false;
    }
    return true;
}

// In the child. Returns only when the program can't be started.
static void execute(const std::vector<std::string>& command,
                    const std::vector<std::pair<std::string, std::string>>& variables)
{
    for (const auto& variable : variables) {
        setenv(variable.first.c_str(), variable.second.c_str(), 1);
    }
    std::vector<char*> words;
    words.reserve(command.size() + 1);
    for (const std::string& word : command) {
        words.push_back(const_cast<char*>(word.c_str()));
    }
    words.push_back(nullptr);
    execvp(words[0], words.data());
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

bool WatchedGame::start(const std::vector<std::string>& command,
                        const std::vector<std::pair<std::string, std::string>>& variables, std::string* error)
{
    int failed[2]; // stays empty when the program starts
    if (!_listen(error)) {
        return false;
    }
    if (pipe2(failed, O_CLOEXEC) != 0) {
        *error = failure("no pipe");
        return false;
    }
    sigset_t passed;
    sigset_t before;
    sigfillset(&passed);
    sigprocmask(SIG_BLOCK, &passed, &before); // a signal that comes too early waits until it can be passed on
    m_process = s_game = fork();
    if (m_process == 0) {
        sigprocmask(SIG_SETMASK, &before, nullptr);
        auto all = variables;
        all.emplace_back("CORE_WATCH", m_name);
        execute(command, all);
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

// Reads the message of one connection. Refuses the processes of other users.
bool WatchedGame::_takeMessage()
{
    ucred sender = {};
    socklen_t size = sizeof(sender);
    m_connection = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
    const bool isOurs = m_connection >= 0 && getsockopt(m_connection, SOL_SOCKET, SO_PEERCRED, &sender, &size) == 0 &&
                        sender.uid == geteuid();
    m_message.clear();
    m_sender = sender.pid;
    char part[65536];
    ssize_t length = isOurs ? 1 : 0;
    while (length > 0) {
        length = recv(m_connection, part, sizeof(part), 0);
        m_message.append(part, length > 0 ? static_cast<size_t>(length) : 0);
        length = length < 0 && errno == EINTR ? 1 : length;
    }
    if (!isOurs) {
        answer();
    }
    return isOurs;
}

void WatchedGame::answer()
{
    if (m_connection >= 0) {
        send(m_connection, "", 1, MSG_NOSIGNAL);
        close(m_connection);
    }
    m_connection = -1;
}

WatchedGame::Event WatchedGame::wait(int milliseconds)
{
    for (;;) {
        pollfd files[2] = {{m_listener, POLLIN, 0}, {m_end, POLLIN, 0}};
        const int ready = poll(files, 2, milliseconds);
        if (ready == 0) {
            return EVENT_TIME;
        }
        if (ready > 0 && (files[0].revents & POLLIN)) {
            if (_takeMessage()) {
                return EVENT_MESSAGE;
            }
        } else if (ready > 0 && files[1].revents != 0 && waitpid(m_process, &m_status, 0) == m_process) {
            return EVENT_END;
        }
    }
}

int WatchedGame::endAsTheGame() const
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
