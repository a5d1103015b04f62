// Starts a game with libcorewatch.so in LD_PRELOAD, and ends this process in the same way as the game ended.
//
//     StartedGame game;
//     std::string error;
//     const std::vector<std::string> command = {"./game", "-level", "2"};
//     const std::string library = watchLibraryPath(command, &error);
//     if (library.empty() || !game.start(command, watchVariables(library), &error)) { ... }
//     game.wait();
//     return game.endAsTheGame();
//
// The game inherits the open files and the terminal of this process. Signals to this process reach the game, too.
#pragma once

#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

typedef std::vector<std::pair<std::string, std::string>> GameVariables; // names and values

class StartedGame {
public:
    StartedGame() = default;
    ~StartedGame();
    StartedGame(const StartedGame&) = delete;
    StartedGame& operator=(const StartedGame&) = delete;

    // Starts the command with these variables added to its environment. output is the descriptor that becomes the
    // game's standard output. Returns false and stores a sentence in error when the program can't be started.
    bool start(const std::vector<std::string>& command, const GameVariables& variables, std::string* error,
               int output = 1);

    // Waits for the end of the game. Returns at once when the game has ended before. Prints a line if the system does not
    // tell how the game has ended.
    void wait();
    bool isEndKnown() const { return m_isEndKnown; } // call wait first

    pid_t process() const { return m_process; }
    int end() const { return m_end; }           // a descriptor that poll finds readable when the game has ended
    int waitStatus() const { return m_status; } // the status from waitpid; call wait first

    // Returns the exit status of the game. When a signal has ended the game, ends this process with the same signal.
    int endAsTheGame() const;

private:
    int m_end = -1;
    pid_t m_process = -1;
    int m_status = 0;
    bool m_isOver = false;
    bool m_isEndKnown = true;
};

// command: the game and its arguments. Returns the path of the libcorewatch.so for the processor of the game. Returns an
// empty text, and stores sentences in error, if no folder has such a library.
std::string watchLibraryPath(const std::vector<std::string>& command, std::string* error);

// Returns the variables that put the library in front of a game.
GameVariables watchVariables(const std::string& library);
