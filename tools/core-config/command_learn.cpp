// core-config learn: writes down what a game asks its files for.
#include "tools/core-config/command.h"
#include "tools/core-config/learn.h"
#include "tools/shared/files.h"

#include <sys/wait.h>
#include <unistd.h>

// Reads the schema that is to be extended. A file that does not exist yet is an empty schema.
static int readOldSchema(const std::string& path, config::Schema* schema)
{
    const bool isNew = access(path.c_str(), F_OK) != 0;
    return isNew ? TOOL_FINE : readSchemaFile(path, schema);
}

// Tells the texts that are left out, because no file has their bytes.
static void tellUnknownTexts(const config::GameReads& reads)
{
    for (const config::ReadText& text : reads.texts()) {
        if (text.path.empty() && !text.calls.empty()) {
            complain(TOOL_FINE, "left out: a text of " + std::to_string(text.bytes.size()) +
                                    " bytes that is no part of a file that the game has opened");
        }
    }
}

// Tells that the game has failed, so that the status of learn is not taken for a failure of learn itself.
static void tellFailure(const StartedGame& game)
{
    const int status = game.waitStatus();
    if (!game.isEndKnown()) {
        return; // wait has told it
    }
    if (WIFSIGNALED(status)) {
        complain(TOOL_FINE, "a signal has ended the game: " + std::to_string(WTERMSIG(status)));
    } else if (WEXITSTATUS(status) != 0) {
        complain(TOOL_FINE, "the game has ended with status " + std::to_string(WEXITSTATUS(status)));
    }
}

int runLearn(const LearnCommand& options)
{
    config::Schema schema;
    config::GameReads reads;
    StartedGame game;
    if (const int status = readOldSchema(options.schema, &schema)) {
        return status; // before the game is played
    }
    if (const int status = playGame(options.command, &reads, &game, [] {})) {
        return status;
    }
    tellFailure(game);
    tellUnknownTexts(reads);
    const config::Learnt learnt = config::learn(reads, &schema);
    if (learnt.files == 0) {
        return complain(TOOL_FOUND, "the game has read no file by the library's Parser or Preferences, so there is "
                                    "nothing to write; core-doctor GAME says whether the game loads the library");
    }
    std::string error;
    if (!replaceFile(options.schema, config::writeSchema(schema), &error)) {
        return complain(TOOL_CANT_ACCESS, error);
    }
    fprintf(stderr, "%s: the game has read %s and asked for %s; new in the schema: %zu\n",
            printable(options.schema).c_str(), config::counted(learnt.files, "file").c_str(),
            config::counted(learnt.names, "name").c_str(), learnt.newNames);
    return game.endAsTheGame();
}
