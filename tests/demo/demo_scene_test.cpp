// What the demo shows: banks as bars, and the picture they are part of.
#include "demo/scene.h"
#include "tests/support/demo_game.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

static const int sc_bank = 1;

// A bank of 1024 bytes beside the library's own.
class Bars : public testing::Test {
protected:
    void begin(e_MemoryBankType type)
    {
        m_memory.defineCoreBank();
        m_memory.defineBank(MEMLOC_DEFAULT, type, "level", 1024);
        m_memory.start();
    }

    void* alloc(unsigned long size) { return m_memory.alloc(sc_bank, size, "test", 1); }
    BankBar bar(size_t cells) { return ReadBankBar(m_memory, sc_bank, cells); }

    GameMemory m_memory;
};

TEST_F(Bars, ShowWhereInTheBankBlocksLie)
{
    begin(MEMBANK_HEAP);
    alloc(8); // 64 bytes each, header included
    void* second = alloc(8);
    alloc(8);
    m_memory.free(sc_bank, second);

    const BankBar shown = bar(8); // of 128 bytes each
    EXPECT_EQ(shown.name, "level");
    EXPECT_EQ(shown.size, 1024u);
    EXPECT_EQ(shown.used, 128u);
    EXPECT_EQ(shown.blocks, 2u);
    EXPECT_EQ(shown.fallback, 0u);
    EXPECT_EQ(shown.cells, (std::vector<float>{0.5f, 0.5f, 0, 0, 0, 0, 0, 0}));
}

TEST_F(Bars, CellsAddUpToTheBytesInUse)
{
    begin(MEMBANK_HEAP);
    alloc(100);
    alloc(300);
    const BankBar shown = bar(7); // no block ends where a cell does
    const float sum = std::accumulate(shown.cells.begin(), shown.cells.end(), 0.0f);
    EXPECT_NEAR(sum * 1024 / 7, static_cast<float>(shown.used), 0.01f);
}

TEST_F(Bars, AFullBankHasNoEmptyCell)
{
    begin(MEMBANK_HEAP);
    alloc(1024 - 56); // and 24 bytes of header, rounded down and 32 more: 1024
    EXPECT_EQ(bar(3).used, 1024u);
    for (float cell : bar(3).cells) {
        EXPECT_NEAR(cell, 1.0f, 0.001f);
    }
}

TEST_F(Bars, FallbackBlocksAreToldApartFromTheBanksOwn)
{
    begin(MEMBANK_HEAP);
    alloc(8);
    void* large = alloc(5000);
    EXPECT_EQ(bar(4).used, 64u);
    EXPECT_EQ(bar(4).blocks, 2u);
    EXPECT_EQ(bar(4).fallback, m_memory.getSize(sc_bank, large) + 24);
    m_memory.free(sc_bank, large);
    EXPECT_EQ(bar(4).fallback, 0u);
}

TEST_F(Bars, ALinearBankIsUsedFromItsStart)
{
    begin(MEMBANK_LINEAR);
    alloc(512);
    EXPECT_EQ(bar(4).used, 512u);
    EXPECT_EQ(bar(4).cells, (std::vector<float>{1, 1, 0, 0}));
    m_memory.free(sc_bank, nullptr);
    EXPECT_EQ(bar(4).cells, (std::vector<float>{0, 0, 0, 0}));
}

// A battle that has begun, and two banks: one that is half full, and one that has overflowed.
class Layout : public testing::Test {
protected:
    Layout()
    {
        m_banks.resize(2);
        m_banks[0].name = "half";
        m_banks[0].size = 4096;
        m_banks[0].used = 2048;
        m_banks[0].cells = {1, 1, 0, 0};
        m_banks[1] = m_banks[0];
        m_banks[1].name = "overflowed";
        m_banks[1].fallback = 4096;
        m_banks[1].blocks = 1;
    }

    Picture layOut(float width, float height)
    {
        return LayOut({7, 280, m_game.campaign(), m_banks, m_input}, width, height);
    }

    bool shows(const std::string& text)
    {
        const Picture picture = layOut(960, 600);
        return std::any_of(picture.labels.begin(), picture.labels.end(),
                           [&](const Label& label) { return label.text == text; });
    }

    DemoGame m_game;
    std::vector<BankBar> m_banks;
    Input m_input;
};

