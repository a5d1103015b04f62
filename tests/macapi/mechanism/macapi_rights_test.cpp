// Games with more rights than their user: copies of a small game that are setuid, setgid or have a capability, run by
// another user in an environment that lies.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <grp.h>
#include <iterator>
#include <pwd.h>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

// Of each file, the two parts of a permitted set and, in the first word, whether it is effective at once.
struct FileCapabilities {
    unsigned char version[4] = {1, 0, 0, 2};      // little-endian, as all of them
    unsigned char permitted[4] = {0, 0, 0x80, 0}; // CAP_SYS_NICE
    unsigned char rest[12] = {};
};

class Rights : public testing::Test {
protected:
    void SetUp() override
    {
        struct statvfs disk;
        const passwd* nobody = getpwnam("nobody");
        const std::string emulator = EMULATOR;
        if (geteuid() != 0) {
            GTEST_SKIP() << "only root can make a setuid program of another user";
        } else if (!nobody) {
            GTEST_SKIP() << "there is no user called nobody";
        } else if (!emulator.empty()) {
            GTEST_SKIP() << "a program that is emulated gets no rights from its file";
        } else if (statvfs(".", &disk) != 0 || (disk.f_flag & ST_NOSUID) != 0) {
            GTEST_SKIP() << "the folder for temporary files is mounted nosuid";
        } else if (prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) != 0) {
            GTEST_SKIP() << "this process may start no setuid programs";
        }
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
        GTEST_SKIP() << "sanitizers are not made for setuid programs";
#endif
        m_uid = nobody->pw_uid;
        m_gid = nobody->pw_gid;
        m_home = nobody->pw_dir;
        fs::permissions(".", fs::perms(0755));
        fs::create_directory("lies");
        fs::permissions("lies", fs::perms(0777));
    }

    // Puts a copy at "game", of this owner and with these rights.
    static void install(uid_t owner, gid_t group, mode_t mode)
    {
        fs::copy_file(GAME, "game", fs::copy_options::overwrite_existing);
        ASSERT_EQ(chown("game", owner, group), 0);
        ASSERT_EQ(chmod("game", mode), 0);
    }

    // Makes "lies/link", a link of this owner to a folder, and "lies/text", a link of the same owner to a file in
    // that folder. All users may write to the file.
    static void linkToFolder(uid_t owner)
    {
        fs::create_directories("folder");
        std::ofstream("folder/text") << "text";
        fs::permissions("folder/text", fs::perms(0666));
        for (const auto& [link, target] : {std::pair("lies/link", "folder"), std::pair("lies/text", "folder/text")}) {
            fs::remove(link);
            fs::create_symlink(fs::absolute(target), link);
            ASSERT_EQ(lchown(link, owner, owner), 0);
        }
    }

    // In the child: the user, with nothing of root's left, in an environment of the user's own making.
    void becomeUser() const
    {
        if (setgroups(0, nullptr) != 0 || setresgid(m_gid, m_gid, m_gid) != 0 ||
            setresuid(m_uid, m_uid, m_uid) != 0) {
            _exit(3);
        }
        const std::string lies = fs::absolute("lies").string();
        for (const char* name :
             {"MACAPI_LIBRARY", "MACAPI_USER_LIBRARY", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "HOME"}) {
            setenv(name, lies.c_str(), 1);
        }
        setenv("PATH", (lies + ":" + getenv("PATH")).c_str(), 1);
    }

    // What the game at path answers when the user starts it.
    std::string ask(const std::vector<std::string>& questions, const std::string& path = "game") const
    {
        std::vector<const char*> words = {path.c_str()};
        for (const std::string& question : questions) {
            words.push_back(question.c_str());
        }
        words.push_back(nullptr);
        const std::string program = fs::absolute(path).string();
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        const pid_t child = fork();
        if (child == 0) {
            dup2(ends[1], STDOUT_FILENO);
            close(ends[0]);
            close(ends[1]);
            becomeUser();
            execv(program.c_str(), const_cast<char**>(words.data()));
            _exit(4);
        }
        close(ends[1]);
        std::string answers;
        char bytes[4096];
        for (ssize_t length = 0; (length = read(ends[0], bytes, sizeof(bytes))) > 0;) {
            answers.append(bytes, static_cast<size_t>(length));
        }
        close(ends[0]);
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
        return answers;
    }

    // As the password file has it.
    static std::string homeOf(uid_t user)
    {
        const passwd* entry = getpwuid(user);
        return entry ? entry->pw_dir : "";
    }

    // Puts an opener where a program with more rights than its user looks for it, in this process's view alone, and
    // another into the user's own PATH. Both say how they were started.
    void installOpeners()
    {
        if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("none", "/usr/local/bin", "tmpfs", 0, "mode=755") != 0) {
            GTEST_SKIP() << "no file can be put into this machine's folder of programs for the length of a test";
        }
        fs::remove("pipe");
        ASSERT_EQ(mkfifo("pipe", 0600), 0);
        ASSERT_EQ(chown("pipe", m_uid, m_gid), 0);
        for (const std::string& folder : {std::string("/usr/local/bin"), fs::absolute("lies").string()}) {
            std::ofstream(folder + "/xdg-open")
                << "#!/bin/sh\n{ echo " + folder +
                       "; echo $PATH; grep -E '^(Uid|Gid|Cap(Inh|Prm|Eff|Amb)):' /proc/$$/status; } > '" +
                       fs::absolute("pipe").string() + "'\n";
            fs::permissions(folder + "/xdg-open", fs::perms(0755));
        }
    }

    std::string saidByTheOpener() const
    {
        std::ifstream pipe("pipe");
        return std::string(std::istreambuf_iterator<char>(pipe), {});
    }

    std::string openerOfTheUsersAlone() const
    {
        const std::string uid = std::to_string(m_uid);
        const std::string gid = std::to_string(m_gid);
        const std::string none = "\t0000000000000000\n";
        return "/usr/local/bin\n/usr/local/bin:/usr/bin:/bin\nUid:\t" + uid + "\t" + uid + "\t" + uid + "\t" + uid +
               "\nGid:\t" + gid + "\t" + gid + "\t" + gid + "\t" + gid + "\nCapInh:" + none + "CapPrm:" + none +
               "CapEff:" + none + "CapAmb:" + none;
    }

    // What macapi, file and core each do with the links that linkToFolder made.
    const std::vector<std::string> m_useTheLinks = {"enter the link", "write through the link", "whose link"};
    const std::string m_followed = "entered\nwritten\na trusted user's\n";
    const std::string m_refused = "refused\nrefused\nanother user's\n";

    std::string m_home; // of the user who starts the game
    uid_t m_uid = 0;
    gid_t m_gid = 0;
    const uid_t m_owner = 1; // of the game: daemon, which owns no file that matters
    const gid_t m_group = 1;
};

