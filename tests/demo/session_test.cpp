// The reader of recorded allocation sessions.
#include "recordings/session.h"

#include <gtest/gtest.h>

#include <fstream>

typedef std::string Bytes;

static Bytes word(unsigned int value)
{
    Bytes bytes;
    for (int shift = 0; shift < 32; shift += 8) {
        bytes += static_cast<char>(value >> shift);
    }
    return bytes;
}

static Bytes header(unsigned int operations, unsigned int mostBlocks, unsigned int banks)
{
    return "CTR1" + word(operations) + word(mostBlocks) + word(banks);
}

static Bytes number(unsigned long long value)
{
    Bytes bytes;
    for (; value >= 0x80; value >>= 7) {
        bytes += static_cast<char>((value & 0x7f) | 0x80);
    }
    return bytes + static_cast<char>(value);
}

static Bytes make(unsigned long long size, int bank = 0)
{
    return static_cast<char>(bank << 1) + number(size);
}

static Bytes drop(unsigned long long younger, int bank = 0)
{
    return static_cast<char>(bank << 1 | 1) + number(younger);
}

// Three blocks, of which the second is freed and the others stay.
static Bytes sample()
{
    return header(4, 3, 1) + make(8) + make(300) + make(70000) + drop(1);
}

static bool read(const Bytes& bytes, Session* session, std::string* error)
{
    // A copy without a byte to spare, so that the address sanitizer sees each read past the end.
    const std::vector<unsigned char> exact(bytes.begin(), bytes.end());
    return ReadSession(exact.data(), exact.size(), session, error);
}

static std::string errorOf(const Bytes& bytes)
{
    Session session;
    std::string error;
    return read(bytes, &session, &error) ? "" : error;
}

// Each operation makes the next block or frees one that was made and not freed, as the blocks themselves say.
static void expectSound(const Session& session)
{
    std::vector<bool> freed(session.blocks.size());
    unsigned int made = 0;
    for (unsigned int operation = 0; operation < session.operations.size(); ++operation) {
        const unsigned int block = session.operations[operation];
        ASSERT_LT(block, session.blocks.size());
        if (session.blocks[block].born == operation) {
            ASSERT_EQ(block, made);
            ASSERT_NE(session.blocks[block].size, 0u);
            ++made;
        } else {
            ASSERT_LT(block, made);
            ASSERT_FALSE(freed[block]);
            ASSERT_EQ(session.blocks[block].died, operation);
            freed[block] = true;
        }
    }
    ASSERT_EQ(made, session.blocks.size());
    for (size_t block = 0; block < session.blocks.size(); ++block) {
        ASSERT_EQ(freed[block], session.blocks[block].died != sc_neverDied);
    }
}

TEST(Session, HasSizeAndLifetimeOfEachBlock)
{
    Session session;
    std::string error;
    ASSERT_TRUE(read(sample(), &session, &error)) << error;

    EXPECT_EQ(session.operations, (std::vector<unsigned int>{0, 1, 2, 1}));
    ASSERT_EQ(session.blocks.size(), 3u);
    EXPECT_EQ(session.blocks[0].size, 8u);
    EXPECT_EQ(session.blocks[1].size, 300u);
    EXPECT_EQ(session.blocks[2].size, 70000u);
    EXPECT_EQ(session.blocks[1].born, 1u);
    EXPECT_EQ(session.blocks[1].died, 3u);
    EXPECT_EQ(session.blocks[2].died, sc_neverDied);
    expectSound(session);
}

TEST(Session, MayBeEmpty)
{
    Session session;
    std::string error;
    EXPECT_TRUE(read(header(0, 0, 1), &session, &error)) << error;
    EXPECT_TRUE(session.operations.empty());
}

TEST(Session, MayUseAllItsBanks)
{
    EXPECT_EQ(errorOf(header(2, 2, 128) + make(8, 0) + make(8, 127)), "");
}

TEST(Session, MayHave256MiBInUseAtOnceAndNoMore)
{
    const unsigned int half = 128u << 20;
    EXPECT_EQ(errorOf(header(4, 2, 1) + make(half) + make(half) + drop(0) + make(half)), "");
    EXPECT_EQ(errorOf(header(3, 3, 1) + make(half) + make(half) + make(1)),
              "more than 256 MiB are in use at once, in operation 2");
}

TEST(Session, MayBe16MiBLongAndNoLonger)
{
    Bytes longest = header(0, 0, 1);
    longest.resize(16 << 20);
    EXPECT_EQ(errorOf(longest), "there are bytes after the last operation");
    EXPECT_EQ(errorOf(longest + '\0'), "it is longer than 16 MiB");
}

TEST(Session, IsRefusedWhenItIsTruncatedAnywhere)
{
    const Bytes whole = sample();
    ASSERT_EQ(errorOf(whole), "");
    for (size_t length = 0; length < whole.size(); ++length) {
        EXPECT_NE(errorOf(whole.substr(0, length)), "") << length;
    }
}

