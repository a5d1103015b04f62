// What the demo shows: banks as bars, the picture they are part of, and what the mouse does in it.
#include "demo/datafile.h"
#include "demo/language.h"
#include "demo/scene.h"
#include "demo/texts.h"
#include "tests/support/demo_game.h"

#include "core/stringtable.h"
#include "watch/gamewatch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <string.h>

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
    static BankBar bar(size_t cells) { return BarOf(*watch::takeGameSnapshot("").bankOf(sc_bank), cells); }

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
    }

    Picture layOut(float width, float height)
    {
        m_input.width = width;
        m_input.height = height;
        return LayOut({7, 280, 1, m_game.campaign(), m_game.player(), m_banks, m_input}, width, height);
    }

    std::vector<Label> labels(float width, float height)
    {
        std::vector<Label> all;
        for (const Pane& pane : layOut(width, height)) {
            all.insert(all.end(), pane.labels.begin(), pane.labels.end());
        }
        return all;
    }

    bool shows(const std::string& text)
    {
        const std::vector<Label> all = labels(960, 600);
        return std::any_of(all.begin(), all.end(), [&](const Label& label) { return label.text == text; });
    }

    // The place of the mouse for a place on the field.
    void pointAt(float x, float y)
    {
        const Picture picture = layOut(960, 600);
        const MapView view = ViewMap(m_game.campaign().battle().level(), picture[1].area);
        m_input.mouseX = static_cast<int>(view.at(x, y).x);
        m_input.mouseY = 599 - static_cast<int>(view.at(x, y).y);
    }

    // What main does with a click.
    void click()
    {
        const Target target = TargetOf(m_game.campaign().battle().level(), m_input);
        ASSERT_TRUE(target.isField);
        m_game.player().click(target.x, target.y);
    }

    DemoGame m_game;
    std::vector<BankBar> m_banks;
    Input m_input;
};

TEST_F(Layout, ThePanesCoverTheViewAndDoNotOverlap)
{
    static const struct {
        float width, height;
    } views[] = {{960, 600}, {320, 200}, {1920, 1080}, {600, 900}, {3000, 300}, {3840, 2160}};
    for (const auto& view : views) {
        float covered = 0;
        for (const Pane& pane : layOut(view.width, view.height)) {
            const Rect& area = pane.area;
            EXPECT_GE(area.x, 0);
            EXPECT_GE(area.y, 0);
            EXPECT_LE(area.x + area.width, view.width);
            EXPECT_LE(area.y + area.height, view.height);
            EXPECT_GT(area.height, 0);
            covered += area.width * area.height;
        }
        EXPECT_EQ(covered, view.width * view.height);
    }
    EXPECT_TRUE(layOut(0, 0).empty());
}

TEST_F(Layout, TextsAndBoxesLieInsideTheirPanes)
{
    static const float rounding = 1;
    m_banks.resize(32, m_banks[1]); // as many as there can be
    for (const float width : {320.0f, 640.0f, 960.0f, 3840.0f}) {
        const Picture picture = layOut(width, width * 0.6f);
        for (const Pane& pane : picture) {
            const Rect& area = pane.area;
            for (const Label& label : pane.labels) {
                EXPECT_GE(label.x, area.x) << label.text;
                EXPECT_LE(label.x + label.width, area.x + area.width + rounding) << label.text;
                EXPECT_GE(label.y - label.size / 2, area.y) << label.text;
                EXPECT_LE(label.y + label.size / 2, area.y + area.height) << label.text;
            }
            for (const Shape& shape : &pane == &picture[1] ? Shapes() : pane.shapes) { // units may reach over the map
                for (const Point& point : shape.outlines[0]) {
                    EXPECT_LE(point.x, area.x + area.width + rounding);
                    EXPECT_LE(point.y, area.y + area.height + rounding);
                }
            }
        }
    }
}

// The widths of letters in DejaVu Sans, which is wider than most fonts, in thousandths of the font's size.
static float widthOf(const std::string& text, bool isBold)
{
    float width = 0;
    for (size_t index = 0; index < text.size(); ++index) {
        const unsigned char byte = static_cast<unsigned char>(text[index]);
        if (byte >= 0xd0) {
            width += strchr("\xa8\x89\x96\xbc\xb6\xb9\x8e", text[index + 1]) ? 0.85f : 0.64f; // Cyrillic
        } else if (strchr("iljI.,:'| ", byte)) {
            width += 0.33f;
        } else if (strchr("ftr-/()", byte)) {
            width += 0.41f;
        } else if (strchr("mwMW%+", byte)) {
            width += 0.90f;
        } else if (byte < 0x80 || byte >= 0xc0) {
            width += byte >= 'A' && byte <= 'Z' ? 0.69f : 0.62f;
        }
    }
    return width * (isBold ? 1.12f : 1.0f);
}

class LayoutIn : public Layout, public testing::WithParamInterface<const char*> {
protected:
    static void read(bool (GameData::*reader)(DataFile&), const char* name, GameData* data)
    {
        DataFile file(std::string(CORE_DEMO_GAME) + name);
        ASSERT_TRUE((data->*reader)(file)) << file.fault().expected;
    }

    static void expectRoom(const Picture& picture)
    {
        for (const Pane& pane : picture) {
            for (const Label& label : pane.labels) {
                EXPECT_LE(widthOf(label.text, label.isBold) * label.size, label.width) << label.text;
                EXPECT_GE(label.size, 9.5f) << label.text;
            }
        }
    }

    const BankPlans m_plans; // all banks are the library's
};

