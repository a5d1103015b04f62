// 1. The journal contains return addresses. The source places are looked up in the files of the program and its
//    libraries after the game has ended, so it does not matter how the game ends.
// 2. If the table had to add a text, the text counts as not translated, also in later calls, which find the added
//    entry.
#include "tools/core-strings/playedgame.h"

#include "tools/core-strings/commands.h"
#include "tools/core-strings/texts.h"
#include "tools/shared/codeplace.h"

#include <algorithm>
#include <limits.h>
#include <set>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static std::string hexadecimal(uint64_t number)
{
    char text[32];
    snprintf(text, sizeof(text), "+0x%llx", static_cast<unsigned long long>(number));
    return text;
}

// Returns the name of a function without its result, parameters and arguments of templates: "Menu::draw" for
// "void (anonymous namespace)::Menu::draw<int>(int)". A place is one word.
static std::string shortName(const std::string& function)
{
    static const std::string sc_anonymous = "(anonymous namespace)::";
    std::string name;
    int depth = 0;
    for (size_t at = 0; at < function.size(); ++at) {
        if (function.compare(at, sc_anonymous.size(), sc_anonymous) == 0) {
            at += sc_anonymous.size() - 1;
        } else if (depth == 0 && function[at] == '(') {
            break;
        } else if (function[at] == '<' || function[at] == '>') {
            depth += function[at] == '<' ? 1 : -1;
        } else if (depth == 0) {
            name += function[at];
        }
    }
    return name.substr(name.rfind(' ') + 1);
}

// Returns the path of the folder with a slash at its end.
static std::string rootFolder(const std::string& folder)
{
    char buffer[PATH_MAX];
    const std::string root = realpath(folder.empty() ? "." : folder.c_str(), buffer) ? buffer : folder;
    return root.empty() || root.back() == '/' ? root : root + "/";
}

std::string pathFrom(const std::string& root, const std::string& path)
{
    char buffer[PATH_MAX];
    const std::string whole = realpath(path.c_str(), buffer) ? buffer : path;
    const std::string folder = rootFolder(root);
    return !folder.empty() && whole.compare(0, folder.size(), folder) == 0 ? whole.substr(folder.size()) : whole;
}

// Returns a path as one word, which has no blanks.
static std::string oneWord(std::string path)
{
    for (size_t at; (at = path.find_first_of(" \t\n")) != std::string::npos;) {
        path.replace(at, 1, "%20");
    }
    return path;
}

static std::string textOf(const CodePlace& place, const std::string& root)
{
    if (!place.source.empty()) {
        return oneWord(pathFrom(root, place.source)) + ":" + std::to_string(place.line);
    }
    const std::string name = shortName(place.function);
    return name.empty() ? oneWord(place.module.substr(place.module.rfind('/') + 1)) + hexadecimal(place.moduleOffset)
                        : name + hexadecimal(place.functionOffset);
}

namespace {
// Adds the events of the journal to the texts.
class Reader {
public:
    Reader(const JournalContent& content, const PlayOptions& options, AskedTexts* texts)
        : m_content(content), m_options(options), m_texts(texts)
    {
    }

    void run()
    {
        for (const JournalEvent& event : m_content.events) {
            if (event.kind == watch::JOURNAL_MODULE) {
                _addModule(event);
            } else if (event.kind == watch::JOURNAL_STRINGS_FILE) {
                _addFile(event);
            } else if (event.kind == watch::JOURNAL_TEXT) {
                _noteAdded(event);
            }
        }
        for (const JournalEvent& event : m_content.events) {
            if (event.kind == watch::JOURNAL_TEXT) {
                _addText(event);
            }
        }
    }

private:
    struct Call {
        watch::JournalText head = {};
        std::string language;
        std::string text;
    };

    static bool _readCall(const JournalEvent& event, Call* call);
    void _addModule(const JournalEvent& event);
    void _addFile(const JournalEvent& event);
    void _noteAdded(const JournalEvent& event);
    void _addText(const JournalEvent& event);
    e_Asked _resultOf(const JournalEvent& event, const Call& call) const;
    std::string _placeOf(uint32_t process, const watch::JournalText& call);
    const std::vector<CodePlace>& _placesOf(uint32_t process, uint64_t caller);
    bool _passesOn(const CodePlace& place) const;

    const JournalContent& m_content;
    const PlayOptions& m_options;
    AskedTexts* m_texts;
    ProgramFiles m_files;
    std::map<uint32_t, std::map<uint64_t, std::string>> m_modules;            // paths by process and first address
    std::map<std::pair<uint32_t, uint64_t>, std::vector<CodePlace>> m_places; // by process and return address
    std::map<std::pair<uint32_t, uint32_t>, std::set<std::string>> m_added;   // keys by process and table
};
} // namespace

// Returns the text from a place up to its NUL, and moves the place behind it.
static std::string nextText(const std::string& bytes, size_t* place)
{
    const size_t begin = std::min(*place, bytes.size());
    const size_t end = std::min(bytes.find('\0', begin), bytes.size());
    *place = end + 1;
    return bytes.substr(begin, end - begin);
}

