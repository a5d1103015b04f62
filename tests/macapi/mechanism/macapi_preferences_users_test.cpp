// The preferences store in a folder that several users may write to. Anna and Bea play, Mallory does harm.
#include "another_user.h"

#include "macapi/src/objects/plist.h"
#include "macapi/src/system/filelock.h"

#include <Carbon/Carbon.h>

#include <chrono>
#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <thread>

using namespace macapi;

static const PreferencesDomain sc_shared = {"com.example.game", PreferencesUser::Any, PreferencesHost::Any};
static const std::string sc_store = "MACAPI_LIBRARY/Preferences";
static const std::string sc_sharedFile = sc_store + "/com.example.game.plist";

static double secondsSince(std::chrono::steady_clock::time_point begin)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

static uid_t ownerOf(const std::string& path)
{
    struct stat status = {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status.st_uid;
}

// Anna's home, where nobody else may look.
static void makeHome()
{
    openToAll();
    fs::create_directories("home/autostart");
    fillAs(sc_anna, "home/keys", "ssh-rsa AAAA");
    fillAs(sc_anna, "home/private.plist", plistOf(entry("Secret", "swordfish")));
    giveTo(sc_anna, "home/autostart");
    giveTo(sc_anna, "home");
    chmod("home", 0700);
}

static std::string inHome(const std::string& name)
{
    return fs::absolute("home/" + name);
}

static void expectHomeAsItWas()
{
    EXPECT_EQ(filesIn("home"), (std::set<std::string>{"autostart", "keys", "private.plist"}));
    EXPECT_EQ(filesIn("home/autostart"), std::set<std::string>());
    EXPECT_EQ(contentsOf("home/keys"), "ssh-rsa AAAA");
    EXPECT_EQ(contentsOf("home/private.plist"), plistOf(entry("Secret", "swordfish")));
    for (const char* path : {"home/keys", "home/private.plist"}) {
        EXPECT_EQ(modeOf(path), 0600) << path;
        EXPECT_EQ(ownerOf(path), sc_anna) << path;
    }
}

// No file in the shared folder holds what was Anna's alone.
static void expectNothingPublished()
{
    for (const std::string& name : filesIn(sc_store)) {
        const std::string path = sc_store + "/" + name;
        if (!fs::is_symlink(path) && fs::is_regular_file(path) && fs::hard_link_count(path) == 1) {
            EXPECT_EQ(contentsOf(path).find("swordfish"), std::string::npos) << name;
        }
    }
}

// As Anna, and as root.
static void forEachReader(const std::function<void()>& part)
{
    for (uid_t reader : {sc_anna, uid_t(0)}) {
        EXPECT_EQ(runAs(reader, part), 0) << "user " << reader;
    }
}

TEST(SharedPreferences, AnotherUsersLinkIsNeitherReadNorSetAsideNorWrittenThrough)
{
    SKIP_WITHOUT_USERS();
    makeHome();
    for (const char* target : {"keys", "private.plist"}) {
        linkAs(sc_mallory, inHome(target), sc_sharedFile);
        forEachReader([] {
            EXPECT_EQ(value("Secret", sc_shared), "(none)");
            EXPECT_EQ(value("Player", sc_shared), "(none)");
            EXPECT_FALSE(keep("Player", "Anna", sc_shared));
            EXPECT_EQ(checkPreferences(sc_sharedFile), PreferencesState::Unreadable);
        });
        expectHomeAsItWas();
        fs::remove(sc_sharedFile);
    }
}

TEST(SharedPreferences, AnotherUsersLinkToAMissingFileIsNotWrittenThrough)
{
    SKIP_WITHOUT_USERS();
    makeHome();
    linkAs(sc_mallory, inHome("autostart/game.desktop"), sc_sharedFile);
    forEachReader([] { EXPECT_FALSE(keep("Player", "Anna", sc_shared)); });
    expectHomeAsItWas();
}

TEST(SharedPreferences, AFolderThatIsAnotherUsersLinkIsNotEntered)
{
    SKIP_WITHOUT_USERS();
    makeHome();
    fs::remove(sc_store);
    for (const char* target : {"autostart", "autostart/new"}) {
        linkAs(sc_mallory, inHome(target), sc_store);
        forEachReader([] {
            EXPECT_FALSE(keep("Player", "Anna", sc_shared));
            EXPECT_FALSE(keep("Player", "Anna", {"game", PreferencesUser::Any, PreferencesHost::Current}));
        });
        expectHomeAsItWas();
        fs::remove(sc_store);
    }
}

TEST(SharedPreferences, AMarkOfTheMachineIsNotMadeBehindAnotherUsersLink)
{
    SKIP_WITHOUT_USERS();
    makeHome();
    const PreferencesDomain marks = {sc_anyApplication, PreferencesUser::Any, PreferencesHost::Current};
    fs::create_directories(sc_store + "/ByHost");
    linkAs(sc_mallory, inHome("autostart/game.desktop"), preferencesFile(marks));
    forEachReader([&] { EXPECT_FALSE(keep("Ostrel Works/game", "", marks)); });
    expectHomeAsItWas();
}

TEST(SharedPreferences, TheReadersOwnLinkAndRootsAreFollowed)
{
    SKIP_WITHOUT_USERS();
    openToAll();
    for (uid_t owner : {sc_anna, uid_t(0)}) {
        fs::remove("file");
        fillAs(sc_anna, "file", plistOf(entry("Player", "Anna")));
        linkAs(owner, fs::absolute("file"), sc_sharedFile);
        EXPECT_EQ(runAs(sc_anna, [] { EXPECT_EQ(value("Player", sc_shared), "Anna"); }), 0) << owner;
        fs::remove(sc_sharedFile);
    }
}

// Moves this process into a user namespace that maps only the user of this process. The files of root and of all
// other users then have one owner, whose number is not 0. Returns false if the system refuses.
static bool enterUserNamespace()
{
    const std::string user = std::to_string(geteuid());
    if (prctl(PR_SET_DUMPABLE, 1) != 0 || unshare(CLONE_NEWUSER) != 0) {
        return false;
    }
    std::ofstream("/proc/self/uid_map") << user << ' ' << user << " 1";
    return std::to_string(geteuid()) == user && ownerOf("/") != 0;
}

TEST(SharedPreferences, RootsLinkIsFollowedInAUserNamespaceWithoutRoot)
{
    SKIP_WITHOUT_USERS();
    if (runAs(sc_anna, [] { _exit(enterUserNamespace() ? 0 : 1); }) != 0) {
        GTEST_SKIP() << "an ordinary user can make no user namespace here";
    }
    openToAll();
    fillAs(sc_anna, "file", plistOf(entry("Player", "Anna")));
    linkAs(0, fs::absolute("file"), sc_sharedFile);
    EXPECT_EQ(runAs(sc_anna,
                    [] {
                        ASSERT_TRUE(enterUserNamespace());
                        EXPECT_EQ(value("Player", sc_shared), "Anna");
                    }),
              0);
}

TEST(SharedPreferences, AnotherUsersLinkIsReportedOnce)
{
    SKIP_WITHOUT_USERS();
    makeHome();
    linkAs(sc_mallory, inHome("keys"), sc_sharedFile);
    testing::internal::CaptureStderr();
    value("Player", sc_shared);
    value("Player", sc_shared);
    const std::string path = preferencesFile(sc_shared);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "macapi: preferences " + path + " are behind a link of another user's, which is not followed\n");
}

