// Playing a game and learning which texts it asks for.
#pragma once

#include "tools/core-strings/askedtexts.h"
#include "tools/shared/startgame.h"

#include <string>
#include <vector>

struct PlayOptions {
    std::vector<std::string> command; // the game and its arguments
    std::string root; // source files in this folder get a path that begins there; empty: the current one
    std::vector<std::string> through; // functions that pass a text on: the place is where they are called
    bool outputIsOurs = false; // this program writes to the standard output: the game's goes to the error stream
};

// Plays the game until it ends, and adds the texts that it asked for. Returns TOOL_FINE, or prints why not and returns
// another status. game is the game that has ended then.
int playGame(const PlayOptions& options, AskedTexts* texts, StartedGame* game);

// Returns a path as findings and places show it: a path in the folder root begins there.
std::string pathFrom(const std::string& root, const std::string& path);
