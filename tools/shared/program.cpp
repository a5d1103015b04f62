#include "tools/shared/program.h"

#include <CLI/CLI.hpp>

// ---- Options

Option Option::required()
{
    m_option->required();
    return *this;
}

Option Option::needs(Option other)
{
    m_option->needs(other.m_option);
    return *this;
}

Option Option::excludes(Option other)
{
    m_option->excludes(other.m_option);
    return *this;
}

Option Option::showsDefault()
{
    m_option->capture_default_str();
    return *this;
}

Option Option::oneOf(const std::vector<std::string>& values)
{
    m_option->check(CLI::IsMember(values));
    return *this;
}

Option Option::range(int least, int most)
{
    m_option->check(CLI::Range(least, most));
    return *this;
}

Option Option::range(double least, double most)
{
    m_option->check(CLI::Range(least, most));
    return *this;
}

Option Option::positive()
{
    m_option->check(CLI::PositiveNumber);
    return *this;
}

bool Option::isGiven() const
{
    return m_option->count() != 0;
}

// ---- Commands

Command Command::addCommand(const std::string& name, const std::string& what)
{
    return Command(m_app->add_subcommand(name, what));
}

Option Command::addOption(const std::string& names, std::string* value, const std::string& what)
{
    return Option(m_app->add_option(names, *value, what));
}

Option Command::addOption(const std::string& names, std::vector<std::string>* values, const std::string& what)
{
    return Option(m_app->add_option(names, *values, what));
}

Option Command::addOption(const std::string& names, int* value, const std::string& what)
{
    return Option(m_app->add_option(names, *value, what));
}

Option Command::addOption(const std::string& names, unsigned int* value, const std::string& what)
{
    return Option(m_app->add_option(names, *value, what));
}

Option Command::addOption(const std::string& names, double* value, const std::string& what)
{
    return Option(m_app->add_option(names, *value, what));
}

Option Command::addFlag(const std::string& names, bool* value, const std::string& what)
{
    return Option(m_app->add_flag(names, *value, what));
}

Option Command::addFlag(const std::string& names, std::string* value, const std::string& what)
{
    return Option(m_app->add_flag(names, *value, what));
}

void Command::footer(const std::string& text)
{
    m_app->footer(text);
}

void Command::onRun(std::function<void()> action)
{
    m_app->callback(std::move(action));
}

void Command::endsAtPlaces()
{
    m_app->positionals_at_end();
}

// ---- The program

Program::Program(const std::string& program, const std::string& what)
    : Command(nullptr), m_ownedApp(std::make_unique<CLI::App>(what, program))
{
    m_app = m_ownedApp.get();
}

Program::~Program() = default;

void Program::version(const std::string& text)
{
    m_app->set_version_flag("--version", text);
}

void Program::needsCommand()
{
    m_app->require_subcommand(1);
}

bool Program::run(int argc, char** argv, std::string* error)
{
    error->clear();
    try {
        m_app->parse(argc, argv);
    } catch (const CLI::ParseError& caught) {
        if (caught.get_exit_code() == 0) {
            m_app->exit(caught); // prints the help or the version
        } else {
            *error = caught.what();
        }
        return false;
    }
    return true;
}
