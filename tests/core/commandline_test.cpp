#include "core/commandline.h"

#include "tests/support/game_memory.h"

#include <limits.h>
#include <random>
#include <type_traits>

// An argument vector that ends where it ends: there is no null behind it, and a word is as long as it is.
class Arguments {
public:
    Arguments(std::initializer_list<const char*> words) : Arguments(std::vector<const char*>(words)) {}
    explicit Arguments(const std::vector<const char*>& words)
    {
        for (const char* word : words) {
            m_words.push_back(word ? strdup(word) : nullptr);
        }
    }
    ~Arguments()
    {
        for (char* word : m_words) {
            free(word);
        }
    }
    Arguments(const Arguments&) = delete;

    int count() const { return static_cast<int>(m_words.size()); }
    char** vector() { return m_words.data(); }

private:
    std::vector<char*> m_words;
};

static void init(CommandLine& commandLine, Arguments& arguments)
{
    commandLine.init(arguments.count(), arguments.vector());
}

// The switch and its arguments, with blanks between them; "absent" when it was not given.
static std::string given(CommandLine& commandLine, const char* name)
{
    if (!commandLine.cmdExists(name)) {
        return "absent";
    }
    int count = -1;
    char** args = nullptr;
    EXPECT_TRUE(commandLine.getArgs(name, &count, &args));
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += (i == 0 ? "" : " ") + std::string(args[i]);
    }
    return text;
}

TEST(CommandLine, KnowsLoggerFromTheStart)
{
    CommandLine commandLine;
    EXPECT_FALSE(commandLine.cmdExists("-logger"));

    Arguments arguments{"prog", "-logger", "word"};
    init(commandLine, arguments);
    EXPECT_EQ(given(commandLine, "-logger"), "-logger"); // it takes no arguments
}

TEST(CommandLine, ASwitchGetsTheArgumentsItRequires)
{
    CommandLine commandLine;
    EXPECT_TRUE(commandLine.addCommand("-width", 1, 0));
    Arguments arguments{"prog", "-width", "640"};
    init(commandLine, arguments);

    int count = 0;
    char** args = nullptr;
    EXPECT_TRUE(commandLine.cmdExists("-width"));
    EXPECT_TRUE(commandLine.getArgs("-width", &count, &args));
    EXPECT_EQ(count, 2);
    EXPECT_EQ(args, arguments.vector() + 1);
    EXPECT_STREQ(args[0], "-width");
    EXPECT_STREQ(args[1], "640");
}

TEST(CommandLine, ASwitchWithoutItsRequiredArgumentsCountsAsNotGiven)
{
    CommandLine commandLine;
    commandLine.addCommand("-width", 1, 0);
    commandLine.addCommand("-height", 1, 0);
    Arguments arguments{"prog", "-width", "-height", "480"};
    init(commandLine, arguments);

    EXPECT_EQ(given(commandLine, "-width"), "absent");
    EXPECT_EQ(given(commandLine, "-height"), "-height 480");
}

struct Line {
    const char* name; // of one switch
    int required;
    int optional;
    std::vector<const char*> words;
    const char* expected;
};

class Lines : public testing::TestWithParam<Line> {};

TEST_P(Lines, FindTheirSwitch)
{
    CommandLine commandLine;
    ASSERT_TRUE(commandLine.addCommand(GetParam().name, GetParam().required, GetParam().optional));
    Arguments arguments(GetParam().words);
    init(commandLine, arguments);
    EXPECT_EQ(given(commandLine, GetParam().name), GetParam().expected);
}

