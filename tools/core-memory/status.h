// The exit statuses of core-memory, and its messages.
#pragma once

#include <string>

enum e_ExitStatus {
    STATUS_FINE = 0,           // the command did its work and found nothing wrong
    STATUS_FOUND = 1,          // it found damage, a fault, or a difference
    STATUS_NOT_UNDERSTOOD = 2, // the command line or a file is not of the right form
    STATUS_CANT_LOOK = 3,      // the process or the file can't be opened or read
};

// Prints a message of the tool on the standard error stream, and returns status.
int complain(int status, const std::string& message);