TEST_F(Rights, AnOrdinaryGameBelievesItsEnvironment)
{
    install(m_owner, m_group, 0755);
    const std::string lies = fs::absolute("lies").string();
    EXPECT_EQ(ask({"extra rights", "machine's preferences", "user's data"}),
              "no\n" + lies + "/Preferences\n" + lies + "/Application Support\n");
}

TEST_F(Rights, ASetuidGameHasItsFoldersInItsOwnersHome)
{
    install(m_owner, m_group, 04755);
    const std::string home = homeOf(m_owner);
    EXPECT_EQ(ask({"extra rights", "machine's preferences", "user's data"}),
              "yes\n" + home + "/.config/macapi/local/Preferences\n" + home +
                  "/.local/share/macapi/user/Application Support\n");
}

TEST_F(Rights, ASetuidGameThatHasDroppedItsRightsHasItsFoldersInTheUsersHome)
{
    install(m_owner, m_group, 04755);
    EXPECT_EQ(ask({"become the user", "extra rights", "machine's preferences"}),
              "done\nyes\n" + m_home + "/.config/macapi/local/Preferences\n");
}

TEST_F(Rights, ASetgidGameHasItsFoldersInTheUsersHomeAsThePasswordFileNamesIt)
{
    install(m_owner, m_group, 02755);
    EXPECT_EQ(ask({"extra rights", "user's data"}),
              "yes\n" + m_home + "/.local/share/macapi/user/Application Support\n");
}