bool Reader::_readCall(const JournalEvent& event, Call* call)
{
    if (event.bytes.size() < sizeof(call->head)) {
        return false;
    }
    memcpy(&call->head, event.bytes.data(), sizeof(call->head));
    size_t place = sizeof(call->head);
    call->language = nextText(event.bytes, &place);
    call->text = nextText(event.bytes, &place);
    return true;
}

void Reader::_addModule(const JournalEvent& event)
{
    watch::JournalModule module;
    if (event.bytes.size() >= sizeof(module)) {
        memcpy(&module, event.bytes.data(), sizeof(module));
        size_t place = sizeof(module);
        m_modules[event.process][module.begin] = nextText(event.bytes, &place);
    }
}

void Reader::_addFile(const JournalEvent& event)
{
    LoadedFile file;
    size_t place = 0;
    file.language = nextText(event.bytes, &place);
    file.asked = nextText(event.bytes, &place);
    file.path = nextText(event.bytes, &place);
    m_texts->files.push_back(file);
}

void Reader::_noteAdded(const JournalEvent& event)
{
    Call call;
    if (_readCall(event, &call) && call.head.answer == watch::TEXT_ADDED) {
        m_added[{event.process, call.head.table}].insert(foldCase(call.text));
    }
}

// A text that the table has added stays untranslated, also after a file was loaded: the table finds the older entry.
e_Asked Reader::_resultOf(const JournalEvent& event, const Call& call) const
{
    if (call.head.answer == watch::TEXT_REFUSED) {
        return call.head.length > 127 ? ASKED_TOO_LONG : ASKED_NO_ROOM;
    }
    const auto added = m_added.find({event.process, call.head.table});
    if (added != m_added.end() && added->second.count(foldCase(call.text))) {
        return ASKED_UNTRANSLATED;
    }
    return call.head.answer == watch::TEXT_TRANSLATED ? ASKED_TRANSLATED : ASKED_UNCHANGED;
}

void Reader::_addText(const JournalEvent& event)
{
    Call call;
    if (!_readCall(event, &call)) {
        return;
    }
    AskedText& text = (*m_texts)[call.text];
    text.add(call.language, _resultOf(event, call), event.count);
    const std::string place = _placeOf(event.process, call.head);
    if (!place.empty()) {
        text.addPlace(place, event.count);
    }
}

const std::vector<CodePlace>& Reader::_placesOf(uint32_t process, uint64_t caller)
{
    std::vector<CodePlace>& places = m_places[{process, caller}];
    const std::map<uint64_t, std::string>& modules = m_modules[process];
    const auto after = modules.upper_bound(caller);
    if (places.empty() && after != modules.begin()) {
        const auto& module = *std::prev(after);
        places = m_files.placesIn(module.second, caller - 1 - module.first);
    }
    return places;
}

// True for a function of --through. The name may be given without its classes.
bool Reader::_passesOn(const CodePlace& place) const
{
    const std::string name = shortName(place.function);
    return std::any_of(m_options.through.begin(), m_options.through.end(), [&](const std::string& through) {
        const std::string last = "::" + through;
        return name == through ||
               (name.size() > last.size() && name.compare(name.size() - last.size(), last.size(), last) == 0);
    });
}

// Returns the innermost place whose function does not just pass the text on (--through). If all functions pass it on,
// returns the outermost known place.
std::string Reader::_placeOf(uint32_t process, const watch::JournalText& call)
{
    std::string result;
    for (const uint64_t caller : call.callers) {
        if (caller == 0) {
            break;
        }
        for (const CodePlace& place : _placesOf(process, caller)) {
            result = textOf(place, m_options.root);
            if (!_passesOn(place)) {
                return result;
            }
        }
    }
    return result;
}

void addJournal(const JournalContent& content, const PlayOptions& options, AskedTexts* texts)
{
    Reader(content, options, texts).run();
}

int playGame(const PlayOptions& options, AskedTexts* texts, StartedGame* game)
{
    Journal journal;
    std::string error;
    const std::string library = watchLibraryPath(options.command, &error);
    if (library.empty()) {
        return complain(TOOL_CANT_ACCESS, error);
    }
    if (!journal.create(&error)) {
        return complain(TOOL_CANT_ACCESS, error);
    }
    GameVariables variables = watchVariables(library);
    variables.emplace_back("CORE_WATCH_JOURNAL", journal.path());
    variables.emplace_back("CORE_WATCH_EVENTS", "strings");
    if (!options.through.empty()) {
        variables.emplace_back("CORE_WATCH_CALLERS", std::to_string(watch::sc_journalCallers));
    }
    const int output = options.outputIsOurs ? STDERR_FILENO : STDOUT_FILENO;
    if (!game->start(options.command, variables, &error, output)) {
        return complain(TOOL_CANT_ACCESS, error);
    }
    game->wait();
    const JournalContent content = journal.read();
    const std::string trouble = troubleOf(content);
    if (!trouble.empty()) {
        complain(TOOL_CANT_ACCESS, trouble);
    }
    if (content.isUnread) {
        return TOOL_CANT_ACCESS;
    }
    addJournal(content, options, texts);
    return TOOL_FINE;
}