static const Line sc_lines[] = {
    {"-a", 0, 0, {}, "absent"},
    {"-a", 0, 0, {"prog"}, "absent"},
    {"-a", 0, 0, {"-a"}, "absent"}, // the program's name is not looked at
    {"-a", 0, 0, {"prog", "-a"}, "-a"},
    {"-a", 0, 0, {"prog", "-a", "x"}, "-a"},
    {"-a", 0, 0, {"prog", "-A"}, "absent"},
    {"-a", 0, 0, {"prog", "-aa"}, "absent"},
    {"-a", 0, 0, {"prog", "stray", "", "-other", "-a"}, "-a"},
    {"word", 1, 0, {"prog", "word", "x"}, "word x"}, // a name needs no sign
    {"-a", 2, 0, {"prog", "-a", "x"}, "absent"},
    {"-a", 2, 0, {"prog", "-a", "x", "y"}, "-a x y"},
    {"-a", 2, 0, {"prog", "-a", "x", "-1"}, "absent"}, // a sign is never an argument's
    {"-a", 2, 0, {"prog", "-a", "x", "+1"}, "absent"},
    {"-a", 1, 0, {"prog", "-a", ""}, "-a "},         // an empty word is one
    {"-a", 1, 0, {"prog", "-a", "-a", "x"}, "-a x"}, // the word that stopped it is looked at again
    {"-a", 2, 0, {"prog", "-a", "x", "-a", "y", "z"}, "-a y z"},
    {"-a", 1, 0, {"prog", "-a", "x", "-a", "y"}, "-a x"}, // once is enough
    {"-a", 0, 2, {"prog", "-a"}, "-a"},
    {"-opt", 0, 2, {"prog", "-opt", "a"}, "-opt a"},
    {"-opt", 0, 2, {"prog", "-opt", "a", "b", "c"}, "-opt a b"},
    {"-opt", 0, 2, {"prog", "-opt", "a", "-b", "c"}, "-opt a"},
    {"-opt", 0, 2, {"prog", "-opt", "a", "+b", "c"}, "-opt a"},
    {"-opt", 0, 2, {"prog", "-opt", "", ""}, "-opt  "},
    {"-opt", 0, -1, {"prog", "-opt", "a"}, "-opt"},
    {"-opt", 0, INT_MIN, {"prog", "-opt", "a"}, "-opt"},
    {"-opt", 0, INT_MAX, {"prog", "-opt", "a", "b", "c"}, "-opt a b c"},
    // The last words of the line, as many as are required, are never optional ones.
    {"-size", 1, 2, {"prog", "-size", "1"}, "-size 1"},
    {"-size", 1, 2, {"prog", "-size", "1", "2"}, "-size 1"},
    {"-size", 1, 2, {"prog", "-size", "1", "2", "3"}, "-size 1 2"},
    {"-size", 1, 2, {"prog", "-size", "1", "2", "3", "4"}, "-size 1 2 3"},
    {"-size", 1, 2, {"prog", "-size", "1", "2", "3", "4", "5"}, "-size 1 2 3"},
    {"-size", 1, 2, {"prog", "-size", "1", "2", "3", "-x"}, "-size 1 2 3"}, // any words count as the last
    {"-size", 2, 2, {"prog", "-size", "1", "2", "3", "4"}, "-size 1 2"},
    {"-size", 2, 2, {"prog", "-size", "1", "2", "3", "4", "5"}, "-size 1 2 3"},
    {"-size", 1, INT_MAX, {"prog", "-size", "1", "2", "3", "4"}, "-size 1 2 3"},
    // Fewer than no arguments are none.
    {"-a", -1, 0, {"prog", "-a", "x"}, "-a"},
    {"-a", -1, 2, {"prog", "-a", "x", "y", "z"}, "-a x y"},
    {"-a", INT_MIN, INT_MAX, {"prog", "-a", "x"}, "-a x"},
    {"-a", INT_MAX, INT_MAX, {"prog", "-a", "x"}, "absent"},
};
INSTANTIATE_TEST_SUITE_P(CommandLine, Lines, testing::ValuesIn(sc_lines));

TEST(CommandLine, ParsingContinuesAfterTheArgumentsOfASwitch)
{
    CommandLine commandLine;
    commandLine.addCommand("-a", 1, 1);
    commandLine.addCommand("x", 0, 0);
    commandLine.addCommand("y", 0, 0);
    commandLine.addCommand("z", 0, 0);
    Arguments arguments{"prog", "-a", "x", "y", "z"};
    init(commandLine, arguments);

    EXPECT_EQ(given(commandLine, "-a"), "-a x y");
    EXPECT_FALSE(commandLine.cmdExists("x")); // was an argument, and so was y
    EXPECT_FALSE(commandLine.cmdExists("y"));
    EXPECT_TRUE(commandLine.cmdExists("z"));
}

