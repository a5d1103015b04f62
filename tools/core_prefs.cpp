// core-prefs: shows and changes the preferences store from the shell. `core-prefs --help` lists the commands.
//
// core-prefs locks, reads and writes the store in the same way as a game, so it may run while a game runs. When
// core-prefs cannot read a store, it prints an error and does not change any byte of the store.
#include "logger/printable.h"
#include "macapi/src/objects/encoding.h"
#include "macapi/src/objects/plist.h"
#include "macapi/src/preferences/preferences_store.h"
#include "tools/store_check.h"

#include <getopt.h>

#include <algorithm>
#include <charconv>
#include <errno.h>
#include <exception>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <unistd.h>
#include <vector>

using namespace macapi;

// Exit statuses of the process.
static const int sc_done = 0;
static const int sc_nothingThere = 1;  // the key or the store does not exist
static const int sc_notUnderstood = 2; // the command line is wrong
static const int sc_notReadable = 3;   // the store is damaged or can't be read
static const int sc_notWritten = 4;    // the store or the output can't be written

static const char sc_help[] =
    R"(usage: core-prefs (-a NAME | -g) [-m] [-c] COMMAND [ARGUMENT]...
Shows and changes the preferences that games store with core.

Whose preferences:
  -a, --application NAME   the bundle's identifier, or else the executable's name
  -g, --any-application    the preferences that all applications share
  -m, --machine            those of the whole machine; without -m, the user's
  -c, --current-host       those for this host only; without -c, for any host

Commands:
  list                     all keys, with the types and values
  read KEY                 prints the value of a key, without its type
  write KEY VALUE          stores a text
  write KEY -TYPE VALUE    stores a value; TYPE is string, int, real or bool
  delete KEY               removes a key and its value
  check                    prints the store's path and says if it can be read
  export                   prints the whole store as a property list

A key of Preferences is SECTION/KEY, and its numbers are texts, too: write them without
-int, or the game does not see them (core-prefs stores them and says so). A key of Platform's settings is KEY alone.
Texts are UTF-8. The variables MACAPI_USER_LIBRARY and MACAPI_LIBRARY, when set,
name the user's and the machine's Library folder.

Examples:
  core-prefs -a game list
  core-prefs -a game write Video/mode "wide screen"
  core-prefs -a game write Video/width 640
  core-prefs -a game write width -int 640
  core-prefs -a game export > game.plist
  core-prefs -gmc read "Ostrel Works/game"    # the mark of RegInitSecureKey

Exit status: 0 success, 1 the key or the store does not exist, 2 wrong command
line, 3 the store can't be read, 4 the store or the output can't be written.
)";

[[noreturn]] static void fail(int status, const std::string& message)
{
    fflush(stdout);
    fprintf(stderr, "core-prefs: %s\n", printable(message, Lines::Escape).c_str());
    exit(status);
}

[[noreturn]] static void failUnderstanding(const std::string& message)
{
    fail(sc_notUnderstood, message + "; see core-prefs --help");
}

// Returns the word. Ends the program when the word is not UTF-8, because all texts in the store are.
static std::string checkedText(const char* word)
{
    if (!decode(word, kCFStringEncodingUTF8)) {
        failUnderstanding("\"" + std::string(word) + "\" is not UTF-8");
    }
    return word;
}

// ---- The store

// Returns the check of the domain's file. Ends the program when the file is damaged or cannot be read.
static StoreCheck readableStore(const PreferencesDomain& domain)
{
    StoreCheck store = checkStore(domain);
    if (store.file.empty()) {
        failUnderstanding("there is no such store");
    }
    if (store.state == PreferencesState::Damaged) {
        fail(sc_notReadable, store.file + ": " + store.text +
                                 ". core-prefs does not change it; a game would set it aside and use its copy");
    }
    if (store.state == PreferencesState::Unreadable) {
        fail(sc_notReadable, store.file + ": " + store.text);
    }
    return store;
}

// The same. Ends the program also when the file does not exist.
static StoreCheck existingStore(const PreferencesDomain& domain)
{
    StoreCheck store = readableStore(domain);
    if (store.state == PreferencesState::Missing) {
        fail(sc_nothingThere, store.file + ": " + store.text);
    }
    return store;
}

static Ref<__CFDictionary> allValues(const PreferencesDomain& domain)
{
    return std::move(existingStore(domain).values);
}

