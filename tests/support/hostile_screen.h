// A window server that does harm: a display of its own, which stays silent, hangs up, or passes on what a real server says
// until it has had enough.
#pragma once

#include <algorithm>
#include <atomic>
#include <functional>
#include <netinet/in.h>
#include <poll.h>
#include <stddef.h>
#include <string.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

class HostileScreen {
public:
    // Is given each connection, numbered from 1, on a thread of its own, and hangs up when it returns.
    using Manners = std::function<void(int connection, int number)>;

    // Without manners it never accepts a connection.
    explicit HostileScreen(Manners manners = nullptr) : m_manners(std::move(manners)) {}

    ~HostileScreen()
    {
        m_over = true;
        shutdown(m_listener, SHUT_RDWR); // ends the waiting for the next connection
        if (m_thread.joinable()) {
            m_thread.join();
        }
        close(m_listener);
    }

    // The display's name; empty when it could not be made. Sockets of Linux's own leave no file behind.
    std::string onSocket()
    {
        for (int number = 20000 + getpid() % 20000; number < 59000; number++) {
            sockaddr_un address;
            const socklen_t size = socketOf(":" + std::to_string(number), &address);
            if (listenAt(AF_UNIX, reinterpret_cast<sockaddr*>(&address), size)) {
                return ":" + std::to_string(number);
            }
        }
        return "";
    }

    std::string onNetwork()
    {
        for (int number = 20000 + getpid() % 20000; number < 59000; number++) {
            sockaddr_in address = {};
            address.sin_family = AF_INET;
            address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            address.sin_port = htons(static_cast<uint16_t>(6000 + number));
            if (listenAt(AF_INET, reinterpret_cast<sockaddr*>(&address), sizeof(address))) {
                return "127.0.0.1:" + std::to_string(number);
            }
        }
        return "";
    }

    // Passes on what the client and the real server say. Hangs up when the client has said more than so many bytes.
    void relay(int connection, const std::string& realDisplay, size_t mostBytes)
    {
        sockaddr_un address;
        const socklen_t size = socketOf(realDisplay, &address);
        const int server = socket(AF_UNIX, SOCK_STREAM, 0);
        size_t said = 0;
        bool open = connect(server, reinterpret_cast<sockaddr*>(&address), size) == 0;
        while (open && !m_over) {
            pollfd ends[] = {{connection, POLLIN, 0}, {server, POLLIN, 0}};
            poll(ends, 2, 10);
            if (ends[0].revents) {
                const size_t length = pass(connection, server, mostBytes - said);
                said += length;
                open = length > 0 && said < mostBytes;
            }
            if (open && ends[1].revents) {
                open = pass(server, connection, ~size_t(0)) > 0;
            }
        }
        close(server);
    }

    // Says nothing until the client hangs up.
    void ignore(int connection) const
    {
        while (!m_over) {
            pollfd end = {connection, POLLIN, 0};
            char bytes[256];
            if (poll(&end, 1, 10) > 0 && recv(connection, bytes, sizeof(bytes), 0) <= 0) {
                return;
            }
        }
    }

    bool isOver() const { return m_over; }

private:
    static socklen_t socketOf(const std::string& display, sockaddr_un* address)
    {
        const std::string path = "/tmp/.X11-unix/X" + display.substr(1);
        *address = {};
        address->sun_family = AF_UNIX;
        memcpy(address->sun_path + 1, path.c_str(), path.size());
        return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + path.size());
    }

    static size_t pass(int from, int to, size_t most)
    {
        char bytes[4096];
        const ssize_t length = recv(from, bytes, std::min(sizeof(bytes), most), 0);
        return length > 0 && send(to, bytes, static_cast<size_t>(length), MSG_NOSIGNAL) == length
                   ? static_cast<size_t>(length)
                   : 0;
    }

    bool listenAt(int family, const sockaddr* address, socklen_t size)
    {
        m_listener = socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (bind(m_listener, address, size) != 0 || listen(m_listener, 8) != 0) {
            close(m_listener);
            m_listener = -1;
            return false;
        }
        if (m_manners) {
            m_thread = std::thread([this] { serve(); });
        }
        return true;
    }

    void serve()
    {
        std::vector<std::thread> threads;
        int number = 0;
        for (int connection = 0; (connection = accept(m_listener, nullptr, nullptr)) >= 0;) {
            threads.emplace_back(
                [this](int line, int place) {
                    m_manners(line, place);
                    close(line);
                },
                connection, ++number);
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    const Manners m_manners;
    int m_listener = -1;
    std::atomic<bool> m_over{false};
    std::thread m_thread;
};
