// Opening files above the standard streams.
#include "macapi/src/system/descriptor.h"

#include <fcntl.h>
#include <poll.h>

namespace macapi {

static const int sc_firstFree = 3; // behind the standard streams

namespace {

// Fills the closed ones of the descriptors 0 to 2 for as long as it lives. A file that was opened there, even for a
// moment, would get what other threads write to the standard error stream.
class StreamFiller {
public:
    StreamFiller()
    {
        pollfd streams[sc_firstFree] = {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}};
        if (poll(streams, sc_firstFree, 0) <= 0) {
            return;
        }
        for (int i = 0; i < sc_firstFree; i++) {
            if (streams[i].revents & POLLNVAL) {
                m_fillers[i] = Descriptor(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC)); // cannot be written to
            }
        }
    }

private:
    Descriptor m_fillers[sc_firstFree];
};

} // namespace

static Descriptor openAnywhere(int folder, const std::string& name, int flags, mode_t mode)
{
    return Descriptor(again([&] { return openat(folder, name.c_str(), flags | O_CLOEXEC, mode); }));
}

Descriptor openAt(int folder, const std::string& name, int flags, mode_t mode)
{
    const bool isWritten = (flags & O_ACCMODE) != O_RDONLY;
    Descriptor file;
    if (isWritten) {
        const StreamFiller filler;
        file = openAnywhere(folder, name, flags, mode);
    } else {
        file = openAnywhere(folder, name, flags, mode);
    }
    if (file < 0 || file >= sc_firstFree) {
        return file;
    }
    // A file that is read. One that is written comes here only if another thread has closed a stream just now.
    return Descriptor(fcntl(file, F_DUPFD_CLOEXEC, sc_firstFree));
}

} // namespace macapi