TEST(SharedPreferences, ACopyThatIsALinkIsNotPublished)
{
    SKIP_WITHOUT_USERS();
    makeHome();
    linkAs(sc_mallory, inHome("private.plist"), sc_sharedFile + ".bak");
    forEachReader([] {
        fillAs(geteuid(), sc_sharedFile, "damage", 0666);
        EXPECT_EQ(value("Secret", sc_shared), "(none)");
        keep("Player", "Anna", sc_shared);
        unlink(sc_sharedFile.c_str());
    });
    expectHomeAsItWas();
    expectNothingPublished();
}

TEST(SharedPreferences, ACopyWithASecondNameIsNotPublished)
{
    SKIP_WITHOUT_USERS();
    makeHome();
    fs::create_hard_link("home/private.plist", sc_sharedFile + ".bak");
    fillAs(sc_mallory, sc_sharedFile, "damage", 0666);
    forEachReader([] { EXPECT_EQ(value("Secret", sc_shared), "(none)"); });
    expectHomeAsItWas();
    expectNothingPublished();
}

TEST(SharedPreferences, ACopyGetsNoOtherOwnerThanItHad)
{
    SKIP_WITHOUT_USERS();
    openToAll();
    fillAs(0, sc_sharedFile + ".bak", plistOf(entry("Player", "Anna")), 0600);
    fillAs(sc_mallory, sc_sharedFile, "damage", 0666);
    testing::internal::CaptureStderr();
    EXPECT_EQ(value("Player", sc_shared), "Anna");
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(ownerOf(sc_sharedFile), 0u);
    EXPECT_EQ(modeOf(sc_sharedFile), 0600);
}

