#include "tools/shared/files.h"

#include <algorithm>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

static const size_t sc_mostBytes = 256 << 20; // of a file. Some devices have no end.

static const char sc_byteOrderMark[] = "\xEF\xBB\xBF";

static std::string replaceAll(const std::string& text, const std::string& from, const std::string& to)
{
    std::string result;
    size_t at = 0;
    for (size_t next; (next = text.find(from, at)) != std::string::npos; at = next + from.size()) {
        result.append(text, at, next - at);
        result += to;
    }
    return result.append(text, at, std::string::npos);
}

static bool endsMostLinesWithCarriageReturn(const std::string& text)
{
    size_t lines = 0;
    size_t withCarriageReturn = 0;
    for (size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 1)) {
        lines += 1;
        withCarriageReturn += at > 0 && text[at - 1] == '\r';
    }
    return 2 * withCarriageReturn > lines;
}

std::string takeForm(const std::string& bytes, TextForm* form)
{
    form->hasByteOrderMark = bytes.compare(0, 3, sc_byteOrderMark) == 0;
    const std::string text = form->hasByteOrderMark ? bytes.substr(3) : bytes;
    form->hasCarriageReturns = endsMostLinesWithCarriageReturn(text);
    return form->hasCarriageReturns ? replaceAll(text, "\r\n", "\n") : text;
}

std::string giveForm(const std::string& text, const TextForm& form)
{
    return (form.hasByteOrderMark ? sc_byteOrderMark : "") +
           (form.hasCarriageReturns ? replaceAll(text, "\n", "\r\n") : text);
}

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find('\n', begin), text.size());
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

static bool fail(const std::string& path, std::string* error)
{
    *error = path + ": " + strerror(errno);
    return false;
}

bool readFile(const std::string& path, std::string* bytes, std::string* error)
{
    bytes->clear();
    FILE* file = path == "-" ? stdin : fopen(path.c_str(), "rb");
    if (!file) {
        return fail(path, error);
    }
    char part[65536];
    size_t length = 1;
    while (length > 0 && bytes->size() <= sc_mostBytes) {
        length = fread(part, 1, sizeof(part), file);
        bytes->append(part, length);
    }
    errno = length > 0 ? EFBIG : errno;
    const bool isRead = (length == 0 && !ferror(file)) || fail(path, error);
    if (file != stdin) {
        fclose(file);
    }
    return isRead;
}

static bool writeAll(int file, const std::string& bytes)
{
    size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = write(file, bytes.data() + written, bytes.size() - written);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        written += count < 0 ? 0 : static_cast<size_t>(count);
    }
    return true;
}

// Returns the path of the file itself when path names a symbolic link, else path.
static std::string targetOf(const std::string& path)
{
    char* target = realpath(path.c_str(), nullptr);
    std::string result = target ? target : path;
    free(target);
    return result;
}

// The permissions of the file that is replaced; for a new file, those that the process gives to new files.
static mode_t modeFor(const std::string& path)
{
    struct stat status;
    if (stat(path.c_str(), &status) == 0) {
        return status.st_mode & 07777;
    }
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

static bool writeNewFile(int file, const std::string& bytes, mode_t mode)
{
    const bool isWritten = fchmod(file, mode) == 0 && writeAll(file, bytes) && fsync(file) == 0;
    const int reason = errno;
    const bool isClosed = close(file) == 0;
    errno = isWritten ? errno : reason;
    return isWritten && isClosed;
}

// Writes to a device or a pipe, which has no old bytes to keep.
static bool writeInPlace(const std::string& path, const std::string& bytes)
{
    const int file = open(path.c_str(), O_WRONLY);
    if (file < 0) {
        return false;
    }
    const bool isWritten = writeAll(file, bytes);
    const int reason = errno;
    close(file);
    errno = reason;
    return isWritten;
}

static bool isRegularOrMissing(const std::string& path)
{
    struct stat status;
    return stat(path.c_str(), &status) != 0 || S_ISREG(status.st_mode);
}

bool replaceFile(const std::string& path, const std::string& bytes, std::string* error)
{
    if (path == "-") {
        fflush(stdout);
        return writeAll(STDOUT_FILENO, bytes) || fail("the standard output", error);
    }
    if (!isRegularOrMissing(path)) {
        return writeInPlace(path, bytes) || fail(path, error);
    }
    const std::string target = targetOf(path);
    std::string temporary = target + ".XXXXXX";
    const int file = mkstemp(&temporary[0]);
    if (file < 0) {
        return fail(path, error);
    }
    if (!writeNewFile(file, bytes, modeFor(target)) || rename(temporary.c_str(), target.c_str()) != 0) {
        fail(path, error);
        unlink(temporary.c_str());
        return false;
    }
    return true;
}
