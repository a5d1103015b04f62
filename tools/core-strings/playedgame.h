// Plays a game and finds out which texts it asks for.
#pragma once

#include "tools/core-strings/askedtexts.h"
#include "tools/shared/journal.h"
#include "tools/shared/startgame.h"

#include <string>
#include <vector>

struct PlayOptions {
    std::vector<std::string> command; // the game and its arguments
    std::string root; // paths of source files in this folder are relative to it; empty: the current folder
    std::vector<std::string> through; // functions that only pass a text on: the place of an ask is their caller
    bool outputIsOurs = false; // this program writes to the standard output: the game's goes to the error stream
};

// Plays the game until it ends, and adds the texts that it asked for. Stores the ended game in *game. When the game
// can't be started, prints a message and returns another status than TOOL_FINE.
int playGame(const PlayOptions& options, AskedTexts* texts, StartedGame* game);

// Adds the texts and files of a journal to the texts. A game can have written anything into the journal.
void addJournal(const JournalContent& content, const PlayOptions& options, AskedTexts* texts);

// Returns a path as findings and places show it: relative to the folder root if the path is in this folder.
std::string pathFrom(const std::string& root, const std::string& path);
