#include "tools/core-memory/process.h"

#include <algorithm>
#include <dirent.h>
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ptrace.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <time.h>

bool ProcessMemory::read(uint64_t address, void* out, size_t size) const
{
    char* to = static_cast<char*>(out);
    while (size != 0) {
        iovec here = {to, size};
        iovec there = {reinterpret_cast<void*>(address), size};
        const ssize_t length = process_vm_readv(m_process, &here, 1, &there, 1, 0);
        if (length <= 0) {
            return false;
        }
        to += length;
        address += static_cast<uint64_t>(length);
        size -= static_cast<size_t>(length);
    }
    return true;
}

static std::vector<pid_t> threadsOf(pid_t process)
{
    std::vector<pid_t> threads;
    if (DIR* folder = opendir(("/proc/" + std::to_string(process) + "/task").c_str())) {
        while (const dirent* entry = readdir(folder)) {
            if (const pid_t thread = atoi(entry->d_name)) {
                threads.push_back(thread);
            }
        }
        closedir(folder);
    }
    return threads;
}

static const char* reasonOf(int error)
{
    return error == EPERM
               ? "not permitted. The process belongs to another user, another debugger is attached, or the "
                 "system allows it only for child processes (/proc/sys/kernel/yama/ptrace_scope)"
               : strerror(error);
}

static const int sc_mostWaits = 2000; // of a millisecond: how long a thread may take to stop

bool StoppedProcess::_stopThread(pid_t thread, std::string* error)
{
    if (ptrace(PTRACE_SEIZE, thread, nullptr, nullptr) != 0) {
        if (errno == ESRCH) {
            return true; // the thread has ended meanwhile
        }
        *error = "process " + std::to_string(thread) + " can't be stopped: " + reasonOf(errno);
        return false;
    }
    m_threads.push_back({thread, 0});
    ptrace(PTRACE_INTERRUPT, thread, nullptr, nullptr);
    int status = 0;
    for (int waits = 0; waits < sc_mostWaits; ++waits) {
        const pid_t changed = waitpid(thread, &status, __WALL | WNOHANG);
        if (changed == thread) {
            if (WIFSTOPPED(status) && status >> 16 != PTRACE_EVENT_STOP) {
                m_threads.back().signal = WSTOPSIG(status); // it receives the signal when it continues
            }
            return true; // stopped, or ended
        }
        if (changed == -1) {
            return true; // ended
        }
        const timespec millisecond = {0, waits < 20 ? 50000 : 1000000};
        nanosleep(&millisecond, nullptr);
    }
    *error = "thread " + std::to_string(thread) + " does not stop: it waits inside the system";
    return false;
}

// A thread can start another one while this runs, so the list of threads is read until it shows no new one.
bool StoppedProcess::stop(pid_t process, std::string* error)
{
    for (bool isNew = true; isNew;) {
        isNew = false;
        for (const pid_t thread : threadsOf(process)) {
            const auto isIt = [&](const Thread& known) { return known.id == thread; };
            if (std::any_of(m_threads.begin(), m_threads.end(), isIt)) {
                continue;
            }
            isNew = true;
            if (!_stopThread(thread, error)) {
                return false;
            }
        }
    }
    if (m_threads.empty()) {
        *error = "there is no process " + std::to_string(process);
    }
    return !m_threads.empty();
}

StoppedProcess::~StoppedProcess()
{
    for (const Thread& thread : m_threads) {
        ptrace(PTRACE_DETACH, thread.id, nullptr, reinterpret_cast<void*>(static_cast<intptr_t>(thread.signal)));
    }
}
