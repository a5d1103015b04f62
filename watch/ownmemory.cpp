#include "watch/ownmemory.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>
#if UINTPTR_MAX > 0xffffffffu && __has_include(<link.h>)
#include <link.h>
#define HAS_MODULES
#endif

namespace watch {

static const size_t sc_part = 4096; // bytes: an empty pipe accepts so many without waiting

OwnMemory::OwnMemory() : MemoryReader(ownLayout()), m_pipe{-1, -1}
{
    if (pipe(m_pipe) != 0) {
        m_pipe[0] = m_pipe[1] = -1;
        return;
    }
    for (const int end : m_pipe) {
        fcntl(end, F_SETFD, FD_CLOEXEC);
        fcntl(end, F_SETFL, O_NONBLOCK);
    }
}

OwnMemory::~OwnMemory()
{
    for (const int end : m_pipe) {
        if (end != -1) {
            close(end);
        }
    }
}

bool OwnMemory::read(uint64_t address, void* out, size_t size) const
{
    unsigned char* to = static_cast<unsigned char*>(out);
    if (address > UINTPTR_MAX || size > UINTPTR_MAX - address) {
        return false;
    }
    while (size != 0) {
        const size_t part = std::min(size, sc_part);
        // The call of the system itself: a sanitizer's write would complain about memory between two variables.
        const long written = syscall(SYS_write, m_pipe[1], static_cast<uintptr_t>(address), part);
        if (written <= 0 || ::read(m_pipe[0], to, static_cast<size_t>(written)) != written) {
            return false;
        }
        to += written;
        address += static_cast<uint64_t>(written);
        size -= static_cast<size_t>(written);
    }
    return true;
}

#ifdef HAS_MODULES

static int addWritable(dl_phdr_info* module, size_t, void* ranges)
{
    for (unsigned int index = 0; index < module->dlpi_phnum; ++index) {
        const ElfW(Phdr)& segment = module->dlpi_phdr[index];
        if (segment.p_type == PT_LOAD && (segment.p_flags & PF_W)) {
            const uint64_t begin = module->dlpi_addr + segment.p_vaddr;
            static_cast<std::vector<MemoryRange>*>(ranges)->push_back({begin, begin + segment.p_memsz});
        }
    }
    return 0;
}

std::vector<MemoryRange> ownWritableMemory()
{
    std::vector<MemoryRange> ranges;
    dl_iterate_phdr(addWritable, &ranges);
    return ranges;
}

#else

std::vector<MemoryRange> ownWritableMemory()
{
    return {};
}

#endif

} // namespace watch
