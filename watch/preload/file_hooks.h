// The hooks of File.
#pragma once

#include <limits.h>

namespace watch {

// What this thread opens while the object exists: the first file that File::open was asked for. Objects of a thread must
// not overlap.
class WatchedOpen {
public:
    WatchedOpen();
    ~WatchedOpen();
    WatchedOpen(const WatchedOpen&) = delete;
    WatchedOpen& operator=(const WatchedOpen&) = delete;

    const char* asked() const { return m_asked; }   // the path that File::open got; empty: it was not called
    const char* opened() const { return m_opened; } // the absolute path of the file; empty: it was not opened

    void note(const char* asked, int file); // -1: not opened

private:
    char m_asked[PATH_MAX] = "";
    char m_opened[PATH_MAX] = "";
};

} // namespace watch
