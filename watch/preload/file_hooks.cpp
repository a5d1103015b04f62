// A game can have its own file library in its program. Then the hooks do not see the files that the game opens.
#include "watch/preload/file_hooks.h"

#include "file/file.h"
#include "watch/preload/message.h"
#include "watch/preload/reads.h"
#include "watch/preload/realfunction.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

static thread_local watch::WatchedOpen* s_open __attribute__((tls_model("initial-exec")));

watch::WatchedOpen::WatchedOpen()
{
    s_open = this;
}

watch::WatchedOpen::~WatchedOpen()
{
    s_open = nullptr;
}

void watch::WatchedOpen::note(const char* asked, int file)
{
    if (m_asked[0] != '\0') {
        return;
    }
    strncpy(m_asked, asked, sizeof(m_asked) - 1);
    if (file >= 0) {
        Message link;
        link.add("/proc/self/fd/").add(file);
        const ssize_t length = readlink(link.text(), m_opened, sizeof(m_opened) - 1);
        m_opened[length > 0 ? length : 0] = '\0';
    }
}

WATCH_FUNCTION("_ZN4File4openEPKcS1_", _BkzFileType_s*, fileOpen, (const char* name, const char* mode))
{
    _BkzFileType_s* file = s_fileOpen.real()(name, mode);
    if (s_open && name) {
        const int error = errno;
        s_open->note(name, file && file->stream ? fileno(file->stream) : -1);
        errno = error;
    }
    if (file && watch::isWatchingReads()) {
        watch::noteFile(name, fileno(file->stream));
    }
    return file;
}
