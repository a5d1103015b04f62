// The process manager's calls. They know one process, this one. Its name is the name of its executable file.
#include <Carbon/Carbon.h>

#include "macapi/src/objects/string.h"
#include "macapi/src/system/executable.h"

#include <exception>

using namespace macapi;

OSErr GetCurrentProcess(ProcessSerialNumber* process)
{
    if (!process) {
        return paramErr;
    }
    *process = {0, kCurrentProcess};
    return noErr;
}

OSStatus CopyProcessName(const ProcessSerialNumber* process, CFStringRef* name)
try {
    if (!process || !name) {
        return paramErr;
    }
    if (process->highLongOfPSN != 0 || process->lowLongOfPSN != kCurrentProcess) {
        return procNotFound;
    }
    std::string text = processName();
    if (text.empty()) {
        return procNotFound;
    }
    *name = make<__CFString>(std::move(text)).release();
    return noErr;
} catch (const std::exception&) {
    return procNotFound;
}
