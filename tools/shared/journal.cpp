#include "tools/shared/journal.h"

#include <algorithm>
#include <errno.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

Journal::~Journal()
{
    if (m_file >= 0) {
        close(m_file);
    }
}

bool Journal::create(std::string* error)
{
    watch::JournalHead head = {};
    memcpy(head.mark, watch::sc_journalMark, sizeof(head.mark));
    head.version = watch::sc_journalVersion;
    m_file = memfd_create("core-journal", MFD_CLOEXEC);
    if (m_file < 0 || write(m_file, &head, sizeof(head)) != sizeof(head) ||
        ftruncate(m_file, watch::sc_journalChunk) != 0) {
        *error = std::string("no journal for the game: ") + strerror(errno);
        return false;
    }
    return true;
}

std::string Journal::path() const
{
    return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(m_file);
}

// Returns false, with the reason in errno, if the file can't be read.
static bool readWhole(int file, std::string* bytes)
{
    struct stat status;
    if (fstat(file, &status) != 0) {
        return false;
    }
    bytes->resize(static_cast<size_t>(status.st_size));
    for (size_t done = 0; done < bytes->size();) {
        const ssize_t count = pread(file, &(*bytes)[done], bytes->size() - done, static_cast<off_t>(done));
        if (count < 0 && errno != EINTR) {
            return false;
        }
        if (count == 0) {
            bytes->resize(done);
        }
        done += static_cast<size_t>(std::max<ssize_t>(count, 0));
    }
    return true;
}

// Reads the head of a record at a place. Returns false for one that no game has written.
static bool readRecord(const std::string& bytes, size_t place, watch::JournalRecord* record)
{
    *record = {};
    const size_t left = watch::sc_journalChunk - place % watch::sc_journalChunk;
    memcpy(record, bytes.data() + place, std::min(left, sizeof(*record)));
    const bool isSpace = record->kind == watch::JOURNAL_SPACE || record->kind == watch::JOURNAL_TORN;
    return record->size == 0 || (record->size <= left && record->size % watch::sc_journalAlignment == 0 &&
                                 (isSpace || record->size >= sizeof(*record)));
}

// Returns the place after the last record; the end of the bytes if a record is damaged.
static size_t endOfRecords(const std::string& bytes)
{
    watch::JournalRecord record;
    for (size_t place = sizeof(watch::JournalHead); place < bytes.size(); place += record.size) {
        if (!readRecord(bytes, place, &record)) {
            break;
        }
        if (record.size == 0) {
            return place;
        }
    }
    return bytes.size();
}

// The game may write while the file is read, so a single read can have the last record and lack bytes that the game
// wrote into an earlier record before. The second read has all these bytes. Records that the game has added since the
// first read are left for the next call.
JournalContent Journal::read() const
{
    std::string bytes;
    bool isRead = readWhole(m_file, &bytes);
    const size_t end = isRead ? endOfRecords(bytes) : 0;
    isRead = isRead && readWhole(m_file, &bytes);
    if (isRead) {
        std::fill(bytes.begin() + static_cast<ptrdiff_t>(std::min(end, bytes.size())), bytes.end(), '\0');
        return readJournal(bytes);
    }
    JournalContent content;
    content.isUnread = true;
    content.error = errno;
    return content;
}

JournalContent readJournal(const std::string& bytes)
{
    JournalContent content;
    watch::JournalHead head = {};
    const size_t end = bytes.size() - bytes.size() % watch::sc_journalChunk;
    memcpy(&head, bytes.data(), std::min(bytes.size(), sizeof(head)));
    if (end == 0 || memcmp(head.mark, watch::sc_journalMark, sizeof(head.mark)) != 0 ||
        head.version != watch::sc_journalVersion) {
        content.isDamaged = true;
        return content;
    }
    content.lost = head.lost;
    content.error = static_cast<int>(head.error);
    watch::JournalRecord record;
    for (size_t place = sizeof(head); place < end; place += record.size) {
        if (!readRecord(bytes, place, &record)) {
            content.isDamaged = true;
            break;
        }
        if (record.size == 0) {
            break;
        }
        content.torn += record.kind == watch::JOURNAL_TORN;
        if (record.kind > watch::JOURNAL_SPACE && record.count > 0) {
            const size_t begin = place + sizeof(record);
            content.events.push_back(
                {record.kind, record.count, record.process, bytes.substr(begin, record.size - sizeof(record))});
        }
    }
    return content;
}

std::string troubleOf(const JournalContent& content)
{
    if (content.isUnread) {
        return std::string("the journal of the game can't be read: ") + strerror(content.error);
    }
    if (content.isDamaged) {
        return "the game has written over the journal, so events are missing";
    }
    if (content.lost > 0) {
        return std::to_string(content.lost) + " events of the game are missing: " + strerror(content.error);
    }
    return "";
}
