// A running process: its memory, and stopping it for a moment.
#pragma once

#include "watch/memoryreader.h"

#include <string>
#include <sys/types.h>
#include <vector>

class ProcessMemory : public watch::MemoryReader {
public:
    ProcessMemory(pid_t process, const watch::Layout& layout) : MemoryReader(layout), m_process(process) {}

    bool read(uint64_t address, void* out, size_t size) const override;

private:
    pid_t m_process;
};

// Stops all threads of a process while this object exists. The system itself continues the process when the tool
// ends, also when the tool is killed.
class StoppedProcess {
public:
    StoppedProcess() = default;
    ~StoppedProcess();

    StoppedProcess(const StoppedProcess&) = delete;
    StoppedProcess& operator=(const StoppedProcess&) = delete;

    // Returns false and stores a sentence in error when a thread can't be stopped; the process then continues.
    bool stop(pid_t process, std::string* error);

private:
    struct Thread {
        pid_t id;
        int signal; // a signal that the thread was about to receive; 0: none
    };

    bool _stopThread(pid_t thread, std::string* error);

    std::vector<Thread> m_threads;
};