TEST(CommandLine, HasNoArgumentsForAnUnknownCommand)
{
    CommandLine commandLine;
    Arguments arguments{"prog", "-unknown", "x"};
    init(commandLine, arguments);

    int count = -1;
    char** args = arguments.vector();
    EXPECT_FALSE(commandLine.cmdExists("-unknown"));
    EXPECT_FALSE(commandLine.getArgs("-unknown", &count, &args));
    EXPECT_EQ(count, 0);
    EXPECT_EQ(args, nullptr);
}

TEST(CommandLine, GetArgsOfACommandThatWasNotGivenReturnsTheWholeArgumentVector)
{
    CommandLine commandLine;
    commandLine.addCommand("-size", 2, 3);
    Arguments arguments{"prog", "other", "words"};
    init(commandLine, arguments);

    int count = -1;
    char** args = nullptr;
    EXPECT_FALSE(commandLine.cmdExists("-size"));
    EXPECT_TRUE(commandLine.getArgs("-size", &count, &args));
    EXPECT_EQ(count, 3);
    EXPECT_EQ(args, arguments.vector());
}

TEST(CommandLine, GetArgsBeforeInitReturnsANullArgumentVector)
{
    CommandLine commandLine;
    commandLine.addCommand("-size", 2, 3);

    int count = -1;
    char* word = nullptr;
    char** args = &word;
    EXPECT_TRUE(commandLine.getArgs("-size", &count, &args));
    EXPECT_EQ(count, 3);
    EXPECT_EQ(args, nullptr);
}

// The frozen fields of a command line, in the order of memory.
struct CommandLineFields_s {
    void* table;
    char** args;
    int argCount;
    CommandEntry_s* commands;
    int commandCount;
};
static_assert(sizeof(CommandLineFields_s) == sizeof(CommandLine), "no other fields");

static CommandLineFields_s fieldsOf(const CommandLine& commandLine)
{
    CommandLineFields_s fields;
    memcpy(&fields, static_cast<const void*>(&commandLine), sizeof(fields));
    return fields;
}

TEST(CommandLine, ItsFrozenFieldsSayWhichSwitchesWereGivenAndWhere)
{
    CommandLine commandLine;
    commandLine.addCommand("-size", 2, 3);
    const CommandLineFields_s before = fieldsOf(commandLine);
    EXPECT_EQ(before.args, nullptr);
    EXPECT_EQ(before.argCount, 0);
    EXPECT_EQ(before.commandCount, 2);

    Arguments arguments{"prog", "-size", "640", "480", "16", "75", "x"};
    init(commandLine, arguments);
    const CommandLineFields_s fields = fieldsOf(commandLine);
    EXPECT_EQ(fields.args, arguments.vector());
    EXPECT_EQ(fields.argCount, 7);
    EXPECT_EQ(fields.commandCount, 2);
    const CommandEntry_s expected[] = {{"-logger", 0, 0, 0, 0, 0}, {"-size", 2, 3, 1, 1, 1}};
    for (int i = 0; i < 2; ++i) {
        const CommandEntry_s& entry = fields.commands[i];
        EXPECT_STREQ(entry.name, expected[i].name);
        EXPECT_EQ(entry.required, expected[i].required) << entry.name;
        EXPECT_EQ(entry.optional, expected[i].optional) << entry.name;
        EXPECT_EQ(entry.present, expected[i].present) << entry.name;
        EXPECT_EQ(entry.index, expected[i].index) << entry.name;
        EXPECT_EQ(entry.found, expected[i].found) << entry.name;
    }

    commandLine.init(7, nullptr);
    EXPECT_EQ(fieldsOf(commandLine).args, nullptr);
    EXPECT_EQ(fieldsOf(commandLine).argCount, 0);
}

