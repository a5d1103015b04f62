// The demo's checks of its files: data and translations.
#include "demo/battle.h"
#include "demo/datafile.h"
#include "demo/gamememory.h"
#include "demo/table.h"
#include "demo/texts.h"

#include <gtest/gtest.h>

#include <fstream>

// A data file in the test's own folder, with the line ends that data files have.
static std::string write(const std::string& lines)
{
    std::ofstream file("data.txt", std::ios::binary);
    for (char letter : lines) {
        file << (letter == '\n' ? "\r\n" : std::string(1, letter));
    }
    return "data.txt";
}

static DataFault faultOfUnits(const std::string& lines)
{
    GameMemory memory;
    memory.defineCoreBank();
    memory.start();
    GameData data;
    DataFile file(write(lines));
    const bool isRead = data.readUnits(file);
    EXPECT_EQ(isRead, file.isGood());
    return file.fault();
}

static std::string unit(const std::string& line)
{
    return "unit\n{\nname = \"a\"\ntitle = \"A\"\nhealth = 5\ndamage = 1 2\n" + line + "\n}\n";
}

// With one kind of unit, "a".
static DataFault faultOfLevels(const std::string& lines)
{
    GameMemory memory;
    memory.defineCoreBank();
    memory.start();
    GameData data;
    DataFile units(write(unit("")));
    EXPECT_TRUE(data.readUnits(units));
    DataFile file(write(lines));
    const bool isRead = data.readLevels(file);
    EXPECT_EQ(isRead, file.isGood());
    return file.fault();
}

TEST(DataFile, AGoodUnitHasNoFault)
{
    EXPECT_EQ(faultOfUnits("// comment\n\n" + unit("reach = 2.5 // fields")).path, "");
    EXPECT_EQ(faultOfUnits(unit("reach = 2.5 1")).path, "");
    EXPECT_EQ(faultOfUnits(unit("flies = TRUE")).path, "");
}

TEST(DataFile, AWrongLineIsFoundWithItsNumberAndWhatWasExpected)
{
    static const struct {
        const char* line;
        const char* expected;
    } cases[] = {
        {"armour = much", "armour = int32, 0..1000"},
        {"armour = 12 monkeys", "armour = int32, 0..1000"}, // the parser's reader takes 12
        {"armour = 1.5", "armour = int32, 0..1000"},
        {"armour = 4294967297", "armour = int32, 0..1000"}, // which would be 1 in 32 bits
        {"armour = -1", "armour = int32, 0..1000"},
        {"armour =", "armour = int32, 0..1000"},
        {"armour 5", "armour = int32, 0..1000"},
        {"damage = 5", "damage = int32 int32, 0..1000"},
        {"damage = 5 4", "damage = int32 int32, 0..1000"}, // the most is less than the least
        {"speed = nan", "speed = float32, 0..10"},
        {"reach = 1 2 3", "reach = float32 [float32], 0..100"},
        {"flies = yes", "flies = true | false"},
        {"flies = true false", "flies = true | false"},
        {"name = plain", "name = string, 1..60"},
        {"name = \"open", "name = string, 1..60"},
        {"name = \"a\" b", "name = string, 1..60"},
        {"shape = \"\"", "shape = string, 1..60"},
    };
    for (const auto& wrong : cases) {
        const DataFault fault = faultOfUnits(unit(wrong.line));
        EXPECT_EQ(fault.path, "data.txt") << wrong.line;
        EXPECT_EQ(fault.line, 7u) << wrong.line;
        EXPECT_EQ(fault.expected, wrong.expected);
        EXPECT_EQ(fault.found, wrong.line);
    }
}

TEST(DataFile, AnUnknownLineIsToldAllNamesThatThereAre)
{
    EXPECT_EQ(faultOfUnits(unit("wings = 2")).expected,
              "name | title | shape | health | armour | damage | pause | speed | reach | flies | hitsFlying");
}

