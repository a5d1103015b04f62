// Any commands and any arguments.
//
// An input is words with NULs between them. The first byte says how many of them name commands, each with two more
// bytes in front for what it requires and what it allows; the rest are the arguments. A word "\1" is a null.
#include "core/commandline.h"

#include "tests/fuzz/observe.h"

#include <memory>
#include <stdlib.h>
#include <vector>

// The table of commands, which is private: an explicit instantiation may name private members.
template <CommandEntry_s* CommandLine::*FIELD>
struct Opened {
    friend CommandEntry_s* commandsOf(CommandLine& commandLine) { return commandLine.*FIELD; }
};
CommandEntry_s* commandsOf(CommandLine& commandLine);
template struct Opened<&CommandLine::m_commands>;

// Makes the table as it is when a game starts: all command lines share it, and an input must not see the input before.
static void emptyTable(CommandLine& commandLine)
{
    CommandEntry_s* const commands = commandsOf(commandLine);
    memset(commands + 1, 0, 31 * sizeof(CommandEntry_s));
    commands->present = commands->index = commands->found = 0;
}

static std::vector<std::string> wordsOf(const uint8_t* data, size_t size)
{
    std::vector<std::string> words{""};
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == '\0') {
            words.push_back("");
        } else {
            words.back() += static_cast<char>(data[i]);
        }
    }
    return words;
}

// Small counts mostly, and now and then one at the edge.
static int countFrom(char byte)
{
    static const int sc_edges[] = {-1, 0x7fffffff, -0x7fffffff - 1, 0x7ffffffe};
    const unsigned int value = static_cast<unsigned char>(byte);
    return value < 'w' ? static_cast<int>(value % 4) : sc_edges[value % 4];
}

// What was found lies inside the arguments, begins with the switch and has no sign or null further on.
static void check(CommandLine& commandLine, const std::string& name, int size, char** words)
{
    int count = -1;
    char** args = nullptr;
    if (!commandLine.getArgs(name.c_str(), &count, &args) || !commandLine.cmdExists(name.c_str())) {
        return;
    }
    observeNumber(args - words);
    observeNumber(count);
    if (args <= words || count < 1 || args + count > words + size || name != args[0]) {
        abort();
    }
    for (int i = 1; i < count; ++i) {
        if (!args[i] || args[i][0] == '-' || args[i][0] == '+') {
            abort();
        }
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0) {
        return 0;
    }
    std::vector<std::string> words = wordsOf(data + 1, size - 1);
    std::vector<std::string> names;
    CommandLine commandLine;
    emptyTable(commandLine);
    for (unsigned int left = data[0] % 34u; left > 0 && !words.empty(); --left) {
        const std::string word = words.front();
        words.erase(words.begin());
        if (word.size() >= 2 && commandLine.addCommand(word.c_str() + 2, countFrom(word[0]), countFrom(word[1]))) {
            names.push_back(word.substr(2, 31)); // cut as the table cuts it
        }
    }

    // Blocks of exactly their sizes; the program's name is no word of the input's.
    std::unique_ptr<char*[]> args(new char*[words.size() + 1]);
    args[0] = nullptr;
    for (size_t i = 0; i < words.size(); ++i) {
        args[i + 1] = words[i] == "\1" ? nullptr : strdup(words[i].c_str());
    }
    const int count = static_cast<int>(words.size() + 1);
    commandLine.init(count, args.get());
    for (const std::string& name : names) {
        check(commandLine, name, count, args.get());
    }
    for (const std::string& word : words) {
        int found = -1;
        char** list = args.get();
        if (!commandLine.getArgs(word.c_str(), &found, &list) && (found != 0 || list)) {
            abort();
        }
    }
    for (int i = 1; i < count; ++i) {
        free(args[i]);
    }
    return 0;
}