TEST_F(Layout, LiesInsideTheView)
{
    static const struct {
        float width, height;
    } views[] = {{960, 600}, {320, 200}, {1920, 1080}, {600, 900}, {3000, 300}};
    static const float rounding = 0.01f;
    m_banks.resize(32, m_banks[1]); // as many as there can be
    for (const auto& view : views) {
        const Picture picture = layOut(view.width, view.height);
        for (const Box& box : picture.boxes) {
            EXPECT_GE(box.x, 0);
            EXPECT_GE(box.y, 0);
            EXPECT_LE(box.x + box.width, view.width + rounding);
            EXPECT_LE(box.y + box.height, view.height + rounding);
        }
        for (const Label& label : picture.labels) {
            EXPECT_GE(label.x, 0) << label.text;
            EXPECT_GE(label.y - label.size / 2, 0) << label.text;
            EXPECT_LE(label.x + label.width, view.width + rounding) << label.text;
            EXPECT_LE(label.y + label.size / 2, view.height + rounding) << label.text;
        }
    }
}

TEST_F(Layout, IsTwiceAsLargeInAViewTwiceAsLarge)
{
    const Picture small = layOut(960, 600);
    const Picture large = layOut(1920, 1200);
    ASSERT_EQ(small.boxes.size(), large.boxes.size());
    for (size_t index = 0; index < small.boxes.size(); ++index) {
        EXPECT_FLOAT_EQ(small.boxes[index].x * 2, large.boxes[index].x);
        EXPECT_FLOAT_EQ(small.boxes[index].width * 2, large.boxes[index].width);
    }
    ASSERT_EQ(small.labels.size(), large.labels.size());
    for (size_t index = 0; index < small.labels.size(); ++index) {
        EXPECT_FLOAT_EQ(small.labels[index].size * 2, large.labels[index].size);
        EXPECT_EQ(small.labels[index].text, large.labels[index].text);
    }
}

TEST_F(Layout, ShowsFrameBattleAndBanks)
{
    for (const char* text :
         {"Frame 7 of 280", "The Ford", "half", "2 of 4 KiB", "overflowed", "+ 4 KiB", "1 block"}) {
        EXPECT_TRUE(shows(text)) << text;
    }
    EXPECT_FALSE(shows("The Ford: undecided"));
    for (int frame = 1; frame < 5; ++frame) {
        m_game.campaign().playFrame();
    }
    EXPECT_TRUE(shows("The Ford: undecided"));
}

// The overflowed bank has as much outside as inside, so its bar is shared by halves.
TEST_F(Layout, ThePartsOfABarAreInProportionToTheirBytes)
{
    const Picture picture = layOut(960, 600);
    const auto outside = std::find_if(picture.boxes.begin(), picture.boxes.end(),
                                      [](const Box& box) { return box.colour == 0xe0a63c && box.width > 50; });
    ASSERT_NE(outside, picture.boxes.end());
    const Box& inUse = *(outside - 2); // then what is free, then the fallback blocks
    EXPECT_NEAR(inUse.width * 2, outside->width, 0.01f);
    EXPECT_NEAR(inUse.x + inUse.width * 2, outside->x, 0.01f);
}

TEST_F(Layout, ShowsTheLastKeyWithItsEngineCode)
{
    EXPECT_TRUE(shows("none"));
    m_input.hasKey = true;
    m_input.macKey = 3;
    m_input.key = 'f';
    EXPECT_TRUE(shows("Mac 3, engine 102: f"));
    m_input.macKey = 126;
    m_input.key = 146; // up, which is no character
    EXPECT_TRUE(shows("Mac 126, engine 146"));
}

TEST_F(Layout, ShowsTheMouseAndWhatTheKeysDoNow)
{
    m_input.mouseX = 12;
    m_input.mouseY = 34;
    EXPECT_TRUE(shows("12, 34, not captured"));
    EXPECT_TRUE(shows("captures the mouse"));
    EXPECT_TRUE(shows("hides the cursor"));
    EXPECT_TRUE(shows("full screen"));
    m_input.mouseButtons = 3;
    m_input.isCaptured = true;
    m_input.isCursorShown = false;
    m_input.isFullScreen = true;
    EXPECT_TRUE(shows("12, 34, captured, left button, right button"));
    EXPECT_TRUE(shows("releases the mouse"));
    EXPECT_TRUE(shows("shows the cursor"));
    EXPECT_TRUE(shows("back to the window"));
}
