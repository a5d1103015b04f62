// The process as the process manager knows it: there is one, and its name is its file's.
#include <Carbon/Carbon.h>

#include "macapi/src/encoding.h"
#include "macapi/src/executable.h"
#include "macapi/src/string.h"

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
{
    if (!process || !name) {
        return paramErr;
    }
    if (process->highLongOfPSN != 0 || process->lowLongOfPSN != kCurrentProcess) {
        return procNotFound;
    }
    const std::string path = executablePath();
    if (path.empty()) {
        return procNotFound;
    }
    const std::string fileName = path.substr(path.rfind('/') + 1);
    std::optional<std::string> text = decode(fileName, kCFStringEncodingUTF8);
    if (!text) {
        text = decode(fileName, kCFStringEncodingMacRoman); // gives every byte a meaning
    }
    *name = make<__CFString>(std::move(*text)).release();
    return noErr;
}
