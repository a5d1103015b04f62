// Descriptors 0 to 2 are the program's streams, also in a program that was started without them: what other threads log
// goes there. So nothing that stays open may have one of these numbers.
#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace macapi {

// While it lives, all three descriptors are in use: those that were closed lead nowhere.
class StreamsInUse {
public:
    StreamsInUse()
    {
        int file = 0;
        while (m_count < 3 && (file = open("/dev/null", O_RDWR | O_CLOEXEC)) >= 0) {
            m_files[m_count++] = file;
            if (file > STDERR_FILENO) {
                break; // the others are all taken
            }
        }
    }

    ~StreamsInUse()
    {
        while (m_count > 0) {
            close(m_files[--m_count]);
        }
    }

    StreamsInUse(const StreamsInUse&) = delete;
    StreamsInUse& operator=(const StreamsInUse&) = delete;

private:
    int m_files[3];
    int m_count = 0;
};

} // namespace macapi