TEST(DataFile, BracesHaveToMatch)
{
    EXPECT_EQ(faultOfUnits("unit\nname = \"a\"\n").expected, "{");
    EXPECT_EQ(faultOfUnits("unit\n{\nname = \"a\"\n").expected, "}");
    EXPECT_EQ(faultOfUnits("unit\n").expected, "{");
    EXPECT_EQ(faultOfUnits(unit("") + "}\n").expected, "unit");
}

TEST(DataFile, AMissingOrEmptyFileIsAFaultWithoutALine)
{
    GameMemory memory;
    memory.defineCoreBank();
    memory.start();
    EXPECT_EQ(DataFile("none.txt").fault().path, "none.txt");
    EXPECT_EQ(DataFile(".").fault().path, ".");
    EXPECT_EQ(DataFile(write("")).fault().line, 0u);
}

TEST(DataFile, LinesEndInCarriageReturnAndLineFeed)
{
    std::ofstream("data.txt", std::ios::binary) << "// good\r\nunit\n{\r\n";
    const DataFile file("data.txt");
    EXPECT_EQ(file.fault().line, 2u);
    EXPECT_EQ(file.fault().expected, "CR LF");
    EXPECT_EQ(file.fault().found, "unit");
}

TEST(Levels, HaveAFieldForTheirSquadsToStandOn)
{
    static const std::string names = "level\n{\ntitle = \"A\"\nfirst = \"B\"\nsecond = \"C\"\nframes = 9\n";
    static const std::string squads = "squad\n{\narmy = 0\nunit = \"a\"\ncount = 1\n}\n"
                                      "squad\n{\narmy = 1\nunit = \"a\"\ncount = 1\n}\n";
    EXPECT_EQ(faultOfLevels(names + "field = 60 24\n" + squads + "}\n").path, "");
    EXPECT_EQ(faultOfLevels(names + squads + "}\n").expected, "field = float32 float32");
}

TEST(Banks, Bank0IsForTheLibraryAndNoBlockOfALinearBankIsFreedAlone)
{
    static const std::string core = "bank\n{\nname = \"core\"\nkind = \"heap\"\nsize = 65536\n}\n";
    static const std::string rest = "bank\n{\nname = \"frame\"\nkind = \"linear\"\nsize = 4096\n}\n"
                                    "bank\n{\nname = \"units\"\nsize = 4096\n}\n";
    BankPlans good, unordered, linear;
    DataFile goodFile(write(core + rest));
    EXPECT_TRUE(ReadBankPlans(goodFile, &good));
    EXPECT_EQ(good.frameBank, 1);
    EXPECT_EQ(good.unitBank, 2);

    DataFile unorderedFile(write(rest + core));
    EXPECT_FALSE(ReadBankPlans(unorderedFile, &unordered));
    EXPECT_EQ(unorderedFile.fault().line, 6u);

    DataFile linearFile(
        write(core + rest + "bank\n{\nname = \"pages\"\nkind = \"linear\"\nsize = 64\ntakes = \"all\"\n}\n"));
    EXPECT_FALSE(ReadBankPlans(linearFile, &linear));
}

TEST(Texts, ATranslationHasToHaveTheSameConversions)
{
    EXPECT_TRUE(SameConversions("%s has %d units", "%s: Einheiten %d"));
    EXPECT_TRUE(SameConversions("100 %% of %s", "%s"));
    EXPECT_TRUE(SameConversions("all", "alle"));
    EXPECT_FALSE(SameConversions("%s has %d units", "%d Einheiten hat %s"));
    EXPECT_FALSE(SameConversions("%d units", "%s Einheiten"));
    EXPECT_FALSE(SameConversions("%d units", "Einheiten"));
    EXPECT_FALSE(SameConversions("%d units", "%d Einheiten %n"));
    EXPECT_FALSE(SameConversions("%d units", "%*d Einheiten"));
    EXPECT_FALSE(SameConversions("%d units", "%1$d Einheiten"));
    EXPECT_FALSE(SameConversions("%d units", "%ld Einheiten"));
    EXPECT_FALSE(SameConversions("units", "Einheiten %"));
    EXPECT_FALSE(SameConversions("units", "Einheiten %-0"));
}

