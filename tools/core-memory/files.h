// The files that the commands read and write.
#pragma once

#include "watch/snapshot.h"

#include <string>

// Reads a snapshot from a file, or from the standard input when path is "-". Returns STATUS_FINE, or prints a message
// and returns STATUS_NOT_UNDERSTOOD or STATUS_CANT_LOOK.
int readSnapshotFile(const std::string& path, watch::Snapshot* snapshot);

// Reads a whole file. Returns STATUS_FINE, or prints a message and returns STATUS_CANT_LOOK.
int readWholeFile(const std::string& path, std::string* bytes);

// Writes a whole file, or to the standard output when path is "-". A file appears under its name only when all of its
// bytes are written. Returns STATUS_FINE, or prints a message and returns STATUS_CANT_LOOK.
int writeWholeFile(const std::string& path, const std::string& bytes);

// Finds a bank by its name or its number, and stores its bank index.
bool findBank(const watch::Snapshot& snapshot, const std::string& nameOrNumber, int* index);
