// Finding the registered switches among the arguments.
//
// 1. The table ends before the first entry with an empty name, or after its 32nd entry.
// 2. When the switch of an entry is found with all its required arguments, present becomes 1. It remains 1 until
//    addCommand overwrites the entry. An entry whose present is 1 does not match again.
// 3. required is never negative. Only args[0] to args[m_argCount - 1] are read.
#include "core/commandline.h"

#include <assert.h>
#include <string.h>

static const int sc_maxCommands = 32;

static CommandEntry_s s_commandArgs[sc_maxCommands] = {{"-logger", 0, 0, 0, 0, 0}};

// Returns the first entry with that name, beginning at entry; null if there is none.
static CommandEntry_s* findCommand(CommandEntry_s* entry, const char* name)
{
    const CommandEntry_s* end = s_commandArgs + sc_maxCommands;
    for (; name && entry < end && entry->name[0] != '\0'; ++entry) {
        if (strcmp(entry->name, name) == 0) {
            return entry;
        }
    }
    return nullptr;
}

static bool isArgument(const char* word)
{
    return word && word[0] != '-' && word[0] != '+';
}

CommandLine::CommandLine() : m_args(nullptr), m_argCount(0), m_commands(s_commandArgs), m_commandCount(1)
{
}

CommandLine::~CommandLine()
{
}

bool CommandLine::addCommand(const char* name, int required, int optional)
{
    if (!name || m_commandCount == sc_maxCommands) {
        return false;
    }
    CommandEntry_s& entry = m_commands[m_commandCount++];
    entry = CommandEntry_s();
    strncpy(entry.name, name, sizeof(entry.name) - 1);
    entry.required = required < 0 ? 0 : required;
    entry.optional = optional;
    return true;
}

void CommandLine::init(int count, char** args)
{
    m_args = args;
    m_argCount = args ? count : 0;
    _parseCmdLine();
}

void CommandLine::_parseCmdLine()
{
    int position = 1;
    while (position < m_argCount) {
        CommandEntry_s* entry = findCommand(m_commands, m_args[position]);
        while (entry && entry->present) {
            entry = findCommand(entry + 1, m_args[position]);
        }
        position = entry ? _processCmd(entry, position) : position + 1;
    }
}

// Takes the arguments of the switch at position. Returns the position of the next word to examine.
int CommandLine::_processCmd(CommandEntry_s* entry, int position)
{
    const int required = entry->required;
    assert(required >= 0 && "3: required is never negative");
    for (int k = 1; k <= required; ++k) {
        const int word = position + k;
        if (word == m_argCount || !isArgument(m_args[word])) {
            return word; // a required argument is missing; word may be another switch
        }
    }
    entry->present = 1;
    entry->index = position;
    entry->found = 0;

    // Deliberate: as many words at the end of the command line as the switch requires are never its optional
    // arguments.
    int word = position + required + 1;
    while (entry->found < entry->optional && word < m_argCount - required && isArgument(m_args[word])) {
        ++entry->found;
        ++word;
    }
    assert(word <= m_argCount && "3: only args[0] to args[m_argCount - 1] are read");
    return word;
}

bool CommandLine::cmdExists(const char* name)
{
    const CommandEntry_s* entry = findCommand(m_commands, name);
    return entry && entry->present;
}

bool CommandLine::getArgs(const char* name, int* count, char*** args)
{
    const CommandEntry_s* entry = findCommand(m_commands, name);
    // The table is shared, so the index may come from another CommandLine and be too large for this argument vector.
    const bool inside = entry && m_args && entry->index <= m_argCount;
    if (count) {
        *count = entry ? static_cast<int>(entry->required + entry->found + 1u) : 0; // 1u: required can be INT_MAX
    }
    if (args) {
        *args = inside ? m_args + entry->index : nullptr;
    }
    return entry != nullptr;
}
