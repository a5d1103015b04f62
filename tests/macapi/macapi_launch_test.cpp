// Opening URLs. A script in place of xdg-open tells through a pipe how it was started.
#include <Carbon/Carbon.h>

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

static OSStatus openURL(const std::string& text)
{
    CFStringRef string = CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingASCII);
    CFURLRef url = CFURLCreateWithString(kCFAllocatorDefault, string, nullptr);
    const OSStatus status = LSOpenCFURLRef(url, nullptr);
    CFRelease(url);
    CFRelease(string);
    return status;
}

class Launch : public testing::Test {
protected:
    // Makes an xdg-open that runs these lines of shell with what it is to say going to the pipe.
    void install(const std::string& lines)
    {
        fs::create_directory("bin");
        ASSERT_EQ(mkfifo("pipe", 0600), 0);
        std::ofstream("bin/xdg-open") << "#!/bin/sh\n{ " + lines + "; } > '" + fs::absolute("pipe").string() + "'\n";
        fs::permissions("bin/xdg-open", fs::perms::owner_all);
        setenv("PATH", (fs::absolute("bin").string() + ":" + getenv("PATH")).c_str(), 1);
    }

    // All that one start of it says; waits for it.
    static std::string said()
    {
        std::ifstream pipe("pipe");
        return std::string(std::istreambuf_iterator<char>(pipe), {});
    }

    static void expectNoChildren()
    {
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
        EXPECT_EQ(errno, ECHILD);
    }
};

TEST_F(Launch, HandsTheUrlOverByteForByteAndAsOneArgument)
{
    install("printf '%s|' \"$#\" \"$1\"");
    for (const std::string url : {
             "http://www.brackenlow.example/",
             "http://www.brackenlow.example/a%20b",
             "http://a/;touch$IFS'pwned'",
             "http://a/$(touch*pwned)&?x=$HOME&y=~",
             "http://a/'it''s'!*(a)[b]",
             "mailto:help@brackenlow.example",
             "file:///Games/read%20me",
         }) {
        EXPECT_EQ(openURL(url), noErr);
        EXPECT_EQ(said(), "1|" + url + "|");
        expectNoChildren();
    }
    EXPECT_FALSE(fs::exists("pwned"));
}

TEST_F(Launch, TheOpenerHasNoneOfTheGamesStreams)
{
    install("for stream in 0 2; do readlink /proc/$$/fd/$stream; done");
    EXPECT_EQ(openURL("http://a/"), noErr);
    EXPECT_EQ(said(), "/dev/null\n/dev/null\n");
}

static bool s_cannotCloseRanges; // as on kernels before 5.11

extern "C" int close_range(unsigned int first, unsigned int last, int flags) noexcept
{
    if (s_cannotCloseRanges) {
        errno = EINVAL;
        return -1;
    }
    return reinterpret_cast<decltype(&close_range)>(dlsym(RTLD_NEXT, "close_range"))(first, last, flags);
}

TEST_F(Launch, TheOpenerHasNoneOfTheGamesFiles)
{
    install("for file in /proc/$$/fd/*; do readlink $file; done");
    const int secret = open("secret", O_RDWR | O_CREAT, 0600); // stays open in what the game starts itself
    ASSERT_EQ(dup2(secret, 77), 77);
    ASSERT_EQ(dup2(secret, 1000), 1000);
    for (const bool old : {false, true}) {
        s_cannotCloseRanges = old;
        EXPECT_EQ(openURL("http://a/"), noErr);
        EXPECT_EQ(said().find("secret"), std::string::npos) << old;
    }
    EXPECT_EQ(fcntl(secret, F_GETFD), 0); // the game's own are as they were
    close(secret);
    close(77);
    close(1000);
}

TEST_F(Launch, TheOpenerIgnoresNoSignalThatTheGameIgnores)
{
    install("grep SigIgn /proc/self/status");
    signal(SIGUSR1, SIG_IGN);
    EXPECT_EQ(openURL("http://a/"), noErr);
    EXPECT_EQ(said(), "SigIgn:\t0000000000000000\n");
}

TEST_F(Launch, TheOpenerBlocksNoSignalThatTheGameBlocks)
{
    install("grep SigBlk /proc/self/status");
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    EXPECT_EQ(openURL("http://a/"), noErr);
    EXPECT_EQ(said(), "SigBlk:\t0000000000000000\n");
}

TEST_F(Launch, DoesNotWaitForWhatItStarted)
{
    install("read line < '" + fs::absolute("hold").string() + "'; echo $line");
    ASSERT_EQ(mkfifo("hold", 0600), 0);
    EXPECT_EQ(openURL("http://a/"), noErr);
    expectNoChildren();
    const int pipe = open("pipe", O_RDONLY);
    std::ofstream("hold") << "go on\n";
    char line[16] = {};
    ASSERT_GT(read(pipe, line, sizeof(line)), 0);
    EXPECT_STREQ(line, "go on\n");
    close(pipe);
}

TEST_F(Launch, WithoutAnOpenerThereIsAnError)
{
    fs::create_directory("empty");
    setenv("PATH", fs::absolute("empty").c_str(), 1);
    EXPECT_EQ(openURL("http://a/"), kLSApplicationNotFoundErr);
    std::ofstream("empty/xdg-open") << "not a program";
    EXPECT_EQ(openURL("http://a/"), kLSApplicationNotFoundErr);
    expectNoChildren();
}

TEST_F(Launch, AFailureReachesAGameWithoutStandardStreams)
{
    setenv("PATH", "/nowhere", 1);
    const pid_t game = fork();
    if (game == 0) {
        close(STDIN_FILENO);
        close(STDOUT_FILENO);
        close(STDERR_FILENO);
        _exit(openURL("http://a/") == kLSApplicationNotFoundErr ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(game, &status, 0), game);
    EXPECT_EQ(status, 0);
}

TEST_F(Launch, AUrlWithoutASchemeIsRefused)
{
    install("echo started");
    for (const char* text : {"--help", "www.brackenlow.example", "/etc/passwd", "#part"}) {
        EXPECT_EQ(openURL(text), kLSApplicationNotFoundErr) << text;
    }
    EXPECT_EQ(openURL("http://a/"), noErr);
    EXPECT_EQ(said(), "started\n"); // once
}

TEST_F(Launch, DoesNotReportWhichProgramOpensTheUrl)
{
    install("echo started");
    CFURLRef url = CFURLCreateWithString(kCFAllocatorDefault, CFSTR("http://a/"), nullptr);
    CFURLRef launched = url;
    EXPECT_EQ(LSOpenCFURLRef(url, &launched), noErr);
    EXPECT_EQ(launched, nullptr);
    EXPECT_EQ(said(), "started\n");
    CFRelease(url);
}

TEST_F(Launch, NullIsAnError)
{
    EXPECT_EQ(LSOpenCFURLRef(nullptr, nullptr), paramErr);
}

TEST_F(Launch, CodesAreTheMacs)
{
    EXPECT_EQ(kLSApplicationNotFoundErr, -10814);
    EXPECT_EQ(kLSUnknownErr, -10810);
}
