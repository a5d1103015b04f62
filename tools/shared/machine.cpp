#include "tools/shared/machine.h"

#include <elf.h>
#include <sstream>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

struct MachineName {
    int number;
    int wordBits;
    const char* name;
    const char* folder;
};

static const MachineName sc_machines[] = {
    {EM_386, 32, "x86", "i386-linux-gnu"},        {EM_X86_64, 64, "x86", "x86_64-linux-gnu"},
    {EM_ARM, 32, "ARM", "arm-linux-gnueabihf"},   {EM_AARCH64, 64, "ARM", "aarch64-linux-gnu"},
    {EM_PPC, 32, "PowerPC", "powerpc-linux-gnu"},
};

static const MachineName* nameOf(const Machine& machine)
{
    for (const MachineName& known : sc_machines) {
        if (known.number == machine.number && known.wordBits == machine.wordBits) {
            return &known;
        }
    }
    return nullptr;
}

std::string Machine::name() const
{
    const MachineName* known = nameOf(*this);
    return std::to_string(wordBits) + "-bit " + (known ? known->name : "machine " + std::to_string(number));
}

std::string Machine::folder() const
{
    const MachineName* known = nameOf(*this);
    return known ? known->folder : "machine-" + std::to_string(number);
}

Machine machineOf(const std::string& path)
{
    unsigned char header[20] = {}; // the number of the machine is in the last two bytes
    FILE* file = fopen(path.c_str(), "rb");
    const bool isRead = file && fread(header, 1, sizeof(header), file) == sizeof(header);
    if (file) {
        fclose(file);
    }
    const int elfClass = header[EI_CLASS];
    if (!isRead || memcmp(header, ELFMAG, SELFMAG) != 0 || (elfClass != ELFCLASS32 && elfClass != ELFCLASS64)) {
        return Machine();
    }
    const bool isBigEndian = header[EI_DATA] == ELFDATA2MSB;
    const int low = header[isBigEndian ? 19 : 18];
    const int high = header[isBigEndian ? 18 : 19];
    return {elfClass == ELFCLASS32 ? 32 : 64, isBigEndian, high << 8 | low};
}

Machine ownMachine()
{
    return machineOf("/proc/self/exe");
}

std::string programFile(const std::string& command)
{
    const char* path = getenv("PATH");
    if (command.find('/') != std::string::npos || !path) {
        return command;
    }
    std::istringstream folders(path);
    for (std::string folder; std::getline(folders, folder, ':');) {
        std::string file = (folder.empty() ? "." : folder) + "/" + command;
        if (access(file.c_str(), X_OK) == 0) {
            return file;
        }
    }
    return command;
}
