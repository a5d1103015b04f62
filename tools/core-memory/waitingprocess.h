// The memory and the code of a process that has sent a message and waits for the answer.
#pragma once

#include "tools/core-memory/process.h"
#include "watch/linktables.h"

#include <memory>
#include <string>
#include <sys/types.h>

class WaitingProcess : public ProcessMemory {
public:
    explicit WaitingProcess(pid_t process);
    ~WaitingProcess() override;

    const watch::LinkTables& tables() const; // searched at the first call

    // Returns "Mesh::load(char const*) (game/mesh.cpp:41)" for a return address; without debug information the function
    // and the library. Never empty.
    std::string codeAt(uint64_t address) const;

    // Replaces the tokens of a message (watch/preload/message.h). Leaves out the places of a stack after main.
    std::string explain(const std::string& message) const;

private:
    struct Symbols;

    std::string _explainLine(const std::string& line) const;
    std::string _explainToken(const std::string& token) const;

    pid_t m_process;
    std::vector<watch::MemoryRange> m_writable; // of the program and its libraries
    mutable std::unique_ptr<watch::LinkTables> m_tables;
    mutable std::unique_ptr<Symbols> m_symbols;
};