TEST(SharedPreferences, ACopyOfAThirdUserIsNotUsed)
{
    SKIP_WITHOUT_USERS();
    openToAll();
    fillAs(sc_mallory, sc_sharedFile + ".bak", plistOf(entry("Player", "Mallory")), 0644);
    fillAs(sc_bea, sc_sharedFile, "damage", 0666);
    EXPECT_EQ(runAs(sc_anna, [] { EXPECT_EQ(value("Player", sc_shared), "(none)"); }), 0);
    EXPECT_EQ(contentsOf(sc_sharedFile), "damage");
}

TEST(SharedPreferences, OnlyPermissionsAreKeptOfAFilesMode)
{
    SKIP_WITHOUT_USERS();
    openToAll();
    fillAs(sc_mallory, sc_sharedFile, plistOf(""), 0);
    chmod(sc_sharedFile.c_str(), 06777);
    EXPECT_TRUE(keep("Player", "Anna", sc_shared));
    EXPECT_EQ(modeOf(sc_sharedFile), 0777);
    EXPECT_EQ(modeOf(sc_sharedFile + ".bak"), 0777);
}

TEST(SharedPreferences, AGroupThatTheWriterMayNotGiveGetsNoMoreThanAllUsers)
{
    SKIP_WITHOUT_USERS();
    openToAll();
    fillAs(sc_bea, sc_sharedFile, plistOf(""), 0664);
    EXPECT_EQ(runAs(sc_anna, [] { EXPECT_TRUE(keep("Player", "Anna", sc_shared)); }), 0);
    EXPECT_EQ(modeOf(sc_sharedFile), 0644);
}

TEST(SharedPreferences, ALockThatLeadsElsewhereIsNotUsed)
{
    SKIP_WITHOUT_USERS();
    makeHome();
    const std::string lock = sc_sharedFile + ".lock";
    const std::function<void()> traps[] = {[&] { linkAs(sc_mallory, inHome("keys"), lock); },
                                           [&] { fs::create_hard_link("home/keys", lock); },
                                           [&] { mkfifo(lock.c_str(), 0666); }};
    for (const auto& trap : traps) {
        trap();
        forEachReader([] { EXPECT_FALSE(keep("Player", "Anna", sc_shared)); });
        expectHomeAsItWas();
        fs::remove(lock);
    }
}

TEST(SharedPreferences, ThreeUsersWriteInTurns)
{
    SKIP_WITHOUT_USERS();
    openToAll();
    for (uid_t user : {sc_anna, sc_bea, sc_mallory, uid_t(0), sc_anna}) {
        EXPECT_EQ(runAs(user, [&] { EXPECT_TRUE(keep(std::to_string(user), "was here", sc_shared)); }), 0) << user;
    }
    EXPECT_EQ(copyPreferences(sc_shared)->entries.size(), 4u);
}

// ---- Root in a user's folder.

TEST(SharedPreferences, AFileThatRootMakesBelongsToTheFoldersOwner)
{
    SKIP_WITHOUT_USERS();
    openToAll();
    giveTo(sc_anna, "MACAPI_USER_LIBRARY");
    EXPECT_TRUE(keep("Level", "3"));
    for (const char* path :
         {"", "/com.example.game.plist", "/com.example.game.plist.bak", "/com.example.game.plist.lock"}) {
        EXPECT_EQ(ownerOf(std::string("MACAPI_USER_LIBRARY/Preferences") + path), sc_anna) << path;
    }
    EXPECT_EQ(runAs(sc_anna,
                    [] {
                        EXPECT_EQ(value("Level"), "3");
                        EXPECT_TRUE(keep("Level", "4"));
                    }),
              0);
}

