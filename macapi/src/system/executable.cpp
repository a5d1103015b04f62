// The path is read from /proc at each call, because a program may be renamed while it runs.
#include "macapi/src/system/executable.h"

#include "macapi/src/objects/encoding.h"
#include "macapi/src/system/rights.h"

#include <limits.h>
#include <sys/auxv.h>
#include <unistd.h>

namespace macapi {

std::string executablePath()
{
    // The kernel appends this to the name of a deleted file.
    static const std::string sc_deleted = " (deleted)";
    char link[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", link, sizeof(link));
    if (length <= 0) {
        // There is no /proc, or an emulator runs the program and the program's file was deleted. The name by which
        // the program was started is used instead. A user can choose that name, for example by a link, so a program
        // with extra rights does not use it.
        const char* name = hasExtraRights() ? nullptr : reinterpret_cast<const char*>(getauxval(AT_EXECFN));
        return name ? absolutePath(name) : "";
    }
    std::string path(link, length);
    const bool marked = path.size() > sc_deleted.size() &&
                        path.compare(path.size() - sc_deleted.size(), sc_deleted.size(), sc_deleted) == 0;
    if (marked && access(path.c_str(), F_OK) != 0) {
        path.resize(path.size() - sc_deleted.size());
    }
    return path;
}

std::string processName()
{
    const std::string path = executablePath();
    const std::string fileName = path.substr(path.rfind('/') + 1);
    if (std::optional<std::string> text = decode(fileName, kCFStringEncodingUTF8)) {
        return *text;
    }
    return decode(fileName, kCFStringEncodingMacRoman).value(); // Mac Roman has a character for every byte
}

std::string absolutePath(const std::string& path)
{
    if (path[0] == '/') {
        return path;
    }
    char folder[PATH_MAX];
    return getcwd(folder, sizeof(folder)) ? std::string(folder) + "/" + path : "";
}

} // namespace macapi