TEST(CommandLine, KeepsThirtyOneCharactersOfAName)
{
    const std::string longest(31, 'n');
    const std::string tooLong(32, 'm');
    const std::string cut(31, 'm');
    CommandLine commandLine;
    EXPECT_TRUE(commandLine.addCommand(longest.c_str(), 0, 0));
    EXPECT_TRUE(commandLine.addCommand(tooLong.c_str(), 0, 0));
    Arguments arguments{"prog", longest.c_str(), tooLong.c_str()};
    init(commandLine, arguments);

    EXPECT_TRUE(commandLine.cmdExists(longest.c_str()));
    EXPECT_FALSE(commandLine.cmdExists(tooLong.c_str())); // not what the table has
    EXPECT_FALSE(commandLine.cmdExists(cut.c_str()));     // not what was typed

    Arguments typedCut{"prog", cut.c_str()};
    init(commandLine, typedCut);
    EXPECT_TRUE(commandLine.cmdExists(cut.c_str()));
}

TEST(CommandLine, RefusesTheThirtySecondCommand)
{
    CommandLine commandLine;
    for (int number = 1; number <= 31; ++number) {
        EXPECT_TRUE(commandLine.addCommand(("-" + std::to_string(number)).c_str(), 0, 0)) << number;
    }
    EXPECT_FALSE(commandLine.addCommand("-32", 0, 0));
    EXPECT_FALSE(commandLine.addCommand("-33", 0, 0));

    Arguments arguments{"prog", "-32", "-31", "-1", "-logger"};
    init(commandLine, arguments);
    EXPECT_FALSE(commandLine.cmdExists("-32"));
    EXPECT_TRUE(commandLine.cmdExists("-31"));
    EXPECT_TRUE(commandLine.cmdExists("-1"));
    EXPECT_FALSE(commandLine.cmdExists("-2"));
    EXPECT_TRUE(commandLine.cmdExists("-logger"));
}

TEST(CommandLine, AnUnknownCommandIsNotFoundInAFullTable)
{
    CommandLine commandLine;
    while (commandLine.addCommand("-same", 0, 0)) {
    }
    Arguments arguments{"prog", "-unknown"};
    init(commandLine, arguments);
    EXPECT_FALSE(commandLine.cmdExists("-unknown"));
}

TEST(CommandLine, ASwitchGivenTwiceGoesToTheNextEntryOfTheSameName)
{
    CommandLine commandLine;
    commandLine.addCommand("-a", 1, 0);
    commandLine.addCommand("-a", 0, 0);
    commandLine.addCommand("x", 0, 0);
    Arguments arguments{"prog", "-a", "1", "-a", "x", "-a", "2"};
    init(commandLine, arguments);

    EXPECT_EQ(given(commandLine, "-a"), "-a 1"); // the first entry answers
    EXPECT_TRUE(commandLine.cmdExists("x"));     // the second one took the second -a, which has no arguments
}

TEST(CommandLine, OfTwoEntriesWithOneNameTheFirstCountsEvenWhenOnlyTheSecondWasFound)
{
    CommandLine commandLine;
    commandLine.addCommand("-a", 1, 0);
    commandLine.addCommand("-a", 0, 0);
    Arguments arguments{"prog", "-a"};
    init(commandLine, arguments); // the first lacks its argument, and the word is not looked at again
    EXPECT_FALSE(commandLine.cmdExists("-a"));
}

TEST(CommandLine, AnEmptyNameEndsTheTable)
{
    CommandLine commandLine;
    EXPECT_TRUE(commandLine.addCommand("", 0, 0));
    EXPECT_TRUE(commandLine.addCommand("-behind", 0, 0));
    Arguments arguments{"prog", "", "-behind"};
    init(commandLine, arguments);

    EXPECT_FALSE(commandLine.cmdExists(""));
    EXPECT_FALSE(commandLine.cmdExists("-behind"));
}

TEST(CommandLine, AllObjectsShareOneTable)
{
    CommandLine first;
    first.addCommand("-one", 0, 0);
    first.addCommand("-two", 0, 0);
    Arguments arguments{"prog", "-logger", "-one", "-two"};
    init(first, arguments);

    CommandLine second;
    EXPECT_TRUE(second.cmdExists("-logger")); // once given, always given
    EXPECT_TRUE(second.cmdExists("-one"));
    EXPECT_TRUE(second.cmdExists("-two"));

    second.addCommand("-three", 0, 0); // takes the place of -one
    EXPECT_FALSE(second.cmdExists("-one"));
    EXPECT_FALSE(first.cmdExists("-one"));
    EXPECT_FALSE(second.cmdExists("-three"));
    EXPECT_TRUE(second.cmdExists("-two"));
}