static void change(const PreferencesDomain& domain, const std::string& key, Ref<Object> value)
{
    setPreference(domain, key, std::move(value));
    if (!synchronizePreferences(domain)) {
        fail(sc_notWritten, preferencesFile(domain) + ": can't be written");
    }
}

// ---- Values and texts

static std::string numberText(const __CFNumber& number)
{
    if (!number.isReal) {
        return (number.negative ? "-" : "") + std::to_string(number.magnitude);
    }
    char digits[32];
    return std::string(digits, std::to_chars(digits, digits + sizeof(digits), number.real).ptr);
}

static std::string plistText(const Object& value)
{
    std::string text;
    writePlist(value, &text);
    return text;
}

struct Description {
    std::string type;
    std::string value;
};

static Description describe(const Object& value)
{
    switch (value.kind) {
    case Kind::String:
        return {"string", static_cast<const __CFString&>(value).text};
    case Kind::Number: {
        const __CFNumber& number = static_cast<const __CFNumber&>(value);
        return {number.isReal ? "real" : "int", numberText(number)};
    }
    case Kind::Boolean:
        return {"bool", static_cast<const __CFBoolean&>(value).value ? "true" : "false"};
    case Kind::Date:
        return {"date", static_cast<const __CFDate&>(value).text};
    case Kind::Data:
        return {"data", std::to_string(static_cast<const __CFData&>(value).bytes.size()) + " bytes"};
    case Kind::Array:
        return {"array", std::to_string(static_cast<const __CFArray&>(value).items.size()) + " items"};
    case Kind::Dictionary:
        return {"dictionary", std::to_string(static_cast<const __CFDictionary&>(value).entries.size()) + " entries"};
    default:
        return {"unknown", ""};
    }
}

// Returns the value; null when the text is not a value of that type.
static Ref<Object> makeValue(const std::string& type, const std::string& text)
{
    const char* end = text.data() + text.size();
    if (type == "-string") {
        return make<__CFString>(text);
    }
    if (type == "-int") {
        int64_t number;
        const auto [last, error] = std::from_chars(text.data(), end, number);
        return last == end && error == std::errc() ? makeInteger(number) : nullptr;
    }
    if (type == "-real") {
        double number;
        const auto [last, error] = std::from_chars(text.data(), end, number);
        return last == end && error == std::errc() ? make<__CFNumber>(number) : nullptr;
    }
    if (type == "-bool") {
        const bool yes = text == "true" || text == "yes";
        return yes || text == "false" || text == "no" ? makeBoolean(yes) : nullptr;
    }
    failUnderstanding("\"" + type + "\" is not a type");
}

// ---- The commands
//
// findCommand has checked the number of words before a command runs.

typedef std::vector<std::string> Words;

static size_t characterCount(const std::string& text)
{
    return static_cast<size_t>(
        std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xc0) != 0x80; }));
}

// Prints all bytes unchanged for a script. For a terminal, replaces control characters.
static void print(const std::string& text)
{
    const std::string shown = isatty(STDOUT_FILENO) ? printable(text, Lines::Keep) : text;
    fwrite(shown.data(), 1, shown.size(), stdout);
}

static void list(const PreferencesDomain& domain, const Words&)
{
    const Ref<__CFDictionary> values = allValues(domain);
    size_t width = 0;
    for (const auto& [key, value] : values->entries) {
        width = std::max(width, std::min<size_t>(40, characterCount(printable(key, Lines::Escape))));
    }
    for (const auto& [key, value] : values->entries) {
        const std::string name = printable(key, Lines::Escape);
        const size_t gap = width - std::min(width, characterCount(name));
        const Description description = describe(*value);
        printf("%s%*s  %-6s  %s\n", name.c_str(), static_cast<int>(gap), "", description.type.c_str(),
               printable(description.value, Lines::Escape).c_str());
    }
}

static void read(const PreferencesDomain& domain, const Words& words)
{
    const Ref<__CFDictionary> values = allValues(domain);
    const Object* value = values->find(words[0]);
    if (!value) {
        fail(sc_nothingThere, "there is no \"" + words[0] + "\" in " + preferencesFile(domain));
    }
    const bool isPlain = value->kind != Kind::Data && value->kind != Kind::Array && value->kind != Kind::Dictionary;
    print(isPlain ? describe(*value).value + "\n" : plistText(*value));
}

