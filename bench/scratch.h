// The environment of a benchmark: a temporary folder and a memory manager with bank 0.
#pragma once

#include "core/memorymgr.h"

#include <filesystem>
#include <stdio.h>
#include <stdlib.h>
#include <string>

// Makes a temporary folder that is the working folder and both Library folders. The destructor removes it with its
// content.
class ScratchFolder {
public:
    explicit ScratchFolder(const char* parent = "/tmp")
        : m_before(std::filesystem::current_path()), m_path(std::filesystem::absolute(parent) / "core-bench-XXXXXX")
    {
        if (!mkdtemp(m_path.data())) {
            perror(m_path.c_str());
            exit(1);
        }
        enter(m_path);
    }
    ~ScratchFolder()
    {
        enter(m_before);
        std::filesystem::remove_all(m_path);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

private:
    static void enter(const std::string& path)
    {
        std::filesystem::current_path(path);
        setenv("MACAPI_LIBRARY", path.c_str(), 1);
        setenv("MACAPI_USER_LIBRARY", path.c_str(), 1);
    }

    const std::string m_before;
    std::string m_path;
};

class ScratchMemory : public MemoryMgr {
public:
    ScratchMemory()
    {
        bankSizePath[0] = '\0'; // no bank-size file is read or written
        defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 4 << 20);
        initialize();
    }

protected:
    void onOutOfMemory(int) override {}
};
