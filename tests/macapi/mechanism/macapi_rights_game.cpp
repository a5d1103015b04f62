// The game that macapi_rights_test makes setuid, setgid and capable copies of. Prints an answer to each argument.
#include <Carbon/Carbon.h>

#include "core/otherslinks.h"
#include "file/file.h"

#include "macapi/src/system/executable.h"
#include "macapi/src/system/folders.h"
#include "macapi/src/system/trust.h"

#include <dlfcn.h>
#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <string>
#include <unistd.h>

static bool s_hasNoProc;

extern "C" ssize_t readlink(const char* path, char* out, size_t size) noexcept
{
    if (s_hasNoProc && strncmp(path, "/proc/", 6) == 0) {
        errno = ENOENT;
        return -1;
    }
    return reinterpret_cast<decltype(&readlink)>(dlsym(RTLD_NEXT, "readlink"))(path, out, size);
}

static std::string openURL()
{
    CFURLRef url = CFURLCreateWithString(kCFAllocatorDefault, CFSTR("http://a/"), nullptr);
    const OSStatus status = LSOpenCFURLRef(url, nullptr);
    CFRelease(url);
    return std::to_string(status);
}

static std::string writeThroughTheLink()
{
    FILE* file = fopen_mac("lies/text", "w");
    if (!file) {
        return "refused";
    }
    fclose(file);
    return "written";
}

static std::string answerTo(const std::string& question)
{
    if (question == "extra rights") {
        return issetugid() != 0 ? "yes" : "no";
    }
    if (question == "machine's preferences") {
        return macapi::systemFolder(kLocalDomain, kPreferencesFolderType);
    }
    if (question == "user's data") {
        return macapi::systemFolder(kUserDomain, kApplicationSupportFolderType);
    }
    if (question == "become the user") {
        return setresuid(getuid(), getuid(), getuid()) == 0 ? "done" : "refused";
    }
    if (question == "executable without /proc") {
        s_hasNoProc = true;
        return "'" + macapi::executablePath() + "'";
    }
    if (question == "enter the link") {
        return macapi::openFolder("lies/link", macapi::MissingFolders::Fail) >= 0 ? "entered" : "refused";
    }
    if (question == "write through the link") {
        return writeThroughTheLink();
    }
    if (question == "whose link") {
        return HasOthersLink("lies/text") || HasOthersLink("lies/link/text") ? "another user's" : "a trusted user's";
    }
    return question == "open" ? openURL() : "what?";
}

int main(int count, char** arguments)
{
    for (int i = 1; i < count; i++) {
        puts(answerTo(arguments[i]).c_str());
    }
    return 0;
}