TEST(CommandLine, ParsingAgainKeepsWhatWasFound)
{
    CommandLine commandLine;
    commandLine.addCommand("-a", 0, 1);
    Arguments once{"prog", "x", "-a", "y"};
    init(commandLine, once);
    Arguments again{"prog", "-a", "z", "w"};
    init(commandLine, again);

    int count = 0;
    char** args = nullptr;
    EXPECT_TRUE(commandLine.getArgs("-a", &count, &args));
    EXPECT_EQ(count, 2);
    EXPECT_EQ(args, again.vector() + 2); // the place it had in the first
}

TEST(CommandLine, GetArgsReturnsNoArgumentsWhenTheIndexOfAnotherObjectIsPastTheEnd)
{
    CommandLine first;
    first.addCommand("-a", 0, 0);
    Arguments longer{"prog", "x", "y", "-a"};
    init(first, longer);

    CommandLine second;
    Arguments shorter{"prog"};
    init(second, shorter);
    int count = -1;
    char** args = shorter.vector();
    EXPECT_TRUE(second.getArgs("-a", &count, &args));
    EXPECT_EQ(count, 1);
    EXPECT_EQ(args, nullptr);
}

TEST(CommandLine, IsSafeWithNulls)
{
    CommandLine commandLine;
    EXPECT_FALSE(commandLine.addCommand(nullptr, 0, 0));
    commandLine.addCommand("-a", 1, 1);
    commandLine.init(3, nullptr);
    EXPECT_FALSE(commandLine.cmdExists("-a"));

    int count = -1;
    char** args = nullptr;
    EXPECT_FALSE(commandLine.cmdExists(nullptr));
    EXPECT_FALSE(commandLine.getArgs(nullptr, &count, &args));
    EXPECT_EQ(count, 0);
    EXPECT_TRUE(commandLine.getArgs("-a", nullptr, nullptr));
    EXPECT_FALSE(commandLine.getArgs("-b", nullptr, nullptr));
    EXPECT_TRUE(commandLine.getArgs("-a", &count, nullptr));
    EXPECT_EQ(count, 2);
    EXPECT_TRUE(commandLine.getArgs("-a", nullptr, &args));
    EXPECT_EQ(args, nullptr);
}

TEST(CommandLine, ANullArgumentCountsAsAnUnknownWord)
{
    CommandLine commandLine;
    commandLine.addCommand("-a", 1, 0);
    commandLine.addCommand("-b", 0, 5);
    Arguments arguments{nullptr, nullptr, "-a", nullptr, "-b", "x", nullptr, "y"};
    init(commandLine, arguments);

    EXPECT_EQ(given(commandLine, "-a"), "absent");
    EXPECT_EQ(given(commandLine, "-b"), "-b x");
}

TEST(CommandLine, AnArgumentCountOf0OrLessParsesNothing)
{
    CommandLine commandLine;
    commandLine.addCommand("-a", 0, 0);
    char name[] = "-a";
    char* words[] = {name, name};
    for (int count : {INT_MIN, -1, 0, 1}) {
        commandLine.init(count, words);
        EXPECT_FALSE(commandLine.cmdExists("-a")) << count;
    }
    int count = 0;
    char** args = nullptr;
    commandLine.init(0, words);
    EXPECT_TRUE(commandLine.getArgs("-a", &count, &args));
    EXPECT_EQ(args, words);
}

TEST(CommandLine, HasACountForTheLargestNumberOfRequiredArguments)
{
    CommandLine commandLine;
    commandLine.addCommand("-a", INT_MAX, 0);
    commandLine.addCommand("-b", INT_MAX - 1, 0);
    int count = 0;
    char** args = nullptr;
    EXPECT_TRUE(commandLine.getArgs("-a", &count, &args)); // whatever it is
    EXPECT_TRUE(commandLine.getArgs("-b", &count, &args));
    EXPECT_EQ(count, INT_MAX);
}

