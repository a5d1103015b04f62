// Descriptors of open files.
//
// Each descriptor that the library opens is above 2, also in a program whose standard streams are closed: what such a
// program writes to its streams must not end in a file of the library's. It closes itself, and on exec.
#pragma once

#include <errno.h>
#include <string>
#include <sys/types.h>
#include <unistd.h>
#include <utility>

namespace macapi {

// Makes a system call again for as long as a signal interrupts it. Returns the call's result.
template <class Call>
auto again(Call call)
{
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

// Owns a descriptor. Negative: there is none.
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

// Opens the file of that name in a folder; AT_FDCWD stands for the working folder. Negative on error; errno tells why.
Descriptor openAt(int folder, const std::string& name, int flags, mode_t mode = 0);

} // namespace macapi
