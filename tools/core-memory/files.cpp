#include "tools/core-memory/files.h"
#include "tools/core-memory/status.h"
#include "tools/shared/files.h"
#include "watch/summary.h"

int readWholeFile(const std::string& path, std::string* bytes)
{
    std::string error;
    return readFile(path, bytes, &error) ? STATUS_FINE : complain(STATUS_CANT_LOOK, error);
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
    std::string error;
    return replaceFile(path, bytes, &error) ? STATUS_FINE : complain(STATUS_CANT_LOOK, error);
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
