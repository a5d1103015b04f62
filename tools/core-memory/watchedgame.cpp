#include "tools/core-memory/watchedgame.h"

#include <errno.h>
#include <poll.h>
#include <stddef.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

WatchedGame::~WatchedGame()
{
    for (const int file : {m_listener, m_connection}) {
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

bool WatchedGame::start(const std::vector<std::string>& command, const GameVariables& variables, std::string* error)
{
    if (!_listen(error)) {
        return false;
    }
    GameVariables all = variables;
    all.emplace_back("CORE_WATCH", m_name);
    return m_game.start(command, all, error);
}

// The game gets no answer to its messages any more, so it does not wait for one.
void WatchedGame::_stopListening()
{
    close(m_listener);
    m_listener = -1;
}

// Reads the message of one connection. Refuses the processes of other users.
bool WatchedGame::_takeMessage()
{
    ucred sender = {};
    socklen_t size = sizeof(sender);
    m_connection = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (m_connection < 0 && errno != EINTR && errno != ECONNABORTED) {
        _stopListening(); // such as too many open files: the connection would wait forever
    }
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
        pollfd files[2] = {{m_listener, POLLIN, 0}, {m_game.end(), POLLIN, 0}};
        const int ready = poll(files, 2, milliseconds);
        if (ready == 0) {
            return EVENT_TIME;
        }
        if (ready > 0 && (files[0].revents & POLLIN)) {
            if (_takeMessage()) {
                return EVENT_MESSAGE;
            }
        } else if (ready > 0 && files[1].revents != 0) {
            m_game.wait();
            return EVENT_END;
        } else if (ready < 0 && errno != EINTR) {
            _stopListening();
            m_game.wait();
            return EVENT_END;
        }
    }
}
