// The memory and the code of a process that has sent a message and waits for the answer.
#pragma once

#include "tools/core-memory/modules.h"
#include "tools/core-memory/process.h"
#include "watch/linktables.h"

#include <memory>
#include <string>
#include <sys/types.h>

class WaitingProcess : public ProcessMemory {
public:
    explicit WaitingProcess(pid_t process);
    const watch::LinkTables& tables() const; // searched at the first call

    // Returns "Mesh::load(char const*) (game/mesh.cpp:41)" for a return address; without debug information the function
    // and the library. Never empty.
    std::string codeAt(uint64_t address) const;

    // Returns a source name: for the kind "name" from the number that stands in a header, for "text" from the address of
    // the text. Returns an empty text for a block without a source name.
    std::string sourceName(const std::string& kind, uint64_t number) const;

    // Replaces the tokens of a message (watch/preload/message.h). Leaves out the places of a stack after main.
    std::string explain(const std::string& message) const;

private:
    const Modules& _modules() const; // opened at the first call

    std::string _explainLine(const std::string& line) const;
    std::string _explainToken(const std::string& token) const;

    pid_t m_process;
    mutable std::unique_ptr<Modules> m_modules;
    mutable std::unique_ptr<watch::LinkTables> m_tables;
};
