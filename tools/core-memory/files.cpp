#include "tools/core-memory/files.h"
#include "tools/core-memory/status.h"
#include "tools/shared/files.h"
#include "watch/summary.h"

#include <filesystem>

namespace fs = std::filesystem;

// Returns the path of the snapshot in the folder that was written last; empty if there is none.
static std::string newestSnapshot(const std::string& folder)
{
    std::error_code error;
    fs::file_time_type newest;
    std::string path;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
        const fs::file_time_type time = entry.last_write_time(error);
        if (entry.path().extension() == ".snapshot" && !error && (path.empty() || time > newest)) {
            newest = time;
            path = entry.path();
        }
    }
    return path;
}

int readWholeFile(const std::string& path, std::string* bytes)
{
    std::string error;
    return readFile(path, bytes, &error) ? STATUS_FINE : complain(STATUS_CANT_LOOK, error);
}

int readSnapshotFile(const std::string& path, watch::Snapshot* snapshot)
{
    std::string text;
    std::string error;
    std::error_code ignored;
    if (fs::is_directory(path, ignored)) {
        const std::string newest = newestSnapshot(path);
        return complain(STATUS_CANT_LOOK,
                        path + " is a folder" +
                            (newest.empty() ? " without snapshots" : "; name a snapshot in it, such as " + newest));
    }
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
