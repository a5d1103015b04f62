// The game that core-doctor looks at: its file, and the names under which core stores the game's data.
#pragma once

#include <string>

struct Game {
    std::string path;        // of the file, absolute and without links; empty: no game was named
    std::string name;        // of its data folder
    std::string preferences; // the name of its preferences: the bundle's identifier, or the name of the file
};

// True if the game's file, or a library that the game loads, calls Platform::InitWindow. Libraries of core do not
// count.
bool makesWindows(const Game& game);

// Finds the game whose file is path. Returns false and stores a sentence in error if the file cannot be read.
bool findGame(const std::string& path, Game* game, std::string* error);
