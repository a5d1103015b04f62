// The log. What it writes is read at the other end of a pipe, a terminal or a file put in the stream's place.
#include "logger/logger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <errno.h>
#include <fcntl.h>
#include <fstream>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <sys/syscall.h>
#include <termios.h>
#include <thread>
#include <unistd.h>
#include <vector>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define SANITIZED
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define SANITIZED
#endif

// No block of more than 32 MB is to be had in this program.
#ifdef SANITIZED
static const char sc_limits[] = "allocator_may_return_null=1:max_allocation_size_mb=32";
extern "C" const char* __asan_default_options()
{
    return sc_limits;
}
extern "C" const char* __tsan_default_options()
{
    return sc_limits;
}
#else
extern "C" void* __libc_malloc(size_t size);
extern "C" void* malloc(size_t size)
{
    return size > 32u << 20 ? nullptr : __libc_malloc(size);
}
#endif

// Every write of the log passes here.
static std::atomic<int> s_writes;
static int s_interruptions;               // as many fail with EINTR
static size_t s_most = SIZE_MAX;          // bytes that one of them takes
static int s_destination = STDERR_FILENO; // where they go

extern "C" ssize_t write(int stream, const void* bytes, size_t count)
{
    if (stream == STDERR_FILENO) {
        ++s_writes;
        if (s_interruptions > 0) {
            --s_interruptions;
            errno = EINTR;
            return -1;
        }
        count = std::min(count, s_most);
        stream = s_destination;
    }
    return syscall(SYS_write, stream, bytes, count);
}

// Stands in for the standard error stream while it lives.
class Redirection {
public:
    explicit Redirection(int stream) : m_original(dup(STDERR_FILENO)) { dup2(stream, STDERR_FILENO); }
    ~Redirection()
    {
        dup2(m_original, STDERR_FILENO);
        close(m_original);
    }

private:
    int m_original;
};

// What act writes to the stream `in`, as it comes out at `out`. Both are closed.
template <class Act>
static std::string written(int in, int out, Act act)
{
    std::string text;
    std::thread reader([out, &text] {
        char part[65536];
        ssize_t count;
        while ((count = read(out, part, sizeof(part))) > 0) {
            text.append(part, static_cast<size_t>(count));
        }
    });
    {
        Redirection redirection(in);
        close(in);
        act();
    }
    reader.join();
    close(out);
    return text;
}

template <class Act>
static std::string throughPipe(Act act)
{
    int ends[2];
    if (pipe(ends) != 0) {
        return "no pipe";
    }
    return written(ends[1], ends[0], act);
}

// The other end of a new terminal; negative where there are none.
static int makeTerminal()
{
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    return master >= 0 && grantpt(master) == 0 && unlockpt(master) == 0 ? master : -1;
}

template <class Act>
static std::string onTerminal(Act act)
{
    const int master = makeTerminal();
    const int terminal = open(ptsname(master), O_RDWR | O_NOCTTY);
    termios mode;
    tcgetattr(terminal, &mode);
    cfmakeraw(&mode); // a line feed stays one
    tcsetattr(terminal, TCSANOW, &mode);
    return written(terminal, master, act);
}

// The environment is read once, at the first call.
class Log : public testing::Test {
protected:
    Log()
    {
        unsetenv("CORE_LOG_LEVEL");
        unsetenv("NO_COLOR");
        setenv("TERM", "xterm", 1);
    }
};

class LogOnTerminal : public Log {
protected:
    void SetUp() override
    {
        const int master = makeTerminal();
        if (master < 0 || access(ptsname(master), R_OK | W_OK) != 0) {
            GTEST_SKIP() << "there are no pseudo-terminals";
        }
        close(master);
    }
};

TEST_F(Log, AMessageIsALine)
{
    EXPECT_EQ(throughPipe([] { owLogger::log(3, "Parser: expected %d %s on line %d.\f", 1, "integer", 7); }),
              "Parser: expected 1 integer on line 7.\n");
}

