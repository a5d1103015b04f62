#include "watch/preload/channel.h"

#include "watch/preload/settings.h"

#include <errno.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace watch {

static const time_t sc_patience = 60; // seconds

// Connects to the tool. Returns the descriptor; -1 if no connection was made. The socket's name is not a file: its first
// byte is a NUL.
static int connectToTool(const char* name)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const size_t length = strlen(name);
    if (length + 1 > sizeof(address.sun_path)) {
        return -1;
    }
    memcpy(address.sun_path + 1, name, length);
    const int connection = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connection < 0) {
        return -1;
    }
    const timeval patience = {sc_patience, 0};
    setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    setsockopt(connection, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof(patience));
    const socklen_t size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + length);
    if (connect(connection, reinterpret_cast<const sockaddr*>(&address), size) != 0) {
        close(connection);
        return -1;
    }
    return connection;
}

Channel::Channel() : m_connection(-1), m_error(errno)
{
    if (const char* name = settings().socket) {
        m_connection = connectToTool(name);
    }
}

void Channel::send(const Message& part)
{
    const char* bytes = part.text();
    size_t left = part.length();
    while (left > 0 && m_connection >= 0) {
        const ssize_t sent = ::send(m_connection, bytes, left, MSG_NOSIGNAL);
        if (sent > 0) {
            bytes += sent;
            left -= static_cast<size_t>(sent);
        } else if (sent == 0 || errno != EINTR) {
            _close();
        }
    }
}

Channel::~Channel()
{
    if (m_connection >= 0) {
        char answer;
        shutdown(m_connection, SHUT_WR);
        while (recv(m_connection, &answer, 1, 0) < 0 && errno == EINTR) {
        }
    }
    _close();
    errno = m_error;
}

void Channel::_close()
{
    if (m_connection >= 0) {
        close(m_connection);
    }
    m_connection = -1;
}

} // namespace watch
