#include "tools/core-memory/files.h"
#include "tools/core-memory/status.h"
#include "watch/summary.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

static int complainOf(const std::string& path)
{
    return complain(STATUS_CANT_LOOK, path + ": " + strerror(errno));
}

int readWholeFile(const std::string& path, std::string* bytes)
{
    FILE* file = path == "-" ? stdin : fopen(path.c_str(), "rb");
    if (!file) {
        return complainOf(path);
    }
    char part[65536];
    while (const size_t length = fread(part, 1, sizeof(part), file)) {
        bytes->append(part, length);
    }
    const int status = ferror(file) ? complainOf(path) : STATUS_FINE;
    if (file != stdin) {
        fclose(file);
    }
    return status;
}

int readSnapshotFile(const std::string& path, watch::Snapshot* snapshot)
{
    std::string text;
    std::string error;
    if (const int status = readWholeFile(path, &text)) {
        return status;
    }
    if (!watch::readSnapshot(text, snapshot, &error)) {
        return complain(STATUS_NOT_UNDERSTOOD, path + ": " + error);
    }
    return STATUS_FINE;
}

int writeWholeFile(const std::string& path, const std::string& bytes)
{
    if (path == "-") {
        const bool isWritten = fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size() && fflush(stdout) == 0;
        return isWritten ? STATUS_FINE : complainOf("the standard output");
    }
    const std::string temporary = path + ".new-" + std::to_string(getpid());
    FILE* file = fopen(temporary.c_str(), "wb");
    if (!file) {
        return complainOf(path);
    }
    const bool isWritten = fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    if ((fclose(file) != 0) | !isWritten || rename(temporary.c_str(), path.c_str()) != 0) {
        const int status = complainOf(path);
        unlink(temporary.c_str());
        return status;
    }
    return STATUS_FINE;
}

bool findBank(const watch::Snapshot& snapshot, const std::string& nameOrNumber, int* index)
{
    for (const watch::Bank& bank : snapshot.banks) {
        if (watch::bankTitle(bank) == nameOrNumber || std::to_string(bank.index) == nameOrNumber) {
            *index = bank.index;
            return true;
        }
    }
    return false;
}
