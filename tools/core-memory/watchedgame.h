// A game that runs with libcorewatch.so, and the messages of that library.
//
//     WatchedGame game;
//     if (!game.start({"./game", "-level", "2"}, {{"CORE_WATCH_CHECK", "block"}}, &error)) { ... }
//     while (game.wait(-1) == WatchedGame::EVENT_MESSAGE) {
//         use(game.message());                       // the thread of the game that sent it waits meanwhile
//         game.answer();
//     }
//     return game.game().endAsTheGame();
#pragma once

#include "tools/shared/startgame.h"

#include <string>
#include <sys/types.h>
#include <vector>

class WatchedGame {
public:
    enum Event { EVENT_MESSAGE, EVENT_TIME, EVENT_END };

    WatchedGame() = default;
    ~WatchedGame();
    WatchedGame(const WatchedGame&) = delete;
    WatchedGame& operator=(const WatchedGame&) = delete;

    // Starts the command with these variables added to its environment. Returns false and stores a sentence in error.
    bool start(const std::vector<std::string>& command, const GameVariables& variables, std::string* error);

    // Waits for a message, for the end, or for so many milliseconds; -1 means no limit.
    Event wait(int milliseconds);

    const std::string& message() const { return m_message; }
    pid_t sender() const { return m_sender; } // the process that sent the message: the game, or a program it started
    void answer();                            // lets the sender go on

    const StartedGame& game() const { return m_game; }

private:
    bool _listen(std::string* error);
    bool _takeMessage();
    void _stopListening();

    StartedGame m_game;
    std::string m_name; // of the socket
    int m_listener = -1;
    int m_connection = -1; // of the message
    pid_t m_sender = -1;
    std::string m_message;
};