TEST_F(Rights, AGameWithACapabilityDoesNotBelieveItsEnvironment)
{
    install(m_owner, m_group, 0755);
    const FileCapabilities capabilities;
    if (setxattr("game", "security.capability", &capabilities, sizeof(capabilities), 0) != 0) {
        GTEST_SKIP() << "files have no capabilities here";
    }
    EXPECT_EQ(ask({"extra rights", "machine's preferences"}),
              "yes\n" + m_home + "/.config/macapi/local/Preferences\n");
}

TEST_F(Rights, LinksOfTheUserAreFollowedByAnOrdinaryGameAndByNoGameWithMoreRights)
{
    linkToFolder(m_uid);
    install(m_owner, m_group, 0755);
    EXPECT_EQ(ask(m_useTheLinks), m_followed);
    install(m_owner, m_group, 02755);
    EXPECT_EQ(ask(m_useTheLinks), m_refused);
    install(m_owner, m_group, 04755);
    EXPECT_EQ(ask(m_useTheLinks), m_refused);
    EXPECT_EQ(ask({"become the user", "enter the link", "write through the link", "whose link"}),
              "done\n" + m_refused);
}

TEST_F(Rights, LinksOfTheUserAreNotFollowedByAGameWithACapability)
{
    linkToFolder(m_uid);
    install(m_owner, m_group, 0755);
    const FileCapabilities capabilities;
    if (setxattr("game", "security.capability", &capabilities, sizeof(capabilities), 0) != 0) {
        GTEST_SKIP() << "files have no capabilities here";
    }
    EXPECT_EQ(ask(m_useTheLinks), m_refused);
}

TEST_F(Rights, LinksOfRootAndOfASetuidGamesOwnerAreFollowed)
{
    install(m_owner, m_group, 02755);
    linkToFolder(0);
    EXPECT_EQ(ask(m_useTheLinks), m_followed);
    install(m_owner, m_group, 04755);
    EXPECT_EQ(ask(m_useTheLinks), m_followed);
    linkToFolder(m_owner);
    EXPECT_EQ(ask(m_useTheLinks), m_followed);
}

TEST_F(Rights, ASetuidGameIgnoresALinkThatItsUserStartsItThrough)
{
    install(m_owner, m_group, 04755);
    fs::create_directories("lies/Evil.app/Contents/MacOS");
    fs::create_symlink(fs::absolute("game"), "lies/Evil.app/Contents/MacOS/game");
    EXPECT_EQ(ask({"executable without /proc"}, "lies/Evil.app/Contents/MacOS/game"), "''\n");
}

TEST_F(Rights, TheOpenerOfASetuidGameHasTheUsersRightsAndAFixedPath)
{
    install(m_owner, m_group, 06755);
    installOpeners();
    if (!IsSkipped()) {
        ASSERT_EQ(ask({"open"}), "0\n");
        EXPECT_EQ(saidByTheOpener(), openerOfTheUsersAlone());
    }
}

TEST_F(Rights, TheOpenerOfRootsGameHasTheUsersRightsAndAFixedPath)
{
    install(0, 0, 06755);
    installOpeners();
    if (!IsSkipped()) {
        ASSERT_EQ(ask({"open"}), "0\n");
        EXPECT_EQ(saidByTheOpener(), openerOfTheUsersAlone());
    }
}

TEST_F(Rights, TheOpenerOfAGameWithACapabilityHasNone)
{
    install(m_owner, m_group, 0755);
    const FileCapabilities capabilities;
    if (setxattr("game", "security.capability", &capabilities, sizeof(capabilities), 0) != 0) {
        GTEST_SKIP() << "files have no capabilities here";
    }
    installOpeners();
    if (!IsSkipped()) {
        ASSERT_EQ(ask({"open"}), "0\n");
        EXPECT_EQ(saidByTheOpener(), openerOfTheUsersAlone());
    }
}
