// Window servers that do not answer as they should: the game goes on without a display.
#include "tests/support/hostile_screen.h"
#include "tests/support/x_server.h"

#include <ApplicationServices/ApplicationServices.h>

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <netdb.h>
#include <signal.h>
#include <string>
#include <sys/time.h>
#include <sys/wait.h>
#include <vector>

using std::chrono::milliseconds;

// What Xlib had made of a display when its server hung up cannot be given back.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions()
{
    return "leak:libX11";
}

static const milliseconds sc_patience(5000);

static milliseconds timeOf(const std::function<void()>& part)
{
    const auto start = std::chrono::steady_clock::now();
    part();
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
}

static void expectNoDisplay()
{
    EXPECT_EQ(CGMainDisplayID(), kCGNullDirectDisplay);
    EXPECT_EQ(CGDisplayCurrentMode(kCGDirectMainDisplay), nullptr);
    EXPECT_EQ(CGSessionCopyCurrentDictionary(), nullptr);
    EXPECT_EQ(CGDisplayPixelsWide(kCGDirectMainDisplay), 0u);
    EXPECT_NE(CGDisplayHideCursor(kCGDirectMainDisplay), kCGErrorSuccess);
}

// All the calls together: the server is waited for once.
static void expectNoDisplayAfterTheWait()
{
    testing::internal::CaptureStderr();
    const milliseconds time = timeOf(expectNoDisplay);
    EXPECT_GE(time, sc_patience - milliseconds(100));
    EXPECT_LT(time, 2 * sc_patience);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

class Probe : public XServer {
protected:
    static void use(const std::string& display)
    {
        ASSERT_NE(display, "");
        setenv("DISPLAY", display.c_str(), 1);
    }

    // The display that Xvfb serves.
    std::string startReal(const char* option = nullptr)
    {
        start("640x480x24", option);
        const char* display = getenv("DISPLAY");
        return display ? display : "";
    }
};

TEST_F(Probe, AServerThatNeverAcceptsAConnectionIsNoDisplayAfterFiveSeconds)
{
    HostileScreen screen;
    use(screen.onSocket());
    expectNoDisplayAfterTheWait();
}

TEST_F(Probe, AServerThatAcceptsAndStaysSilentIsNoDisplayAfterFiveSeconds)
{
    HostileScreen screen([&](int connection, int) { screen.ignore(connection); });
    use(screen.onNetwork());
    expectNoDisplayAfterTheWait();
}

// Returns true if the name "localhost" has an address. In a system without /etc/hosts and without a name server it has none.
static bool hasLocalhost()
{
    addrinfo* found = nullptr;
    if (getaddrinfo("localhost", nullptr, nullptr, &found) != 0) {
        return false;
    }
    freeaddrinfo(found);
    return true;
}

TEST_F(Probe, ASilentServerThatStandsInForAnotherOnTheNetworkIsNoDisplayAfterFiveSeconds)
{
    if (!hasLocalhost()) {
        GTEST_SKIP() << "the name localhost has no address, so Xlib cannot try the network";
    }
    HostileScreen screen([&](int connection, int) { screen.ignore(connection); });
    const std::string name = screen.onNetwork();
    use(name.substr(name.find(':'))); // no server has the socket of that number: Xlib tries the network then
    expectNoDisplayAfterTheWait();
}

TEST_F(Probe, AServerThatSendsAByteNowAndThenCountsAsSilent)
{
    HostileScreen screen([&](int connection, int) {
        while (!screen.isOver() && send(connection, "\1", 1, MSG_NOSIGNAL) == 1) {
            std::this_thread::sleep_for(milliseconds(700));
        }
    });
    use(screen.onSocket());
    expectNoDisplayAfterTheWait();
}

static void nothing(int)
{
}

TEST_F(Probe, SignalsOfTheGameMakeTheWaitNoLonger)
{
    struct sigaction action = {};
    action.sa_handler = nothing;
    sigaction(SIGALRM, &action, nullptr);
    itimerval often = {};
    often.it_interval.tv_usec = often.it_value.tv_usec = 20000;
    setitimer(ITIMER_REAL, &often, nullptr);
    HostileScreen screen([&](int connection, int) { screen.ignore(connection); });
    use(screen.onSocket());
    expectNoDisplayAfterTheWait();
}

TEST_F(Probe, AServerThatHangsUpAtOnceIsNoDisplay)
{
    HostileScreen screen([](int, int) {});
    use(screen.onSocket());
    expectNoDisplay();
}

TEST_F(Probe, AServerThatHangsUpDuringItsFirstCallIsNoDisplay)
{
    const std::string real = startReal();
    const size_t setup = 12; // bytes, without an authorization
    HostileScreen screen([&](int connection, int) { screen.relay(connection, real, setup + 1); });
    use(screen.onSocket());
    expectNoDisplay();
}

// How much the client may say before such a server hangs up; the probe itself is served.
class HangUp : public Probe, public testing::WithParamInterface<size_t> {};

TEST_P(HangUp, WhileTheDisplayIsOpenedLeavesTheGameAlive)
{
    const std::string real = startReal();
    HostileScreen screen(
        [&](int connection, int number) { screen.relay(connection, real, number == 1 ? 1000 : GetParam()); });
    use(screen.onSocket());
    testing::internal::CaptureStderr();
    expectNoDisplay();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

INSTANTIATE_TEST_SUITE_P(, HangUp, testing::Values(1, 20, 32, 60, 90), testing::PrintToStringParamName());

TEST_F(Probe, AServerThatTakesItsTimeIsADisplay)
{
    const std::string real = startReal();
    HostileScreen screen([&](int connection, int) {
        std::this_thread::sleep_for(milliseconds(1500));
        screen.relay(connection, real, ~size_t(0));
    });
    use(screen.onSocket());
    EXPECT_EQ(CGDisplayPixelsWide(kCGDirectMainDisplay), 640u);
}

TEST_F(Probe, AServerOnTheNetworkIsADisplay)
{
    const std::string real = startReal();
    HostileScreen screen([&](int connection, int) { screen.relay(connection, real, ~size_t(0)); });
    use(screen.onNetwork());
    EXPECT_EQ(CGDisplayPixelsWide(kCGDirectMainDisplay), 640u);
}

TEST_F(Probe, AServerIsNamedInManyWays)
{
    const std::string number = startReal().substr(1);
    for (const std::string& name : {":" + number, ":" + number + ".0", "unix:" + number, "unix/:" + number}) {
        use(name);
        const pid_t game = fork(); // the server is looked for once in each process
        if (game == 0) {
            _exit(CGDisplayPixelsWide(kCGDirectMainDisplay) == 640 ? 0 : 1);
        }
        int status = -1;
        waitpid(game, &status, 0);
        EXPECT_EQ(status, 0) << name;
    }
}

TEST_F(Probe, TheConnectionNeverTakesTheDescriptorOfAClosedStandardStream)
{
    startReal();
    const pid_t game = fork();
    if (game == 0) {
        for (int stream = 0; stream <= 2; stream++) {
            close(stream);
        }
        const bool hasDisplay = CGMainDisplayID() != kCGNullDirectDisplay;
        const bool areClosed = fcntl(0, F_GETFD) < 0 && fcntl(1, F_GETFD) < 0 && fcntl(2, F_GETFD) < 0;
        _exit(hasDisplay && areClosed ? 0 : 1);
    }
    int status = -1;
    waitpid(game, &status, 0);
    EXPECT_EQ(status, 0);
}

// A user's authorization, good for any server.
static void writeAuthorization(const std::string& path)
{
    const std::string kind = "MIT-MAGIC-COOKIE-1";
    std::ofstream file(path, std::ios::binary);
    file << std::string("\xff\xff\0\0\0\0\0", 7) << static_cast<char>(kind.size()) << kind << '\0' << '\x10'
         << std::string(16, 'c');
}

TEST_F(Probe, AServerThatHangsUpOnUsersWithoutAnAuthorizationIsADisplayForThoseWithOne)
{
    const std::string real = startReal();
    HostileScreen screen([&](int connection, int) {
        char setup[12];
        if (recv(connection, setup, sizeof(setup), MSG_PEEK | MSG_WAITALL) == sizeof(setup) &&
            setup[6] + setup[7] > 0) {
            screen.relay(connection, real, ~size_t(0));
        }
    });
    writeAuthorization("authorization");
    setenv("XAUTHORITY", "authorization", 1);
    use(screen.onNetwork());
    EXPECT_EQ(CGDisplayPixelsWide(kCGDirectMainDisplay), 640u);
}

TEST_F(Probe, AServerThatEndsWithItsLastClientIsADisplay)
{
    startReal("-terminate");
    EXPECT_EQ(CGDisplayPixelsWide(kCGDirectMainDisplay), 640u);
}

TEST_F(Probe, AServerThatBecomesSilentCountsAsGoneAfterFiveSeconds)
{
    startReal();
    ASSERT_EQ(CGDisplayPixelsWide(kCGDirectMainDisplay), 640u);
    kill(m_process, SIGSTOP);
    expectNoDisplayAfterTheWait();
    kill(m_process, SIGCONT);
    expectNoDisplay();
}

TEST_F(Probe, AServerThatAnswersAfterTheTimeLimitFindsTheConnectionClosed)
{
    startReal("-terminate"); // the game is its last client
    ASSERT_EQ(CGDisplayPixelsWide(kCGDirectMainDisplay), 640u);
    kill(m_process, SIGSTOP);
    expectNoDisplay();
    kill(m_process, SIGCONT);
    waitpid(m_process, nullptr, 0);
    m_process = 0;
}

TEST_F(Probe, AServerThatSendsEndlessEventsDoesNotStopTheGame)
{
    const std::string real = startReal();
    std::atomic<bool> floods{false};
    HostileScreen screen([&](int connection, int) {
        std::thread flood([&, connection] {
            const std::string events(32 * 100, '\x0b'); // KeymapNotify
            while (!screen.isOver()) {
                if (!floods) {
                    std::this_thread::yield();
                } else if (send(connection, events.data(), events.size(), MSG_NOSIGNAL) < 0) {
                    return;
                }
            }
        });
        screen.relay(connection, real, ~size_t(0));
        screen.ignore(connection);
        flood.join();
    });
    use(screen.onSocket());
    ASSERT_EQ(CGDisplayPixelsWide(kCGDirectMainDisplay), 640u);
    kill(m_process, SIGSTOP);
    floods = true;
    expectNoDisplayAfterTheWait();
}