static void write(const PreferencesDomain& domain, const Words& words)
{
    const std::string type = words.size() == 3 ? words[1] : "-string";
    Ref<Object> value = makeValue(type, words.back());
    if (!value) {
        failUnderstanding("\"" + words.back() + "\" is not of type " + type.substr(1));
    }
    readableStore(domain);
    change(domain, words[0], std::move(value));
    if (type != "-string" && words[0].find('/') != std::string::npos) {
        const std::string key = printable(words[0], Lines::Escape);
        fprintf(stderr,
                "core-prefs: a game that reads %s with Preferences does not see this value; write it without %s\n",
                key.c_str(), type.c_str());
    }
}

static void erase(const PreferencesDomain& domain, const Words& words)
{
    if (!allValues(domain)->find(words[0])) {
        fail(sc_nothingThere, "there is no \"" + words[0] + "\" in " + preferencesFile(domain));
    }
    change(domain, words[0], nullptr);
}

static void check(const PreferencesDomain& domain, const Words&)
{
    const StoreCheck store = existingStore(domain);
    printf("%s: %s\n", printable(store.file, Lines::Escape).c_str(), store.text.c_str());
}

static void exportAll(const PreferencesDomain& domain, const Words&)
{
    print(plistText(*allValues(domain)));
}

static const struct Command {
    const char* name;
    const char* arguments;
    size_t least, most; // arguments
    void (*run)(const PreferencesDomain& domain, const Words& words);
} sc_commands[] = {
    {"list", "", 0, 0, list},
    {"read", " KEY", 1, 1, read},
    {"write", " KEY [-string|-int|-real|-bool] VALUE", 2, 3, write},
    {"delete", " KEY", 1, 1, erase},
    {"check", "", 0, 0, check},
    {"export", "", 0, 0, exportAll},
};

static const Command& findCommand(const std::string& name, size_t arguments)
{
    for (const Command& command : sc_commands) {
        if (name != command.name) {
            continue;
        }
        if (arguments < command.least || arguments > command.most) {
            failUnderstanding("the form is \"" + name + command.arguments + "\"");
        }
        return command;
    }
    failUnderstanding("\"" + name + "\" is not a command");
}

// Ends the program with sc_done, or with sc_notWritten when the output could not be written completely. A script must
// not use an incomplete output.
[[noreturn]] static void finish()
{
    if (fflush(stdout) != 0 || ferror(stdout)) {
        fail(sc_notWritten, std::string("the output can't be written: ") + strerror(errno));
    }
    exit(sc_done);
}

static PreferencesDomain parseOptions(int argc, char** argv)
{
    static const option sc_options[] = {{"application", required_argument, nullptr, 'a'},
                                        {"any-application", no_argument, nullptr, 'g'},
                                        {"machine", no_argument, nullptr, 'm'},
                                        {"current-host", no_argument, nullptr, 'c'},
                                        {"help", no_argument, nullptr, 'h'},
                                        {}};
    PreferencesDomain domain = {"", PreferencesUser::Current, PreferencesHost::Any};
    int letter;
    while ((letter = getopt_long(argc, argv, "+a:gmch", sc_options, nullptr)) != -1) {
        switch (letter) {
        case 'a':
            domain.application = checkedText(optarg);
            break;
        case 'g':
            domain.application = sc_anyApplication;
            break;
        case 'm':
            domain.user = PreferencesUser::Any;
            break;
        case 'c':
            domain.host = PreferencesHost::Current;
            break;
        case 'h':
            fputs(sc_help, stdout);
            finish();
        default:
            fputs("see core-prefs --help\n", stderr); // getopt_long has printed the reason
            exit(sc_notUnderstood);
        }
    }
    return domain;
}

[[noreturn]] static void runProgram(int argc, char** argv)
{
    const PreferencesDomain domain = parseOptions(argc, argv);
    Words words;
    for (int i = optind; i < argc; ++i) {
        words.push_back(checkedText(argv[i]));
    }
    if (words.empty()) {
        failUnderstanding("a command is missing");
    }
    const std::string name = words.front();
    words.erase(words.begin());
    const Command& command = findCommand(name, words.size());
    if (domain.application.empty()) {
        failUnderstanding("whose preferences? Give -a NAME or -g");
    }
    command.run(domain, words);
    finish();
}

int main(int argc, char** argv)
{
    try {
        runProgram(argc, argv);
    } catch (const std::exception& error) { // no memory
        fprintf(stderr, "core-prefs: %s\n", error.what());
        return sc_notReadable;
    }
}
