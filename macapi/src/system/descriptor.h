// Descriptors of open files.
//
// Descriptors 0 to 2 are the program's standard streams, also in a program that was started with these descriptors
// closed: other threads write log lines to them at any time. A file of this library with such a number would receive
// these lines. So:
//
// 1. Every descriptor that this library opens and keeps is 3 or higher.
// 2. Every descriptor is closed when the process starts another program (close-on-exec).
// 3. openAt follows both rules. A caller of another system call that opens descriptors, such as pipe2, must have a
//    StandardStreamsFiller during that call.
#pragma once

#include <errno.h>
#include <string>
#include <sys/types.h>
#include <unistd.h>
#include <utility>

namespace macapi {

// Repeats a system call while a signal interrupts it (EINTR). Returns the call's last result.
template <class Call>
auto again(Call call)
{
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

// Owns a descriptor and closes it when destroyed. A negative number means that it owns none. Closing keeps errno.
class Descriptor {
public:
    explicit Descriptor(int file = -1) : m_file(file) {}
    Descriptor(Descriptor&& other) noexcept : m_file(std::exchange(other.m_file, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(m_file, other.m_file);
        return *this;
    }
    ~Descriptor()
    {
        if (m_file >= 0) {
            const int error = errno;
            close(m_file);
            errno = error;
        }
    }

    operator int() const { return m_file; }

private:
    int m_file;
};

const int sc_standardStreams = 3; // standard input, output and error: descriptors 0 to 2

// Opens those of descriptors 0 to 2 that are closed, and closes them again when it is destroyed. A write to such a
// descriptor fails and changes nothing.
class StandardStreamsFiller {
public:
    StandardStreamsFiller();

private:
    Descriptor m_fillers[sc_standardStreams];
};

// Opens the file called name in a folder; AT_FDCWD as folder means the working folder. Returns the descriptor, 3 or
// higher; negative on failure, with the reason in errno.
Descriptor openAt(int folder, const std::string& name, int flags, mode_t mode = 0);

} // namespace macapi