TEST(Session, IsRefusedForEachKindOfDamage)
{
    static const struct {
        Bytes bytes;
        const char* error;
    } cases[] = {
        {"", "it is not a recorded session"},
        {"CTR2" + sample().substr(4), "it is not a recorded session"},
        {sample() + '\0', "there are bytes after the last operation"},
        {header(5, 3, 1) + sample().substr(16) + '\0', "it ends too early, in operation 4"}, // a tag, but no number
        {header(0xffffffff, 1, 1) + make(8),
         "it is shorter than its header says"}, // and nothing was allocated for it
        {header(1, 2, 1) + make(8), "its header has a wrong number of blocks in use"},
        {header(2, 1, 1) + make(8) + make(8), "its header has a wrong number of blocks in use"},
        {header(1, 1, 0) + make(8), "the bank of an operation is out of range, in operation 0"},
        {header(2, 1, 2) + make(8, 1) + drop(0, 2), "the bank of an operation is out of range, in operation 1"},
        {header(1, 1, 1) + make(0), "a block of 0 bytes is allocated, in operation 0"},
        {header(1, 1, 1) + make(0xffffffff), "more than 256 MiB are in use at once, in operation 0"},
        {header(1, 1, 1) + make(0x100000000), "a number is longer than 32 bits, in operation 0"},
        {header(1, 1, 1) + make(0x800000008), "a number is longer than 32 bits, in operation 0"}, // 8 in its low 32
        {header(3, 1, 1) + '\0' + "\x80\x80\x80\x80\x80\x01", "a number is longer than 32 bits, in operation 0"},
        {header(1, 0, 1) + drop(0), "a block is freed that was never allocated, in operation 0"},
        {header(2, 1, 1) + make(8) + drop(1), "a block is freed that was never allocated, in operation 1"},
        {header(2, 1, 1) + make(8) + drop(0xffffffff), "a block is freed that was never allocated, in operation 1"},
        {header(3, 1, 1) + make(8) + drop(0) + drop(0), "a block is freed twice, in operation 2"},
    };
    for (const auto& damaged : cases) {
        EXPECT_EQ(errorOf(damaged.bytes), damaged.error);
    }
}

TEST(Session, IsRefusedOrStillSoundWhicheverByteIsDamaged)
{
    const Bytes whole = sample();
    for (size_t place = 0; place < whole.size(); ++place) {
        for (int value = 0; value < 256; ++value) {
            Bytes damaged = whole;
            damaged[place] = static_cast<char>(value);
            Session session;
            std::string error;
            if (read(damaged, &session, &error)) {
                expectSound(session);
            } else {
                EXPECT_NE(error, "");
            }
        }
    }
}

TEST(Session, LeavesTheLastOneAloneWhenItIsRefused)
{
    Session session;
    std::string error;
    ASSERT_TRUE(read(sample(), &session, &error)) << error;
    EXPECT_FALSE(read(sample() + '\0', &session, &error));
    EXPECT_EQ(session.operations.size(), 4u);
    EXPECT_EQ(session.blocks.size(), 3u);
}

TEST(Session, IsLoadedFromAFile)
{
    std::ofstream("sample.ctr", std::ios::binary) << sample();
    Session session;
    std::string error;
    ASSERT_TRUE(LoadSession("sample.ctr", &session, &error)) << error;
    EXPECT_EQ(session.operations.size(), 4u);
}

TEST(Session, IsNotLoadedFromWhatIsNoFile)
{
    Session session;
    std::string error;
    EXPECT_FALSE(LoadSession("missing.ctr", &session, &error));
    EXPECT_EQ(error, "it cannot be opened");
    EXPECT_FALSE(LoadSession(".", &session, &error));
    EXPECT_EQ(error, "it cannot be read");
    EXPECT_FALSE(LoadSession("/dev/zero", &session, &error)); // which never ends
    EXPECT_EQ(error, "it is longer than 16 MiB");
}

TEST(Session, OfEachRecordedProgramIsSound)
{
    static const struct {
        const char* name;
        size_t operations;
        size_t blocks;
        size_t neverFreed;
    } sessions[] = {
        {"cc1plus.ctr", 200000, 103818, 7636}, // 200000: its recording ended there
        {"dot.ctr", 200000, 149043, 98086},
        {"lua-game.ctr", 927824, 463912, 0},
        {"python.ctr", 200000, 115972, 31944},
        {"sqlite.ctr", 1000000, 500548, 1096}, // it was cut at its millionth operation
        {"xserver.ctr", 219510, 110991, 2472},
    };
    for (const auto& expected : sessions) {
        Session session;
        std::string error;
        const std::string path = std::string(CORE_RECORDINGS) + "/" + expected.name;
        ASSERT_TRUE(LoadSession(path.c_str(), &session, &error)) << path << ": " << error;
        EXPECT_EQ(session.operations.size(), expected.operations);
        EXPECT_EQ(session.blocks.size(), expected.blocks);
        size_t neverFreed = 0;
        for (const SessionBlock& block : session.blocks) {
            neverFreed += block.died == sc_neverDied;
        }
        EXPECT_EQ(neverFreed, expected.neverFreed);
        expectSound(session);
    }
}