TEST(CommandLine, LivesInBankZeroWhenMadeWithNew)
{
    GameMemory memory;
    memory.defineHeap("core", 4096);
    memory.initialize();

    CommandLine* commandLine = new CommandLine;
    EXPECT_EQ(memory.banks[0].usedNodeCount, 1u);
    EXPECT_GE(memory.getSize(0, commandLine), sizeof(CommandLine));
    delete commandLine;
    EXPECT_EQ(memory.check(0, true), 0);

    void* storage = memory.alloc(0, sizeof(CommandLine), "test", 1);
    commandLine = ::new (storage) CommandLine;
    EXPECT_EQ(commandLine, storage);
    delete commandLine;
    EXPECT_EQ(memory.check(0, true), 0);
}

TEST(CommandLine, HasAVirtualDestructor)
{
    EXPECT_TRUE(std::has_virtual_destructor<CommandLine>::value);
    EXPECT_TRUE(std::is_polymorphic<CommandLine>::value);
}

// The rules once more, for reading: switches of one line, which is made of words such as a player might type.
class Reader {
public:
    struct Switch {
        std::string name;
        int required;
        int optional;
        int index;
        int taken; // optional arguments; -1 when it was not given
    };

    static bool hasSign(const std::string& word) { return word[0] == '-' || word[0] == '+'; }

    static void read(std::vector<Switch>& switches, const std::vector<std::string>& words)
    {
        const int count = static_cast<int>(words.size());
        for (int position = 1; position < count;) {
            Switch* found = nullptr;
            for (Switch& candidate : switches) {
                if (!found && candidate.taken < 0 && candidate.name == words[position]) {
                    found = &candidate;
                }
            }
            ++position;
            if (!found) {
                continue;
            }
            int required = 0;
            while (required < found->required && position < count && !hasSign(words[position])) {
                ++required;
                ++position;
            }
            if (required < found->required) {
                continue;
            }
            found->index = position - required - 1;
            found->taken = 0;
            while (found->taken < found->optional && position + required < count && !hasSign(words[position])) {
                ++found->taken;
                ++position;
            }
        }
    }
};

TEST(CommandLine, AgreesWithItsRulesOnRandomLines)
{
    static const char* const sc_words[] = {"-a", "-b", "-c", "-d", "+e", "f", "x", "y", "", "-", "-7", "-logger"};
    std::mt19937 random(1);
    for (int round = 0; round < 20000; ++round) {
        CommandLine commandLine;
        std::vector<Reader::Switch> switches;
        for (int number = 1; number < 32; ++number) {
            const bool real = number <= 6;
            const std::string name = real ? sc_words[random() % 6] : "(none)";
            switches.push_back({name, static_cast<int>(random() % 4), static_cast<int>(random() % 4), 0, -1});
            ASSERT_TRUE(commandLine.addCommand(name.c_str(), switches.back().required, switches.back().optional));
        }
        std::vector<std::string> words{"prog"};
        std::vector<char*> pointers;
        for (unsigned int left = random() % 12; left > 0; --left) {
            words.push_back(sc_words[random() % (sizeof(sc_words) / sizeof(sc_words[0]))]);
        }
        for (std::string& word : words) {
            pointers.push_back(&word[0]);
        }
        Reader::read(switches, words);
        commandLine.init(static_cast<int>(pointers.size()), pointers.data());

        for (const char* name : sc_words) {
            const Reader::Switch* first = nullptr;
            for (const Reader::Switch& candidate : switches) {
                first = !first && candidate.name == name ? &candidate : first;
            }
            int count = -1;
            char** args = nullptr;
            if (!first) {
                continue;
            }
            ASSERT_EQ(commandLine.cmdExists(name), first->taken >= 0);
            ASSERT_TRUE(commandLine.getArgs(name, &count, &args));
            ASSERT_EQ(count, first->required + std::max(first->taken, 0) + 1);
            ASSERT_EQ(args, pointers.data() + first->index);
        }
    }
}