TEST_F(Log, AMessageEndsAtItsFormFeedOrAtTheEndOfItsText)
{
    struct Row {
        const char* message;
        const char* line;
    };
    const Row rows[] = {
        {"shown\f", "shown\n"},
        {"shown\fhidden", "shown\n"},
        {"shown\fhidden\f", "shown\n"},
        {"shown", "shown\n"},
        {"", "\n"},
        {"\f", "\n"},
        {"\fhidden", "\n"},
        {"one\ntwo\tthree\f", "one\ntwo\tthree\n"},
        {"^CFF0000shown\fhidden^c", "shown\n"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(throughPipe([&row] { owLogger::log(3, row.message, 0); }), row.line);
        EXPECT_EQ(throughPipe([&row] { owLogger::log(3, "%s", row.message); }), row.line);
    }
}

TEST_F(Log, ANullFormatPrintsNothing)
{
    const char* format = nullptr;
    EXPECT_EQ(throughPipe([format] { owLogger::log(3, format, 0); }), "");
}

TEST_F(Log, AMessageThatCannotBeFormattedIsShownAsItStands)
{
    const wchar_t noCharacter[] = {static_cast<wchar_t>(0x7fffffff), 0};
    EXPECT_EQ(throughPipe([&] { owLogger::log(3, "^CFF0000Name:^c %ls is %d\f", noCharacter, 1); }),
              "Name: %ls is %d\n");
}

TEST_F(Log, LeavesTheErrorNumberAloneAndCanShowIt)
{
    const char* format = "%m%5000s\f"; // formatted twice, since it is long
    EXPECT_EQ(throughPipe([format] {
                  errno = ENOENT;
                  owLogger::log(3, format, "");
                  EXPECT_EQ(errno, ENOENT);
              }),
              std::string(strerror(ENOENT)) + std::string(5000, ' ') + "\n");
}

struct MarkRow {
    const char* message;
    const char* plain;
    const char* coloured; // \x1b[38;2;R;G;Bm starts a colour on a terminal, \x1b[39m ends it
};

static const MarkRow s_marks[] = {
    {"^C00FF00name = int8^c!\f", "name = int8!", "\x1b[38;2;0;255;0mname = int8\x1b[39m!"},
    {"^CFF0000Table: ^c Not Found: \"^CFFFF00x^c\"\f", "Table:  Not Found: \"x\"",
     "\x1b[38;2;255;0;0mTable: \x1b[39m Not Found: \"\x1b[38;2;255;255;0mx\x1b[39m\""},
    {"^C0a1B2ctext^c", "text", "\x1b[38;2;10;27;44mtext\x1b[39m"}, // digits in either case
    {"^CFF0000ace^c", "ace", "\x1b[38;2;255;0;0mace\x1b[39m"},     // six digits, the next ones are text
    {"^CFF0000^c", "", "\x1b[38;2;255;0;0m\x1b[39m"},
    {"^CFF0000a^C0000FFb^c", "ab", "\x1b[38;2;255;0;0ma\x1b[38;2;0;0;255mb\x1b[39m"}, // the next colour takes over
    {"^CFF0000a\nb^c", "a\nb", "\x1b[38;2;255;0;0ma\nb\x1b[39m"},
    {"^CFF0000a", "a", "\x1b[38;2;255;0;0ma\x1b[39m"}, // nobody ended it: the message does
    {"^CFF0000a\f^c", "a", "\x1b[38;2;255;0;0ma\x1b[39m"},
    {"^CFF0000", "", "\x1b[38;2;255;0;0m\x1b[39m"},
    {"^", "^", "^"},
    {"^^", "^^", "^^"},
    {"a^b", "a^b", "a^b"},
    {"^C", "^C", "^C"},
    {"^CFF000", "^CFF000", "^CFF000"},    // five digits
    {"^CFF000G", "^CFF000G", "^CFF000G"}, // G is none
    {"^C-10000", "^C-10000", "^C-10000"},
    {"^C0x1234", "^C0x1234", "^C0x1234"},
    {"^C FF000", "^C FF000", "^C FF000"},
    {"^CFF\f0000", "^CFF", "^CFF"}, // the form feed comes first
    {"^C^CFF0000a^c", "^Ca", "^C\x1b[38;2;255;0;0ma\x1b[39m"},
    {"^^CFF0000a^^c", "^a^", "^\x1b[38;2;255;0;0ma^\x1b[39m"},
    {"^FF0000", "^FF0000", "^FF0000"},
    {"a^c", "a^c", "a^c"}, // there is no colour to end
    {"^C00FF00a^c^c", "a^c", "\x1b[38;2;0;255;0ma\x1b[39m^c"},
    {"^C00FF00a^Cb^c", "a^Cb", "\x1b[38;2;0;255;0ma^Cb\x1b[39m"},
};

TEST_F(Log, ColourMarksAreLeftOutWhereTheStreamIsNoTerminal)
{
    for (const MarkRow& row : s_marks) {
        EXPECT_EQ(throughPipe([&row] { owLogger::log(3, "%s", row.message); }), std::string(row.plain) + "\n");
    }
}

TEST_F(LogOnTerminal, ColourMarksAreColoursOnATerminal)
{
    for (const MarkRow& row : s_marks) {
        EXPECT_EQ(onTerminal([&row] { owLogger::log(3, "%s", row.message); }), std::string(row.coloured) + "\n");
    }
}

TEST_F(LogOnTerminal, AColourDoesNotReachTheNextMessage)
{
    EXPECT_EQ(onTerminal([] {
                  owLogger::log(3, "^CFF0000one\f");
                  owLogger::log(3, "two^c\f");
              }),
              "\x1b[38;2;255;0;0mone\x1b[39m\ntwo^c\n");
}

TEST_F(LogOnTerminal, TheStreamMayTurnIntoATerminalAndBack)
{
    auto act = [] { owLogger::log(3, "^CFF0000one^c\f"); };
    EXPECT_EQ(throughPipe(act), "one\n");
    EXPECT_EQ(onTerminal(act), "\x1b[38;2;255;0;0mone\x1b[39m\n");
    EXPECT_EQ(throughPipe(act), "one\n");
}

TEST_F(LogOnTerminal, NO_COLORTurnsColoursOff)
{
    setenv("NO_COLOR", "1", 1);
    EXPECT_EQ(onTerminal([] { owLogger::log(3, "^CFF0000one^c\f"); }), "one\n");
}

TEST_F(LogOnTerminal, AnEmptyNO_COLORIsAsGoodAsNone)
{
    setenv("NO_COLOR", "", 1);
    EXPECT_EQ(onTerminal([] { owLogger::log(3, "^CFF0000one^c\f"); }), "\x1b[38;2;255;0;0mone\x1b[39m\n");
}

TEST_F(LogOnTerminal, ADumbTerminalHasNoColours)
{
    setenv("TERM", "dumb", 1);
    EXPECT_EQ(onTerminal([] { owLogger::log(3, "^CFF0000one^c\f"); }), "one\n");
}

TEST_F(LogOnTerminal, ATerminalWithoutANameHasColours)
{
    unsetenv("TERM");
    EXPECT_EQ(onTerminal([] { owLogger::log(3, "^CFF0000one^c\f"); }), "\x1b[38;2;255;0;0mone\x1b[39m\n");
}

TEST_F(LogOnTerminal, ControlCharactersInTheDataAreMadeVisible)
{
    struct Row {
        const char* data;
        const char* shown;
    };
    const Row rows[] = {
        {"\x1b[2J", "\\x1B[2J"},                  // would clear a terminal
        {"\x1b]0;title\a", "\\x1B]0;title\\x07"}, // would rename its window
        {"over\rwrite", "over\\x0Dwrite"},
        {"\x01\x08\x0b\x0e\x1f\x7f", "\\x01\\x08\\x0B\\x0E\\x1F\\x7F"},
        {"a\tb\nc", "a\tb\nc"},
        {"\xc2\x9b"
         "2J",
         "\\xC2\\x9B2J"}, // the same in UTF-8's own control characters
        {"\xc2\x80\xc2\x9f", "\\xC2\\x80\\xC2\\x9F"},
        {"\xc2\xa0\xc2\xbf\xc3\xa9", "\xc2\xa0\xc2\xbf\xc3\xa9"}, // but its letters are letters
        {"\xc2", "\xc2"},
        {"\xc2^\xc2\x1b", "\xc2^\xc2\\x1B"},
        {"\x80\x8e\xff", "\x80\x8e\xff"}, // and so are those of the Mac's 8-bit alphabet
    };
    for (const Row& row : rows) {
        auto act = [&row] { owLogger::log(3, "%s\f", row.data); };
        EXPECT_EQ(throughPipe(act), std::string(row.shown) + "\n");
        EXPECT_EQ(onTerminal(act), std::string(row.shown) + "\n");
    }
}

// A control character that appears when the mark between its bytes is taken out.
TEST_F(LogOnTerminal, AColourMarkHidesNoControlCharacter)
{
    struct Row {
        const char* message;
        const char* plain;
        const char* coloured;
    };
    const Row rows[] = {
        {"\xc2^CFF0000\x9b"
         "31m",
         "\\xC2\x9b"
         "31m",
         "\\xC2\x1b[38;2;255;0;0m\x9b"
         "31m\x1b[39m"},
        {"^CFF0000\xc2^c\x9b", "\\xC2\x9b", "\x1b[38;2;255;0;0m\\xC2\x1b[39m\x9b"},
        {"\xe2^CFF0000\x80^c\xae", "\\xE2\x80\xae", "\\xE2\x1b[38;2;255;0;0m\x80\x1b[39m\xae"},
        {"\xe2\x80^CFF0000\xae", "\\xE2\x80\xae", "\\xE2\x80\x1b[38;2;255;0;0m\xae\x1b[39m"},
        {"\xc2^c\x9b", "\xc2^c\x9b", "\xc2^c\x9b"},                             // no mark: there is no colour to end
        {"\xc3^CFF0000\xa9", "\xc3\xa9", "\xc3\x1b[38;2;255;0;0m\xa9\x1b[39m"}, // a letter
        {"\xe2\x80\xae", "\\xE2\\x80\\xAE", "\\xE2\\x80\\xAE"},
        {"\xe2\x80\xa6", "\xe2\x80\xa6", "\xe2\x80\xa6"},
        {"\xc2^CFF0000\f\x9b", "\xc2", "\xc2\x1b[38;2;255;0;0m\x1b[39m"},
    };
    for (const Row& row : rows) {
        auto act = [&row] { owLogger::log(3, "%s", row.message); };
        EXPECT_EQ(throughPipe(act), std::string(row.plain) + "\n");
        EXPECT_EQ(onTerminal(act), std::string(row.coloured) + "\n");
    }
}

// The levels from -1 to 9 whose messages are shown.
static std::string shownLevels()
{
    std::string lines = throughPipe([] {
        for (int level = -1; level < 10; ++level) {
            owLogger::log(level, "%d\f", level);
        }
    });
    std::replace(lines.begin(), lines.end(), '\n', ' ');
    return lines;
}

TEST_F(Log, ByDefaultShowsAllMessagesOfTheLibrary)
{
    EXPECT_EQ(shownLevels(), "-1 0 1 2 3 4 5 6 ");
}

TEST_F(Log, DropsMessagesAboveTheThreshold)
{
    owLogger::setLevel(3);
    EXPECT_EQ(shownLevels(), "-1 0 1 2 3 ");
    owLogger::setLevel(9);
    EXPECT_EQ(shownLevels(), "-1 0 1 2 3 4 5 6 7 8 9 ");
    owLogger::setLevel(-2);
    EXPECT_EQ(shownLevels(), "");
    owLogger::setLevel(INT_MAX);
    EXPECT_EQ(throughPipe([] { owLogger::log(INT_MAX, "shown\f"); }), "shown\n");
    owLogger::setLevel(INT_MIN);
    EXPECT_EQ(throughPipe([] { owLogger::log(INT_MIN, "shown\f"); }), "shown\n");
}

TEST_F(Log, TheThresholdThatTheGameSetsOverridesTheEnvironment)
{
    setenv("CORE_LOG_LEVEL", "1", 1);
    owLogger::setLevel(4);
    EXPECT_EQ(shownLevels(), "-1 0 1 2 3 4 ");
}

TEST_F(Log, TheEnvironmentIsReadOnce)
{
    setenv("CORE_LOG_LEVEL", "1", 1);
    EXPECT_EQ(shownLevels(), "-1 0 1 ");
    setenv("CORE_LOG_LEVEL", "5", 1);
    EXPECT_EQ(shownLevels(), "-1 0 1 ");
}

struct EnvironmentRow {
    const char* name;
    const char* value;
    const char* levels;
};

static void PrintTo(const EnvironmentRow& row, std::ostream* out)
{
    *out << '"' << row.value << '"';
}

class LogLevelInEnvironment : public Log, public testing::WithParamInterface<EnvironmentRow> {};

TEST_P(LogLevelInEnvironment, IsTheThresholdWhenItIsANumber)
{
    setenv("CORE_LOG_LEVEL", GetParam().value, 1);
    EXPECT_EQ(shownLevels(), GetParam().levels);
}

INSTANTIATE_TEST_SUITE_P(Values, LogLevelInEnvironment,
                         testing::Values(EnvironmentRow{"Zero", "0", "-1 0 "},
                                         EnvironmentRow{"Four", "4", "-1 0 1 2 3 4 "},
                                         EnvironmentRow{"Seven", "7", "-1 0 1 2 3 4 5 6 7 "},
                                         EnvironmentRow{"Negative", "-1", "-1 "},
                                         EnvironmentRow{"Largest", "2147483647", "-1 0 1 2 3 4 5 6 7 8 9 "},
                                         EnvironmentRow{"TooLarge", "2147483648", "-1 0 1 2 3 4 5 6 "},
                                         EnvironmentRow{"Empty", "", "-1 0 1 2 3 4 5 6 "},
                                         EnvironmentRow{"Word", "quiet", "-1 0 1 2 3 4 5 6 "},
                                         EnvironmentRow{"NumberAndMore", "3x", "-1 0 1 2 3 4 5 6 "}),
                         [](const auto& row) { return row.param.name; });

TEST_F(Log, ALineIsOneWriteHoweverLong)
{
    for (int length : {0, 1, 2047, 2048, 4095, 4096, 4097, 1000000}) {
        s_writes = 0;
        EXPECT_EQ(throughPipe([length] { owLogger::log(3, "%*s\f", length, ""); }),
                  std::string(static_cast<size_t>(length), ' ') + "\n");
        EXPECT_EQ(s_writes, 1) << length;
    }
}

TEST_F(LogOnTerminal, TruncatesNothingAtAnyLengthNearItsBuffers)
{
    const std::string filler(5000, 'x');
    std::vector<int> lengths;
    for (int middle : {2048, 4096}) {
        for (int length = middle - 12; length <= middle + 12; ++length) {
            lengths.push_back(length);
        }
    }
    for (int length : lengths) {
        const std::string text = filler.substr(0, static_cast<size_t>(length));
        EXPECT_EQ(throughPipe([&] { owLogger::log(3, "%s", text.c_str()); }), text + "\n");
        EXPECT_EQ(throughPipe([&] { owLogger::log(3, "%s\x1b^C010203!^c\f", text.c_str()); }), text + "\\x1B!\n");
        EXPECT_EQ(onTerminal([&] { owLogger::log(3, "%s^C010203!", text.c_str()); }),
                  text + "\x1b[38;2;1;2;3m!\x1b[39m\n");
    }
}

TEST_F(Log, CarriesOnAfterAnInterruptionAndAPartialWrite)
{
    s_most = 7;
    s_interruptions = 3;
    EXPECT_EQ(throughPipe([] { owLogger::log(3, "a message of some forty characters in all\f"); }),
              "a message of some forty characters in all\n");
    EXPECT_EQ(s_interruptions, 0);
}

TEST_F(Log, WaitsForAStreamThatDoesNotBlock)
{
    const std::string text(1000000, 'x');
    EXPECT_EQ(throughPipe([&text] {
                  fcntl(STDERR_FILENO, F_SETFL, fcntl(STDERR_FILENO, F_GETFL) | O_NONBLOCK);
                  owLogger::log(3, "%s\f", text.c_str());
              }),
              text + "\n");
}

TEST_F(Log, AClosedStreamDoesNoHarm)
{
    const int nowhere = open("/dev/null", O_RDONLY);
    Redirection redirection(nowhere);
    close(nowhere);
    owLogger::log(3, "unwritable\f");
    close(STDERR_FILENO);
    s_writes = 0;
    owLogger::log(3, "closed\f");
    EXPECT_EQ(s_writes, 1);
}

TEST_F(Log, TenMegabytesAreOneLine)
{
    std::string text(10 << 20, 'x');
    text[5 << 20] = '^';
    const std::string line = throughPipe([&text] { owLogger::log(3, "^CFF0000%s^c.\f", text.c_str()); });
    EXPECT_TRUE(line == text + ".\n") << line.size();
}

// A sanitizer remarks on memory that isn't to be had, on the stream itself: the log's part of it goes to a
// file.
TEST_F(Log, WithoutMemoryForALineItGoesOutInPieces)
{
    const int length = 9 << 20; // each byte becomes four
    const std::string text(length, '\x01');
    s_destination = open("log", O_CREAT | O_WRONLY, 0644);
    owLogger::log(3, "%s\f", text.c_str());
    close(s_destination);

    EXPECT_GT(s_writes, 1);
    std::ifstream log("log", std::ios::binary);
    char code[5] = "";
    int count = 0;
    while (log.read(code, 4) && strcmp(code, "\\x01") == 0) {
        ++count;
    }
    EXPECT_EQ(count, length);
    EXPECT_EQ(log.gcount(), 1);
    EXPECT_EQ(code[0], '\n');
}

TEST_F(Log, WithoutMemoryForAMessageItsBeginningIsShownAndItsLength)
{
    s_destination = open("log", O_CREAT | O_WRONLY, 0644);
    owLogger::log(3, "^CFF0000Map:^c%*s\f", 40 << 20, "");
    close(s_destination);

    std::ifstream log("log", std::ios::binary);
    std::string line;
    std::getline(log, line);
    EXPECT_EQ(log.get(), EOF);
    EXPECT_EQ(line.substr(0, 1900), "Map:" + std::string(1896, ' '));
    EXPECT_NE(line.find("... (41943055 bytes, and no memory for more)"), std::string::npos) << line;
}

// Messages of eight threads. Some are longer than what a pipe takes in one go.
TEST_F(Log, MessagesOfManyThreadsNeverMixAndNoneIsLost)
{
    const int threadCount = 8;
    const int messageCount = 1000;
    auto expected = [](int thread, int message) {
        const size_t length = message % 50 == 0 ? 20000 : static_cast<size_t>(message % 100);
        return std::to_string(thread) + " " + std::to_string(message) + " " +
               std::string(length, static_cast<char>('a' + thread)) + "\n";
    };
    const std::string text = throughPipe([&] {
        std::vector<std::thread> threads;
        for (int thread = 0; thread < threadCount; ++thread) {
            threads.emplace_back([&expected, thread] {
                for (int message = 0; message < messageCount; ++message) {
                    const std::string line = expected(thread, message);
                    owLogger::log(3, "^C%06X%.*s^c\f", thread, static_cast<int>(line.size() - 1), line.c_str());
                    owLogger::setLevel(6 + message % 2);
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    });

    int next[threadCount] = {}; // message of each thread
    for (size_t start = 0; start < text.size();) {
        const size_t end = text.find('\n', start) + 1;
        const int thread = text[start] - '0';
        ASSERT_TRUE(end != 0 && thread >= 0 && thread < threadCount);
        ASSERT_EQ(text.substr(start, end - start), expected(thread, next[thread]));
        ++next[thread];
        start = end;
    }
    for (int count : next) {
        EXPECT_EQ(count, messageCount);
    }
}

TEST_F(Log, SharesTheStreamWithWhatTheGamePrintsThere)
{
    const std::string text = throughPipe([] {
        std::thread game([] {
            for (int i = 0; i < 200; ++i) {
                flockfile(stderr);
                fputs("the game", stderr);
                fputs(" says\n", stderr);
                funlockfile(stderr);
            }
        });
        for (int i = 0; i < 200; ++i) {
            owLogger::log(3, "%10000s\f", "log");
        }
        game.join();
    });
    size_t gameLines = 0;
    size_t logLines = 0;
    for (size_t start = 0; start < text.size();) {
        const size_t end = text.find('\n', start) + 1;
        ASSERT_NE(end, 0u);
        const std::string line = text.substr(start, end - start);
        gameLines += line == "the game says\n";
        logLines += line == std::string(9997, ' ') + "log\n";
        start = end;
    }
    EXPECT_EQ(gameLines, 200u);
    EXPECT_EQ(logLines, 200u);
    EXPECT_EQ(text.size(), gameLines * 14 + logLines * 10001);
}
