// The way to the tool: a socket, to which each message makes a connection of its own. So the game has no file open for
// this library, and its own files keep their numbers.
#pragma once

#include "watch/preload/message.h"

namespace watch {

// One connection. Any thread may use one of its own, also in a signal handler.
class Channel {
public:
    Channel();
    ~Channel(); // ends the message, and waits until the tool has read it and has looked at this process
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    // Sends a part of the message. Does nothing when there is no tool, or when the tool has not answered for 60 seconds.
    void send(const Message& part);

private:
    void _close();

    int m_connection; // -1: none
    int m_error;      // errno of the game
};

// Sends one message.
inline void tell(const Message& message)
{
    Channel().send(message);
}

} // namespace watch
