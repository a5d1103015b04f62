// core-config: finds what a game misreads in its config files and preferences files.
#include "tools/core-config/command.h"
#include "tools/shared/files.h"

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

static const char sc_description[] =
    "Finds what a game that uses the library core misreads in its config files and preferences files.";

static const char sc_statuses[] =
    "Exit status: 0 all is fine, 1 there are findings, 2 the command line or a schema was not understood,\n"
    "3 a file could not be read or written.";

int main(int argc, char** argv)
{
    CLI::App app(sc_description, "core-config");
    app.footer(sc_statuses);
    app.set_version_flag("--version", "core-config " CORE_VERSION);
    app.require_subcommand(1);
    app.failure_message(CLI::FailureMessage::help);
    int status = TOOL_FINE;
    addCheck(app, &status);
    addLsp(app, &status);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error); // --help and --version
        }
        return complain(TOOL_NOT_UNDERSTOOD,
                        std::string(error.what()) + "; core-config --help explains the commands");
    }
    if (fflush(stdout) != 0) {
        return complain(TOOL_CANT_ACCESS, "the standard output can't be written");
    }
    return status;
}