TEST(Table, CountsCodePointsAndNotBytes)
{
    EXPECT_EQ(ColumnsOf("Größe"), 5u);
    EXPECT_EQ(ColumnsOf("размер"), 6u);
    EXPECT_EQ(ColumnsOf(""), 0u);
}

TEST(Battle, EndsTheSameWayOnEveryHost)
{
    GameMemory memory;
    memory.defineCoreBank();
    memory.start();
    UnitKind archer;
    archer.health = 35;
    archer.leastDamage = 5;
    archer.mostDamage = 8;
    archer.pause = 3;
    archer.speed = 0.7f;
    archer.reach = 6;
    Level level;
    level.width = 40;
    level.height = 20;
    level.frames = 200;
    level.seed = 1803;
    level.squads.resize(2);
    for (int army = 0; army < 2; ++army) {
        level.squads[army] = {army, &archer, 12, 5.0f + 30.0f * static_cast<float>(army), 10, 4};
    }
    const BankPlans banks; // both banks of the battle are the library's
    Battle battle(level, banks);
    for (int frame = 0; frame < level.frames; ++frame) {
        battle.playFrame();
    }
    EXPECT_EQ(battle.winner(), 1);
    EXPECT_EQ(battle.left(1), 6);
    EXPECT_EQ(battle.hits(), 112u);
}

TEST(Battle, WaterSlowsAWalkerButNotAFlyer)
{
    GameMemory memory;
    memory.defineCoreBank();
    memory.start();
    UnitKind kinds[2];
    kinds[1].flies = true;
    std::deque<Ground> grounds(2);
    grounds[0].letter = "g";
    grounds[1].letter = "w";
    grounds[1].pace = 0.25f;
    Level level;
    level.width = 30;
    level.height = 2;
    level.frames = 9;
    level.grounds = &grounds;
    level.rows = {"gggggggggggggggwwwwwwwwwwwwwww", "gggggggggggggggwwwwwwwwwwwwwww"};
    for (UnitKind& kind : kinds) {
        kind.health = 10;
        kind.speed = 1;
        kind.hitsFlying = true;
    }
    level.squads = {{0, &kinds[0], 1, 2, 1, 0}, {1, &kinds[0], 1, 28, 1, 0}, {1, &kinds[1], 1, 28, 1, 0}};
    const BankPlans banks;
    Battle battle(level, banks);
    battle.playFrame();
    EXPECT_EQ(battle.units()[0]->x, 3.0f);
    EXPECT_EQ(battle.units()[1]->x, 27.75f);
    EXPECT_EQ(battle.units()[2]->x, 27.0f);
}

TEST(Levels, NameOnlyGroundsThatThereAre)
{
    GameMemory memory;
    memory.defineCoreBank();
    memory.start();
    GameData data;
    DataFile shapes(write("shape\n{\nname = \"tree\"\npart\n{\npoints = \"0 0 1 0 1 1\"\n}\n}\n"));
    ASSERT_TRUE(data.readShapes(shapes)) << shapes.fault().expected;
    DataFile grounds(write("ground\n{\nletter = \"g\"\ncolour = \"00ff7f\"\nshape = \"tree\"\n}\n"));
    ASSERT_TRUE(data.readGrounds(grounds)) << grounds.fault().expected;
    EXPECT_EQ(data.grounds()[0].colour, 0x00ff7fu);
    EXPECT_EQ(data.grounds()[0].drawing, data.findDrawing("tree"));
    DataFile levels(write("level\n{\nrow = \"ggxg\"\n}\n"));
    EXPECT_FALSE(data.readLevels(levels));
    EXPECT_EQ(levels.fault().expected, "row = string, letters of grounds.txt");
    GameData other;
    DataFile nowhere(write("ground\n{\nletter = \"g\"\nshape = \"bush\"\n}\n"));
    EXPECT_FALSE(other.readGrounds(nowhere));
    DataFile wrong(write("shape\n{\nname = \"a\"\npart\n{\npoints = \"0 0 1 0 1\"\n}\n}\n"));
    EXPECT_FALSE(other.readShapes(wrong));
    EXPECT_EQ(wrong.fault().expected, "points = string, three points or more");
}
