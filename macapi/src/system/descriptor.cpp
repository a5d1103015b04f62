// Opening files with descriptors above the standard streams.
#include "macapi/src/system/descriptor.h"

#include <assert.h>
#include <fcntl.h>
#include <poll.h>

namespace macapi {

StandardStreamsFiller::StandardStreamsFiller()
{
    pollfd streams[sc_standardStreams] = {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}};
    if (poll(streams, sc_standardStreams, 0) <= 0) {
        return; // all three are open
    }
    for (int i = 0; i < sc_standardStreams; i++) {
        if (streams[i].revents & POLLNVAL) {
            m_fillers[i] = Descriptor(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC)); // takes the lowest free number
        }
    }
}

static Descriptor openAnywhere(int folder, const std::string& name, int flags, mode_t mode)
{
    return Descriptor(again([&] { return openat(folder, name.c_str(), flags | O_CLOEXEC, mode); }));
}

// Only a file that is opened for writing needs the filler. A file that is only read may have the number of a standard
// stream for a moment: a log line of another thread cannot damage it.
Descriptor openAt(int folder, const std::string& name, int flags, mode_t mode)
{
    const bool isWritten = (flags & O_ACCMODE) != O_RDONLY;
    Descriptor file;
    if (isWritten) {
        const StandardStreamsFiller filler;
        file = openAnywhere(folder, name, flags, mode);
    } else {
        file = openAnywhere(folder, name, flags, mode);
    }
    if (file >= 0 && file < sc_standardStreams) {
        // The file is only read, or another thread has closed a standard stream after the filler looked.
        file = Descriptor(fcntl(file, F_DUPFD_CLOEXEC, sc_standardStreams));
    }
    assert((file < 0 || file >= sc_standardStreams) && "system 1: every descriptor is 3 or higher");
    return file;
}

} // namespace macapi
