#include "tools/core-config/command.h"

#include "tools/shared/files.h"

#include <errno.h>
#include <poll.h>
#include <stdio.h>

int complain(int status, const std::string& message)
{
    fprintf(stderr, "core-config: %s\n", printable(message).c_str());
    return status;
}

int readSchemaFile(const std::string& path, config::Schema* schema)
{
    std::string text;
    std::string error;
    if (path.empty()) {
        return TOOL_FINE;
    }
    if (!readFile(path, &text, &error)) {
        return complain(TOOL_CANT_ACCESS, error);
    }
    if (!config::readSchema(text, schema, &error)) {
        return complain(TOOL_NOT_UNDERSTOOD, path + ':' + error);
    }
    return TOOL_FINE;
}

// Returns true if the game has ended. Waits for its end for a moment, so that its complaints are printed soon. Returns
// true, too, if the system does not tell whether the game has ended.
static bool hasEnded(const StartedGame& game)
{
    static const int sc_pause = 50; // milliseconds
    pollfd end = {game.end(), POLLIN, 0};
    const int ready = poll(&end, 1, sc_pause);
    return ready > 0 || (ready < 0 && errno != EINTR);
}

int playGame(const std::vector<std::string>& command, config::GameReads* reads, StartedGame* game,
             const std::function<void()>& onReads)
{
    Journal journal;
    std::string error;
    const std::string library = watchLibraryPath(command, &error);
    if (library.empty()) {
        return complain(TOOL_CANT_ACCESS, error);
    }
    if (!journal.create(&error)) {
        return complain(TOOL_CANT_ACCESS, error);
    }
    GameVariables variables = watchVariables(library);
    variables.emplace_back("CORE_WATCH_JOURNAL", journal.path());
    variables.emplace_back("CORE_WATCH_EVENTS", "reads");
    if (!game->start(command, variables, &error)) {
        return complain(TOOL_CANT_ACCESS, error);
    }
    JournalContent content;
    for (bool isOver = false; !isOver;) {
        isOver = hasEnded(*game);
        if (isOver) {
            game->wait(); // so that the journal has all that the game reads
        }
        content = journal.read();
        reads->add(content);
        onReads();
    }
    const std::string trouble = troubleOf(content);
    if (!trouble.empty()) {
        complain(TOOL_FINE, trouble);
    }
    return content.isUnread ? TOOL_CANT_ACCESS : TOOL_FINE;
}
