// What a game has read from its files, taken from the journal of libcorewatch.so.
//
//     GameReads reads;
//     reads.add(journal.read());                         // again and again, also while the game runs
//     for (const ReadText& text : reads.texts()) { ... } // each text that a parser read, with its calls in their order
//
// To find the file of a text, the bytes are compared: it is the last file that the game has opened and that contains
// the bytes of the text.
#pragma once

#include "tools/shared/journal.h"
#include "watch/reads.h"

#include <deque>
#include <map>
#include <set>
#include <stdint.h>
#include <string>
#include <vector>

namespace config {

// A call of one of the library's readers.
struct ReadCall {
    watch::e_Read what;
    bool result;
    size_t place; // in the bytes of the text; NO_READ_PLACE: none
    std::string name;
    size_t room;       // of a text: bytes that the game has for it, with the NUL; else 0
    std::string value; // if the line does not have the name: the value of the game's variable
};

static const size_t NO_READ_PLACE = ~size_t(0);

struct ReadText {
    std::string
        path; // for messages: below the current folder, or the path in the game's call. Empty: no file has the text
    std::string name;       // of the file in a schema: see schemaPath
    std::string bytes;      // the file's bytes up to the text's end; only the text if no file has it
    size_t begin = 0;       // of the text in bytes
    bool isMatched = false; // the file was searched for, perhaps without success
    std::vector<ReadCall> calls;
};

// A call of Preferences::read or ReadKey.
struct ReadPreference {
    std::string path; // as above
    std::string name;
    std::string section;
    std::string key;
    std::string defaultText;
    std::string value;
    bool isNumber;
    bool hasDefault;
    bool hasValue;
    bool isMissing; // the file can't be opened
};

class GameReads {
public:
    // Adds the events that are new since the last call. content has all events of the journal so far.
    void add(const JournalContent& content);

    const std::deque<ReadText>& texts() const { return m_texts; } // also texts without calls
    const std::vector<ReadPreference>& preferences() const { return m_preferences; }

private:
    struct OpenedFile {
        std::string asked;
        std::string path; // absolute
    };
    struct Process {
        std::vector<size_t> done; // bytes of each of its blocks
        std::vector<OpenedFile> files;
        std::map<uint64_t, ReadText*> texts; // by their address
    };

    void _addBlock(Process* process, const std::string& bytes, size_t* done);
    void _addEvent(Process* process, const watch::ReadEvent& event, const std::string& rest);
    void _addPreference(const Process& process, const std::string& bytes);

    std::deque<ReadText> m_texts;
    std::map<uint32_t, Process> m_processes;
    std::vector<ReadPreference> m_preferences;
    std::set<std::string> m_preferenceEvents;
};

// Returns the path by which a schema names a file. The path is the same on each machine: it begins at the folder
// Game, or else at the current folder; or else it is the file's name and its folder.
std::string schemaPath(const std::string& asked, const std::string& path);

} // namespace config