TEST(SharedPreferences, ALockThatRootHasLeftGoesToTheFoldersOwner)
{
    SKIP_WITHOUT_USERS();
    openToAll();
    fs::create_directories("MACAPI_USER_LIBRARY/Preferences");
    giveTo(sc_anna, "MACAPI_USER_LIBRARY/Preferences");
    fillAs(0, std::string(sc_file) + ".lock", "");
    EXPECT_TRUE(keep("Level", "3"));
    EXPECT_EQ(runAs(sc_anna, [] { EXPECT_TRUE(keep("Level", "4")); }), 0);
}

// ---- Locks that other processes hold.

// A process that locks all of a file until the end of the test.
class Holder {
public:
    explicit Holder(const std::string& path)
    {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        m_process = fork();
        if (m_process == 0) {
            struct flock lock = {};
            lock.l_type = F_WRLCK;
            fcntl(open(path.c_str(), O_RDWR | O_CREAT, 0666), F_SETLKW, &lock);
            write(ends[1], "!", 1);
            for (;;) {
                pause();
            }
        }
        char byte;
        EXPECT_EQ(read(ends[0], &byte, 1), 1);
    }
    ~Holder()
    {
        kill(m_process, SIGKILL);
        waitpid(m_process, nullptr, 0);
    }

    pid_t process() const { return m_process; }

private:
    pid_t m_process;
};

