// Which processor a program or a library is for.
//
//     const Machine game = machineOf(programFile("./game"));
//     if (game.isKnown() && !(game == ownMachine())) { ... }
#pragma once

#include <string>

struct Machine {
    int wordBits = 0; // 32 or 64; 0: not known
    bool isBigEndian = false;
    int number = 0; // e_machine of the ELF header

    bool isKnown() const { return wordBits != 0; }
    bool operator==(const Machine& other) const
    {
        return wordBits == other.wordBits && isBigEndian == other.isBigEndian && number == other.number;
    }

    std::string name() const; // for people: "32-bit x86"
    std::string
    folder() const; // Debian's name for the folder of its libraries: "i386-linux-gnu"; "machine-N" for others
};

// Returns the machine of a file. It is not known when the file is no ELF file, such as a script, or can't be read.
Machine machineOf(const std::string& path);
Machine ownMachine(); // of this process

// Returns the file that the system starts for a command: a command without a slash is searched in PATH. Returns the
// command itself if there is no such file.
std::string programFile(const std::string& command);
