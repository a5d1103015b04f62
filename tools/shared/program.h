// A program of this tree and its command line: commands, options and flags.
//
//     Program program("core-example", "Shows an example.");
//     Command count = program.addCommand("count", "Counts lines");
//     count.addOption("FILE", &files, "The files").required();
//     count.onRun([&] { status = runCount(files); });
//     std::string error;
//     if (!program.run(argc, argv, &error)) { ... }
//
// Only program.cpp includes the header of CLI11, because that header takes the compiler seconds. A Command and an
// Option are handles: a copy stands for the same command or option. They are valid as long as their Program. A
// variable for a value must live until run has returned.
#pragma once

#include <functional>
#include <memory>
#include <stddef.h>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

class Option {
public:
    explicit Option(CLI::Option* option) : m_option(option) {}

    Option required();
    Option needs(Option other);    // is an error without the other option
    Option excludes(Option other); // is an error with the other option
    Option showsDefault();         // the help shows the variable's present value

    // Other values are errors.
    Option oneOf(const std::vector<std::string>& values);
    Option range(int least, int most);
    Option range(double least, double most);
    Option positive();

    bool isGiven() const;

private:
    CLI::Option* m_option;
};

class Command {
public:
    explicit Command(CLI::App* app) : m_app(app) {}

    Command addCommand(const std::string& name, const std::string& what);

    // An option whose name has no dash takes its value from its place on the command line.
    Option addOption(const std::string& names, std::string* value, const std::string& what);
    Option addOption(const std::string& names, std::vector<std::string>* values, const std::string& what);
    Option addOption(const std::string& names, int* value, const std::string& what);
    Option addOption(const std::string& names, unsigned int* value, const std::string& what);
    Option addOption(const std::string& names, double* value, const std::string& what);

    // A flag has no value, or an optional one: "--check{block}" stores "block" for --check and "each" for --check=each.
    Option addFlag(const std::string& names, bool* value, const std::string& what);
    Option addFlag(const std::string& names, std::string* value, const std::string& what);

    void footer(const std::string& text);     // the end of the help
    void onRun(std::function<void()> action); // is called when the command line names this command
    void endsAtPlaces();                      // all words after the first without a dash belong to options by place

protected:
    CLI::App* m_app;
};

class Program : public Command {
public:
    Program(const std::string& program, const std::string& what);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    void version(const std::string& text); // the output of --version
    void needsCommand();                   // a command line without a command is an error

    // Reads the arguments, stores the values and runs the command. Returns false when no command was run: either run
    // has printed the help or the version, and error is empty; or error says what is wrong with the command line.
    bool run(int argc, char** argv, std::string* error);

private:
    std::unique_ptr<CLI::App> m_ownedApp;
};
