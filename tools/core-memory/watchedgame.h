// A game that runs with libcorewatch.so, and the messages of that library.
//
//     WatchedGame game;
//     if (!game.start({"./game", "-level", "2"}, {{"CORE_WATCH_CHECK", "block"}}, &error)) { ... }
//     while (game.wait(-1) == WatchedGame::EVENT_MESSAGE) {
//         use(game.message());                       // the thread of the game that sent it waits meanwhile
//         game.answer();
//     }
//     return game.endAsTheGame();
//
// The game inherits all files and has the same terminal. Signals for this process go to the game.
#pragma once

#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

class WatchedGame {
public:
    enum Event { EVENT_MESSAGE, EVENT_TIME, EVENT_END };

    WatchedGame() = default;
    ~WatchedGame();
    WatchedGame(const WatchedGame&) = delete;
    WatchedGame& operator=(const WatchedGame&) = delete;

    // Starts the command with these variables added to its environment. Returns false and stores a sentence in error.
    bool start(const std::vector<std::string>& command,
               const std::vector<std::pair<std::string, std::string>>& variables, std::string* error);

    // Waits for a message, for the end, or for so many milliseconds; -1 means no limit.
    Event wait(int milliseconds);

    const std::string& message() const { return m_message; }
    pid_t sender() const { return m_sender; } // the process that sent the message: the game, or a program it started
    void answer();                            // lets the sender go on

    pid_t process() const { return m_process; }
    int waitStatus() const { return m_status; } // of waitpid, after EVENT_END

    // Returns the exit status of the game. When a signal has ended the game, ends this process with the same signal.
    int endAsTheGame() const;

private:
    bool _listen(std::string* error);
    bool _takeMessage();

    std::string m_name; // of the socket
    int m_listener = -1;
    int m_connection = -1; // of the message
    int m_end = -1;        // readable when the game has ended
    pid_t m_process = -1;
    pid_t m_sender = -1;
    int m_status = 0;
    std::string m_message;
};

// Returns the path of libcorewatch.so beside this program; empty when there is none.
std::string watchLibraryPath();