// A label whose text is too wide is drawn in a smaller font. At the smallest size nothing needs it.
TEST_P(LayoutIn, AllTextsHaveRoomAtTheSmallestSize)
{
    Language language;
    ASSERT_TRUE(language.choose(CORE_DEMO_GAME, GetParam()));
    StringTable strings;
    language.load(strings);
    GameData data;
    read(&GameData::readShapes, "shapes.txt", &data);
    read(&GameData::readGrounds, "grounds.txt", &data);
    read(&GameData::readUnits, "units.txt", &data);
    read(&GameData::readLevels, "levels.txt", &data);
    m_banks[0].name = "script objects";
    m_banks[0].used = m_banks[0].size = 1100 << 10;
    for (const Level& level : data.levels()) {
        std::vector<Level> levels = {level};
        levels[0].rows.clear(); // the ground has no texts
        Campaign campaign(levels, m_plans);
        campaign.playFrame();
        Player player(campaign);
        player.beginFrame();
        const UnitKind* last = nullptr;
        for (const Unit* unit : campaign.battle().units()) {
            m_input.hasKey = m_input.isCaptured = m_input.isFullScreen = m_input.isPaused = !m_input.hasKey;
            m_input.isCursorShown = !m_input.hasKey;
            m_input.key = 'f';
            if (unit->kind != last) {
                expectRoom(LayOut({280, 280, 1, campaign, player, m_banks, m_input}, 640, 480));
                player.click(unit->x, unit->y); // next time the details of this unit are shown
            }
            last = unit->kind;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, LayoutIn, testing::Values("en", "de", "fr", "ru"));

TEST_F(Layout, TheMapGrowsMoreThanTheTexts)
{
    const Picture small = layOut(640, 480);
    const Picture large = layOut(1280, 960);
    EXPECT_GT(large[1].area.height, 2 * small[1].area.height);
    EXPECT_GT(large[0].labels[0].size, small[0].labels[0].size);
    EXPECT_LT(large[0].labels[0].size, 2 * small[0].labels[0].size);
}

TEST_F(Layout, ShowsFrameBattleAndBanks)
{
    for (const char* text : {"Frame 7 of 280", "The Ford", "half", "2 / 4", "overflowed", "2 + 4", "Reserves"}) {
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
    const Pane banks = layOut(960, 600)[4];
    const auto width = [](const Shape& shape) { return shape.outlines[0][1].x - shape.outlines[0][0].x; };
    const auto outside = std::find_if(banks.shapes.begin(), banks.shapes.end(), [&](const Shape& shape) {
        return shape.colour == 0x9c6514 && width(shape) > 30;
    });
    ASSERT_NE(outside, banks.shapes.end());
    const Shape& inUse = *(outside - 2); // then what is free, then the fallback blocks
    EXPECT_NEAR(width(inUse) * 2, width(*outside), 2);
    EXPECT_NEAR(inUse.outlines[0][0].x + width(inUse) * 2, outside->outlines[0][0].x, 2);
}

TEST_F(Layout, OnlyTheMapChangesWhenOnlyTheUnitsMove)
{
    const Picture before = layOut(960, 600);
    EXPECT_TRUE(before[1] == layOut(960, 600)[1]);
    m_game.kind().speed = 1;
    m_game.campaign().playFrame();
    const Picture after = layOut(960, 600);
    for (size_t pane = 0; pane < before.size(); ++pane) {
        EXPECT_EQ(before[pane] == after[pane], pane != 1) << pane;
    }
    EXPECT_EQ(before[1].ground, after[1].ground); // which the module then need not draw
}

TEST_F(Layout, AClickOnTheLeftOfTheMapPlacesAReserveWhichFights)
{
    Battle& battle = m_game.campaign().battle();
    pointAt(20, 12);
    click();
    EXPECT_EQ(battle.left(0), 4);
    EXPECT_EQ(battle.atStart(0), 4);
    EXPECT_NEAR(battle.units().back()->x, 20, 0.2f);
    EXPECT_NEAR(battle.units().back()->y, 12, 0.2f);
    EXPECT_EQ(m_game.player().left(0), 1);
    EXPECT_EQ(m_game.player().selected(), battle.units().back());
    pointAt(40, 12); // the enemy's side
    click();
    EXPECT_EQ(battle.left(0), 4);
    EXPECT_EQ(m_game.player().selected(), nullptr);
    const float before = battle.units()[0]->x;
    m_game.kind().speed = 1;
    battle.playFrame();
    EXPECT_NE(battle.units().back()->x, before);
}

TEST_F(Layout, AReserveIsUsedUp)
{
    m_game.player().choose(1);
    m_game.player().choose(7); // there is no such reserve
    for (float x : {10.0f, 20.0f}) {
        pointAt(x, 12);
        click();
    }
    EXPECT_EQ(m_game.player().left(1), 0);
    EXPECT_EQ(m_game.campaign().battle().left(0), 4);
}

TEST_F(Layout, AClickOnAUnitShowsItsValues)
{
    m_game.kind().title = "Archer";
    m_game.kind().mostDamage = 8;
    EXPECT_FALSE(shows("0 to 8"));
    const Unit& unit = *m_game.campaign().battle().units()[0];
    pointAt(unit.x, unit.y);
    click();
    EXPECT_EQ(m_game.player().selected(), &unit);
    EXPECT_TRUE(shows("0 to 8"));
    EXPECT_TRUE(shows("10 of 10"));
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
    EXPECT_TRUE(shows("pause"));
    m_input.mouseButtons = 3;
    m_input.isCaptured = true;
    m_input.isCursorShown = false;
    m_input.isFullScreen = true;
    m_input.isPaused = true;
    EXPECT_TRUE(shows("12, 34, captured, left button, right button"));
    EXPECT_TRUE(shows("releases the mouse"));
    EXPECT_TRUE(shows("shows the cursor"));
    EXPECT_TRUE(shows("back to the window"));
    EXPECT_TRUE(shows("goes on"));
}