TEST(LockedPreferences, AWriteGivesUpAfterFiveSecondsAndSaysWhoHasTheLock)
{
    makeStore();
    const Holder holder(std::string(sc_file) + ".lock");
    const auto begin = std::chrono::steady_clock::now();
    testing::internal::CaptureStderr();
    EXPECT_FALSE(keep("Level", "4"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "macapi: preferences " + preferencesFile(sc_game) + " are not written: process " +
                  std::to_string(holder.process()) + " holds " + preferencesFile(sc_game) + ".lock\n");
    EXPECT_GE(secondsSince(begin), 5);
    EXPECT_LT(secondsSince(begin), 30);
    EXPECT_EQ(value("Level"), "3");
}

TEST(LockedPreferences, ADamagedFileIsReadFromItsCopyWithoutWaiting)
{
    makeStore();
    fill(sc_file, "damage");
    const Holder holder(std::string(sc_file) + ".lock");
    const auto begin = std::chrono::steady_clock::now();
    for (int turn = 0; turn < 100; turn++) {
        EXPECT_EQ(value("Level"), "3");
    }
    EXPECT_LT(secondsSince(begin), 4); // one wait would take 5
    EXPECT_EQ(contentsOf(sc_file), "damage");
}

TEST(LockedPreferences, OtherThreadsReadWhileOneWaitsAndSeeWhatItWrites)
{
    makeStore();
    const PreferencesDomain other = {"com.example.other", PreferencesUser::Current, PreferencesHost::Any};
    set("Level", "4");
    std::atomic<bool> isDone = false;
    testing::internal::CaptureStderr();
    {
        const Holder holder(std::string(sc_file) + ".lock");
        std::thread writer([&] {
            EXPECT_FALSE(synchronizePreferences(sc_game));
            isDone = true;
        });
        int reads = 0;
        while (!isDone) {
            EXPECT_EQ(value("Player", other), "(none)");
            const std::string level = value("Level");
            EXPECT_TRUE(level == "4" || level == "3") << level; // 3 once the write has failed
            // The writer waits for seconds, and other tests need the processor.
            if (++reads > 100) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        }
        EXPECT_GT(reads, 100);
        writer.join();
    }
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(value("Level"), "3");
}

// How many other processes have locked a byte behind the first.
static int waitersAt(int file)
{
    int waiters = 0;
    struct flock lock = {};
    for (lock.l_start = 1;; lock.l_start++) {
        lock.l_type = F_WRLCK;
        lock.l_len = 0;
        if (fcntl(file, F_GETLK, &lock) != 0 || lock.l_type == F_UNLCK) {
            return waiters;
        }
        waiters++;
    }
}

TEST(LockedPreferences, ProcessesGetTheLockInTheOrderInWhichTheyAskedForIt)
{
    const Descriptor folder = openAt(AT_FDCWD, ".", O_RDONLY | O_DIRECTORY);
    const Descriptor order = openAt(AT_FDCWD, "order", O_WRONLY | O_CREAT | O_APPEND, 0600);
    const Descriptor file =
        openAt(AT_FDCWD, "lock", O_RDWR | O_CREAT, 0600); // closed at the end: that frees all locks
    std::vector<pid_t> waiters;
    const auto begin = std::chrono::steady_clock::now();
    {
        const FileLock first(folder, "lock", 0600, std::chrono::seconds(0));
        ASSERT_TRUE(first.isHeld());
        for (int waiter = 0; waiter < 5; waiter++) {
            waiters.push_back(fork());
            if (waiters.back() == 0) {
                const FileLock lock(folder, "lock", 0600, std::chrono::seconds(60));
                write(order, std::to_string(waiter).c_str(), 1);
                _exit(lock.isHeld() ? 0 : 1);
            }
            while (waitersAt(file) < waiter + 1) {
                ASSERT_EQ(waitpid(waiters.back(), nullptr, WNOHANG), 0);
            }
        }
    }
    for (pid_t waiter : waiters) {
        int status = -1;
        waitpid(waiter, &status, 0);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(contentsOf("order").size(), 5u);
    if (secondsSince(begin) > 2) {
        GTEST_SKIP() << "the machine is too slow: the order holds for two seconds";
    }
    EXPECT_EQ(contentsOf("order"), "01234");
}

TEST(LockedPreferences, AProcessThatIsStoppedWhileItWaitsDoesNotKeepOthersOut)
{
    const Descriptor folder = openAt(AT_FDCWD, ".", O_RDONLY | O_DIRECTORY);
    const Descriptor file = openAt(AT_FDCWD, "lock", O_RDWR | O_CREAT, 0600);
    pid_t waiter = -1;
    {
        const FileLock first(folder, "lock", 0600, std::chrono::seconds(0));
        ASSERT_TRUE(first.isHeld());
        waiter = fork();
        if (waiter == 0) {
            const FileLock lock(folder, "lock", 0600, std::chrono::seconds(60));
            _exit(0);
        }
        while (waitersAt(file) == 0) {
            ASSERT_EQ(waitpid(waiter, nullptr, WNOHANG), 0);
        }
        kill(waiter, SIGSTOP);
        waitpid(waiter, nullptr, WUNTRACED);
    }
    EXPECT_TRUE(FileLock(folder, "lock", 0600, std::chrono::seconds(60)).isHeld());
    kill(waiter, SIGKILL);
    waitpid(waiter, nullptr, 0);
}

// ---- Streams that are closed.

TEST(PreferencesWithoutStreams, LinesForAClosedStreamNeverGetIntoTheFile)
{
    const int status = run([] {
        for (int stream : {0, 1, 2}) {
            close(stream);
        }
        std::atomic<bool> isDone = false;
        std::thread logger([&] {
            while (!isDone) {
                syscall(SYS_write, 2, "log line\n", 9); // not seen by the thread sanitizer, to which it is a race
            }
        });
        int damaged = 0;
        for (int turn = 0; turn < 200; turn++) {
            damaged += !keep("Level", std::to_string(turn)) || checkPreferences(sc_file) != PreferencesState::Good;
        }
        isDone = true;
        logger.join();
        const std::string last = value("Level");
        _exit(damaged != 0 ? 3 : last != "199" ? 4 : fcntl(2, F_GETFD) != -1 ? 5 : 0);
    });
    EXPECT_EQ(status, 0);
}

TEST(PreferencesWithoutStreams, DescriptorsLieAboveThemAndCloseOnExec)
{
    fill("file", "contents");
    const int status = run([] {
        for (int stream : {0, 1, 2}) {
            close(stream);
        }
        for (int flags : {O_RDONLY, O_RDWR, O_WRONLY | O_CREAT}) {
            const Descriptor file = openAt(AT_FDCWD, "file", flags, 0600);
            if (file < 3 || fcntl(file, F_GETFD) != FD_CLOEXEC) {
                _exit(3);
            }
            if (fcntl(0, F_GETFD) != -1 || fcntl(1, F_GETFD) != -1 || fcntl(2, F_GETFD) != -1) {
                _exit(4);
            }
        }
    });
    EXPECT_EQ(status, 0);
}
