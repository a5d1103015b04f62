// 1. The game can write any bytes into the journal, because it is in the game's memory. So each size and place is
//    checked.
// 2. The journal has the blocks of a process in the order in which the process has filled them.
#include "tools/core-config/gamereads.h"

#include "file/file.h"

#include <algorithm>
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <system_error>
#include <unistd.h>

namespace config {

// ---- Paths

static std::string withSlashes(const std::string& path)
{
    std::string result(path.size() + 1, '\0');
    ConvertDOSToMacPath(path.c_str(), &result[0]);
    return result.c_str();
}

// Returns the current folder with a slash at its end; an empty text if the folder has been removed.
static std::string currentFolder()
{
    char* folder = getcwd(nullptr, 0);
    if (!folder && errno != ENOENT) {
        // Without the folder, a schema would get other names for the files.
        throw std::system_error(errno, std::generic_category(), "the current folder cannot be found out");
    }
    std::string result = folder ? folder : "";
    free(folder);
    return result.empty() || result == "/" ? result : result + '/';
}

// Returns the path below the current folder; an empty text if the file is elsewhere.
static std::string pathBelow(const std::string& path)
{
    const std::string folder = currentFolder();
    return !folder.empty() && path.compare(0, folder.size(), folder) == 0 ? path.substr(folder.size()) : "";
}

static std::string shownPath(const std::string& asked, const std::string& path)
{
    std::string below = pathBelow(path);
    return below.empty() ? withSlashes(asked) : below;
}

std::string schemaPath(const std::string& asked, const std::string& path)
{
    const std::string whole = '/' + (path.empty() ? withSlashes(asked) : path);
    const size_t game = whole.rfind("/Game/");
    if (game != std::string::npos) {
        return whole.substr(game + 1);
    }
    std::string below = pathBelow(path);
    if (!below.empty()) {
        return below;
    }
    const size_t name = whole.rfind('/');
    const size_t folder = name == 0 ? 0 : whole.rfind('/', name - 1);
    return whole.substr(folder == std::string::npos ? name + 1 : folder + 1);
}

// ---- Events

void GameReads::add(const JournalContent& content)
{
    std::map<uint32_t, size_t> blocks; // the number of blocks of each process
    for (const JournalEvent& event : content.events) {
        Process& process = m_processes[event.process];
        if (event.kind == watch::JOURNAL_READS) {
            const size_t number = blocks[event.process]++;
            process.done.resize(std::max(process.done.size(), number + 1));
            _addBlock(&process, event.bytes, &process.done[number]);
        } else if (event.kind == watch::JOURNAL_PREFERENCE && m_preferenceEvents.insert(event.bytes).second) {
            _addPreference(process, event.bytes);
        }
    }
}

void GameReads::_addBlock(Process* process, const std::string& bytes, size_t* done)
{
    watch::ReadEvent event;
    while (bytes.size() - *done >= sizeof(event)) {
        memcpy(&event, &bytes[*done], sizeof(event));
        if (event.size < sizeof(event) || event.size > bytes.size() - *done || event.what >= watch::READ_COUNT) {
            return; // the game has written no more events, or the event is damaged
        }
        _addEvent(process, event, bytes.substr(*done + sizeof(event), event.size - sizeof(event)));
        *done += event.size;
    }
}

// Returns `count` texts, which are separated by NULs. Missing texts are empty.
static std::vector<std::string> splitTexts(const std::string& bytes, size_t count)
{
    std::vector<std::string> texts;
    for (size_t at = 0; at < bytes.size() && texts.size() < count; at += texts.back().size() + 1) {
        texts.emplace_back(bytes.c_str() + at);
    }
    texts.resize(count);
    return texts;
}

// Returns the bytes of a file; an empty text if it is not a regular file or can't be opened.
static std::string bytesOf(const std::string& path)
{
    std::string bytes;
    if (_BkzFileType_s* file = File::open(path.c_str(), "rb")) {
        bytes.resize(File::getLength(file));
        bytes.resize(File::read(&bytes[0], 1, bytes.size(), file));
        File::close(file);
    }
    return bytes;
}

// Finds the file that has the bytes of the text.
template <typename Files>
static void match(const Files& files, ReadText* text)
{
    text->isMatched = true;
    for (auto file = files.rbegin(); file != files.rend(); ++file) {
        std::string bytes = bytesOf(file->path);
        const size_t begin = bytes.find(text->bytes);
        if (begin != std::string::npos) {
            bytes.resize(begin + text->bytes.size());
            text->bytes.swap(bytes);
            text->begin = begin;
            text->path = shownPath(file->asked, file->path);
            text->name = schemaPath(file->asked, file->path);
            return;
        }
    }
}

void GameReads::_addEvent(Process* process, const watch::ReadEvent& event, const std::string& rest)
{
    const std::string bytes = rest.substr(0, event.place); // the paths of READ_FILE, or the piece of READ_TEXT
    if (event.what == watch::READ_FILE) {
        const std::vector<std::string> paths = splitTexts(bytes, 2);
        process->files.push_back({paths[0], paths[1]});
        return;
    }
    ReadText*& text = process->texts[event.text];
    if (event.what == watch::READ_TEXT) {
        if (event.result || !text) {
            m_texts.emplace_back();
            text = &m_texts.back();
        }
        text->bytes += bytes;
        return;
    }
    if (!text) {
        return; // no READ_TEXT came before: the parser began before the events, or it was copied
    }
    if (!text->isMatched) {
        match(process->files, text);
    }
    const size_t place = text->begin + event.place;
    const bool isInside = event.place != watch::sc_noPlace && place <= text->bytes.size();
    const std::vector<std::string> texts = splitTexts(rest, 3);
    text->calls.push_back({static_cast<watch::e_Read>(event.what), event.result != 0,
                           isInside ? place : NO_READ_PLACE, texts[0], strtoul(texts[1].c_str(), nullptr, 10),
                           texts[2]});
}

void GameReads::_addPreference(const Process& process, const std::string& bytes)
{
    watch::PreferenceEvent event;
    memcpy(&event, bytes.data(), std::min(sizeof(event), bytes.size()));
    const std::vector<std::string> texts = splitTexts(bytes.substr(std::min(sizeof(event), bytes.size())), 5);
    const std::string& asked = texts[0];
    const auto file = std::find_if(process.files.rbegin(), process.files.rend(),
                                   [&](const OpenedFile& opened) { return opened.asked == asked; });
    const std::string path = file == process.files.rend() ? "" : file->path;
    m_preferences.push_back({shownPath(asked, path), schemaPath(asked, path), texts[1], texts[2], texts[3], texts[4],
                             event.isNumber != 0, event.hasDefault != 0, event.hasValue != 0, event.isMissing != 0});
}

} // namespace config
