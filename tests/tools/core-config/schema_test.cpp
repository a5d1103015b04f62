// Schemas: reading and writing them, and what core-config says about files with their help.
#include "tools/core-config/check.h"
#include "tools/core-config/check_value.h"
#include "tools/core-config/language.h"
#include "tools/core-config/nearest.h"
#include "tools/core-config/schema.h"

#include "tests/support/files.h"

#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <string>
#include <sys/wait.h>

static config::Schema schemaOf(const std::string& text)
{
    config::Schema schema;
    std::string error;
    EXPECT_TRUE(config::readSchema(text, &schema, &error)) << error;
    return schema;
}

static std::string errorOf(const std::string& text)
{
    config::Schema schema;
    std::string error;
    EXPECT_FALSE(config::readSchema(text, &schema, &error)) << text;
    return error;
}

// ---- Reading and writing

TEST(Schema, IsTheSameTextAfterItIsReadAndWritten)
{
    const std::string demo = readFile(DEMO_SCHEMA);
    EXPECT_EQ(config::writeSchema(schemaOf(demo)), demo);

    const std::string all = "core-config schema 1\n"
                            "\n"
                            "// The units.\n"
                            "config \"Game/units.txt\" open // all of them\n"
                            "{\n"
                            "    * int32 [int32] -5..5\n"
                            "    // One\n"
                            "    // kind.\n"
                            "\n"
                            "    block unit required once\n"
                            "    {\n"
                            "        name = string ..29 required once default \"a \\\"b\\\" \\\\ \\n\" // note\n"
                            "        kind = word one-of melee \"one-of\" \"1..2\" \"\" seen melee \"two words\"\n"
                            "        at float32 float32 [float32]\n"
                            "        \"a name\" = bool\n"
                            "        \"block\" = int64 0..\n"
                            "        // the end\n"
                            "    }\n"
                            "    last = uint32\n"
                            "}\n"
                            "ini \"C:\\\\demo.ini\"\n"
                            "{\n"
                            "    section \"Two Words\"\n"
                            "    {\n"
                            "        width = int 1..2 default 1 seen 1\n"
                            "        height = int 1..2 seen -1.5..2 // tall\n"
                            "    }\n"
                            "}\n"
                            "// End.\n";
    EXPECT_EQ(config::writeSchema(schemaOf(all)), all);
}

TEST(Schema, MayHaveBracesInTheLinesOfTheirHeadsAndCarriageReturnsAndAByteOrderMark)
{
    const config::Schema schema =
        schemaOf("\xef\xbb\xbf"
                 "core-config schema 1\r\nconfig a.txt {\r\nblock b {\r\nc = int8\r\n}\r\n}\r\n");
    ASSERT_EQ(schema.files.size(), 1u);
    ASSERT_EQ(schema.files[0].block.blocks.size(), 1u);
    EXPECT_EQ(schema.files[0].block.blocks[0].names[0].type, config::TYPE_INT8);
}

TEST(Schema, KeepsTheCommentOfAnEntry)
{
    const config::Schema schema =
        schemaOf("core-config schema 1\nconfig a\n{\n// far\n\n// near\n// by\nb = int8 // here\n}\n");
    const config::NameSchema& name = schema.files[0].block.names[0];
    EXPECT_EQ(config::commentOf(name.before, name.lineComment), "near by here");
}

TEST(Schema, ThatIsNotUnderstoodIsRefusedWithTheLine)
{
    const std::string head = "core-config schema 1\n";
    const std::string body = head + "config \"a\"\n{\n";
    EXPECT_EQ(errorOf(""), "1: a schema begins with the line \"core-config schema 1\"");
    EXPECT_EQ(errorOf("core-config schema 2\n"), "1: this program reads schemas of version 1");
    EXPECT_EQ(errorOf(head + "file a\n"), "2: expected: config \"PATH\" or ini \"PATH\"");
    EXPECT_EQ(errorOf(head + "config \"a\n"), "2: a quote is not closed");
    EXPECT_EQ(errorOf(head + "config \"a\"\nb = int8\n"), "3: expected: {");
    EXPECT_EQ(errorOf(body), "3: the block \"a\" is not closed");
    EXPECT_EQ(errorOf(body + "b = integer\n}\n").substr(0, 18), "4: expected a type");
    EXPECT_EQ(errorOf(body + "b = int8 float32\n}\n"),
              "4: the values of a name have one type, and those between brackets come last");
    EXPECT_EQ(errorOf(body + "b = int8 [int8] int8\n}\n"),
              "4: the values of a name have one type, and those between brackets come last");
    EXPECT_EQ(errorOf(body + "b = int8 1..x\n}\n"), "4: a range is LOW..HIGH, with two numbers or one: \"1..x\"");
    EXPECT_EQ(errorOf(body + "b = int8 one-of\n}\n"), "4: a value is missing after \"one-of\"");
    EXPECT_EQ(errorOf(body + "b = int\n}\n"), "4: int and text are types of preferences files");
    EXPECT_EQ(errorOf(head + "ini \"a\"\n{\nsection b\n{\nc = int8\n}\n}\n"),
              "6: a name of a preferences file is int or text");
    EXPECT_EQ(errorOf(body + std::string("b = \0\n", 6)), "4: a byte 0 is in this line");
    std::string deep = body;
    for (int depth = 0; depth < 100000; ++depth) {
        deep += "block b {\n";
    }
    EXPECT_EQ(errorOf(deep), "64: too many blocks in blocks");
}

TEST(Schema, FindsAFileByTheEndOfItsPath)
{
    const config::Schema schema = schemaOf("core-config schema 1\nconfig \"Game/units.txt\"\n{\n}\n");
    for (const char* path :
         {"Game/units.txt", "/opt/demo/Game/units.txt", "C:\\demo\\game\\UNITS.TXT", "./Game/units.txt"}) {
        EXPECT_NE(config::fileFor(schema, path), nullptr) << path;
    }
    for (const char* path : {"units.txt", "MyGame/units.txt", "Game/units.txt.bak", ""}) {
        EXPECT_EQ(config::fileFor(schema, path), nullptr) << path;
    }
}

TEST(Nearest, IsTheNameWithTheFewestChanges)
{
    const std::vector<std::string> names = {"speed", "armour", "gravity", "x"};
    EXPECT_EQ(config::nearest("spede", names), "speed");
    EXPECT_EQ(config::nearest("amour", names), "armour");
    EXPECT_EQ(config::nearest("GRAVTIY", names), "gravity");
    EXPECT_EQ(config::nearest("y", names), "x");
    EXPECT_EQ(config::nearest("colour", names), "");
    EXPECT_EQ(config::nearest("", names), "x");
    EXPECT_EQ(config::nearest(std::string(100000, 'w'), names), "");
}

// ---- Checking

static const char sc_units[] = "core-config schema 1\n"
                               "config \"units.txt\"\n"
                               "{\n"
                               "    gravity = float32 0..20 default 9.81\n"
                               "    block unit\n"
                               "    {\n"
                               "        name = string 1..8 required once\n"
                               "        small = int8\n"
                               "        big = int64\n"
                               "        size = uint32 1..100\n"
                               "        damage = int32 int32\n"
                               "        reach = float32 [float32]\n"
                               "        flies = bool\n"
                               "        kind = word one-of melee ranged\n"
                               "        team = string one-of \"red\" \"blue\"\n"
                               "        at float32 float32\n"
                               "        block weapon\n"
                               "        {\n"
                               "            power = int32\n"
                               "        }\n"
                               "    }\n"
                               "    block points\n"
                               "    {\n"
                               "        * int32 int32\n"
                               "    }\n"
                               "    block notes open\n"
                               "    {\n"
                               "    }\n"
                               "}\n"
                               "ini \"demo.ini\"\n"
                               "{\n"
                               "    section Video\n"
                               "    {\n"
                               "        width = int 320..8192 required\n"
                               "        mode = text one-of window full default window\n"
                               "        title = text ..8\n"
                               "    }\n"
                               "}\n";

// Returns "3:5 unknown-name", a line for each finding. Line feeds of the text become carriage returns and line feeds.
static std::string findingsOf(const std::string& path, const std::string& text, bool tellsMissing = false)
{
    static const config::Schema s_schema = schemaOf(sc_units);
    config::CheckOptions options;
    options.schema = config::fileFor(s_schema, path);
    options.isIni = options.schema->isIni;
    options.tellsMissing = tellsMissing;
    std::string bytes;
    for (const char letter : text) {
        bytes += letter == '\n' ? "\r\n" : std::string(1, letter);
    }
    std::string result;
    for (const Finding& finding : config::findingsOf("", bytes, config::checkText(bytes, options))) {
        result += std::to_string(finding.line) + ':' + std::to_string(finding.column) + ' ' + finding.check + '\n';
    }
    return result;
}

static std::string inUnit(const std::string& line)
{
    return findingsOf("units.txt", "unit\n{\nname = \"a\"\n" + line + "\n}\n");
}

TEST(SchemaCheck, FindsNothingInAFileThatFollowsIt)
{
    EXPECT_EQ(findingsOf("units.txt", "// Units\n"
                                      "Gravity = 9.81 // metres\n"
                                      "unit {\n"
                                      "    NAME = \"footman\"\n"
                                      "    small = -128\n"
                                      "    big = 9223372036854775807\n"
                                      "    size = 100\n"
                                      "    damage = 1 2\n"
                                      "    reach = 1.5\n"
                                      "    reach = 1.5 2\n"
                                      "    flies = TRUE\n"
                                      "    kind = ranged\n"
                                      "    team = \"blue\"\n"
                                      "    at 1.5 2.5\n"
                                      "    weapon\n"
                                      "    // its power\n"
                                      "\n"
                                      "    {\n"
                                      "        power = 5\n"
                                      "    }\n"
                                      "}\n"
                                      "points\n{\n    1 2\n    -3 4\n}\n"
                                      "notes\n{\n    any thing\n    other {\n        x = 1\n    }\n}\n"),
              "");
    EXPECT_EQ(findingsOf("demo.ini", "[Video]\nwidth=640\nmode=full\ntitle=Core\n"), "");
    EXPECT_EQ(findingsOf("demo.ini", ""), "");
}

TEST(SchemaCheck, FindsNamesThatTheGameNeverAsksFor)
{
    EXPECT_EQ(inUnit("naem = \"b\""), "4:1 unknown-name\n");
    EXPECT_EQ(inUnit("gravity = 1"), "4:1 unknown-name\n");
    EXPECT_EQ(findingsOf("units.txt", "wall\n{\n    x = 1\n}\nheight = 2\n"), "1:1 unknown-name\n5:1 unknown-name\n");
    EXPECT_EQ(findingsOf("demo.ini", "[Video]\nwidth=640\nwidht=640\n[Audio]\nvolume=7\nmusic=1\n"),
              "3:1 unknown-name\n5:1 unknown-name\n");
}

TEST(SchemaCheck, FindsValuesOfAWrongTypeAndThoseThatTheGameReadsAsOthers)
{
    EXPECT_EQ(inUnit("size = many"), "4:8 wrong-type\n");
    EXPECT_EQ(inUnit("size = \"5\""), "4:8 wrong-type\n");
    EXPECT_EQ(inUnit("flies = yes"), "4:9 wrong-type\n");
    EXPECT_EQ(inUnit("team = red"), "4:8 wrong-type\n");
    EXPECT_EQ(inUnit("small = 300"), "4:9 changed-value\n");
    EXPECT_EQ(inUnit("size = -1"), "4:8 changed-value\n");
    EXPECT_EQ(inUnit("size = 9.81"), "4:8 changed-value\n");
    EXPECT_EQ(inUnit("size = 64O"), "4:8 changed-value\n");
    EXPECT_EQ(inUnit("size = 0x10"), "4:8 changed-value\n");
    EXPECT_EQ(inUnit("big = 9223372036854775808"), "4:7 changed-value\n");
    EXPECT_EQ(inUnit("reach = 1,5"), "4:9 changed-value\n");
    EXPECT_EQ(inUnit("reach = 1e39"), "4:9 changed-value\n");
    EXPECT_EQ(inUnit("damage = 1 x"), "4:12 wrong-type\n");
    EXPECT_EQ(findingsOf("demo.ini", "[Video]\nwidth=64O\n"), "2:7 changed-value\n");
    EXPECT_EQ(findingsOf("demo.ini", "[Video]\nwidth=wide\n"), "2:7 changed-value\n");
}

TEST(SchemaCheck, FindsTooFewAndTooManyValues)
{
    EXPECT_EQ(inUnit("damage = 1"), "4:1 few-values\n");
    EXPECT_EQ(inUnit("at 1"), "4:1 few-values\n");
    EXPECT_EQ(inUnit("damage = 1 2 3"), "4:14 extra-value\n");
    EXPECT_EQ(inUnit("damage ="), "4:8 no-value\n");
    EXPECT_EQ(inUnit("damage 1 2"), "4:1 no-equals\n");
    EXPECT_EQ(findingsOf("units.txt", "unit\n{\nname=\"a\"\n}\n"),
              "3:5 no-space-around-equals\n"); // and lacks no name
    EXPECT_EQ(findingsOf("units.txt", "points\n{\n1\n}\n"), "3:1 few-values\n");
}

TEST(SchemaCheck, FindsValuesOutOfTheirRangeAndOtherValuesThanTheChoices)
{
    EXPECT_EQ(inUnit("size = 101"), "4:8 range\n");
    EXPECT_EQ(findingsOf("units.txt", "gravity = -0.1\n"), "1:11 range\n");
    EXPECT_EQ(inUnit("kind = mele"), "4:8 unknown-value\n");
    EXPECT_EQ(inUnit("team = \"green\""), "4:8 unknown-value\n");
    EXPECT_EQ(findingsOf("units.txt", "unit\n{\nname = \"\"\n}\n"), "3:8 range\n");
    EXPECT_EQ(findingsOf("units.txt", "unit\n{\nname = \"nine bytes\"\n}\n"), "3:8 cut-text\n");
    EXPECT_EQ(findingsOf("demo.ini", "[Video]\nwidth=100\nmode=Full\ntitle=nine bytes\n"),
              "2:7 range\n3:6 unknown-value\n4:7 cut-text\n");
}

TEST(Schema, KeepsTheSmallestAndTheLargestNumberThatWasReadAndSomeOfTheTexts)
{
    config::Schema schema =
        schemaOf("core-config schema 1\nini \"a\"\n{\nsection b\n{\nx = int seen 5 7\ny = text\n}\n}\n");
    std::vector<config::NameSchema>& names = schema.files[0].block.blocks[0].names;
    for (const char* value : {"6", "-3.", "many", "", "12.", "..", "."}) {
        config::addSeen(&names[0], value);
    }
    for (int number = 0; number < 100; ++number) {
        config::addSeen(&names[1], "text " + std::to_string(number));
        config::addSeen(&names[1], "text 0");
    }
    EXPECT_EQ(config::writeSchema(schema).substr(21),
              "ini \"a\"\n{\n    section b\n    {\n        x = int seen -3..12\n        y = text seen \"text 0\" "
              "\"text 1\" "
              "\"text 2\" \"text 3\" \"text 4\" \"text 5\" \"text 6\" \"text 7\"\n    }\n}\n");
    config::ConfigLanguage language(schema);
    EXPECT_EQ(language.hover("a", "[b]\nx=1\n", 4), "x=int\nwas read: -3..12");
}

// The quick check answers for most values of a large file, so that the slow one need not.
TEST(SchemaCheck, FindsNoFaultInAValueThatTheQuickCheckFindsRight)
{
    static const char* const sc_parts[] = {"0", "1", "7",  "9",  "25",  "640", "-",     "+", ".",
                                           "e", "x", "\"", "\\", "tru", "e",   "FALSE", "a"};
    static const char* const sc_types[] = {
        "int8", "int16",  "int32",        "uint32",           "int64",       "float32",        "bool",
        "word", "string", "int32 -5..70", "float32 0.1..9.5", "string 2..3", "word one-of a 7"};
    std::mt19937 random(5);
    for (const char* type : sc_types) {
        const config::Schema schema =
            schemaOf(std::string("core-config schema 1\nconfig \"a\"\n{\nx = ") + type + "\n}\n");
        const config::NameSchema& name = schema.files[0].block.names[0];
        int right = 0;
        for (int round = 0; round < 1000; ++round) {
            std::string word = sc_parts[random() % 17];
            for (unsigned int count = random() % 5; count > 0; --count) {
                word += sc_parts[random() % 17];
            }
            word = name.type == config::TYPE_STRING && round % 2 == 0 ? '"' + word + '"' : word;
            config::Faults faults;
            config::checkValue(name, {0, word}, &faults);
            const bool isRight = config::isPlainlyRight(name, word.data(), word.size());
            EXPECT_TRUE(!isRight || faults.empty()) << type << ' ' << word;
            right += isRight;
        }
        EXPECT_EQ(right > 0, std::string(type).find("one-of") == std::string::npos) << type;
    }
}

TEST(SchemaCheck, FindsNamesThatABlockLacksOrHasTwice)
{
    EXPECT_EQ(findingsOf("units.txt", "unit\n{\nsize = 1\n}\nunit\n{\n}\n"), "1:1 lacks-name\n5:1 lacks-name\n");
    EXPECT_EQ(inUnit("name = \"b\""), "4:1 name-twice\n");
    EXPECT_EQ(findingsOf("demo.ini", "[Video]\nmode=full\n"), "2:1 lacks-name\n");
}

TEST(SchemaCheck, TellsTheDefaultsOfNamesThatAFileLacksWhenAsked)
{
    EXPECT_EQ(findingsOf("units.txt", "gravity = 1\n", true), "");
    EXPECT_EQ(findingsOf("units.txt", "// nothing\n", true), "1:1 uses-default\n");
    EXPECT_EQ(findingsOf("demo.ini", "[Video]\nwidth=640\n", true), "2:1 uses-default\n2:1 uses-default\n");
}

TEST(SchemaCheck, FindsNothingInTheFilesOfTheDemo)
{
    const std::string command = std::string("'" PROGRAM "' check --schema '" DEMO_SCHEMA "' '" DEMO_GAME
                                            "'/*.txt '" DEMO_GAME "/demo.ini' >output");
    EXPECT_EQ(WEXITSTATUS(system(command.c_str())), 0) << readFile("output");
}

TEST(SchemaCheck, EndsWithStatus2ForASchemaThatIsNotUnderstoodOrLacksTheFile)
{
    std::ofstream("bad.schema") << "core-config schema 1\nfile\n";
    std::ofstream("good.schema") << sc_units;
    std::ofstream("units.txt") << "gravity = 1\r\n";
    const auto statusOf = [](const std::string& arguments) {
        return WEXITSTATUS(system(("'" PROGRAM "' check " + arguments + " >output 2>errors").c_str()));
    };
    EXPECT_EQ(statusOf("--schema bad.schema units.txt"), 2);
    EXPECT_EQ(readFile("errors"), "core-config: bad.schema:2: expected: config \"PATH\" or ini \"PATH\"\n");
    EXPECT_EQ(statusOf("--schema missing.schema units.txt"), 3);
    EXPECT_EQ(statusOf("--schema good.schema bad.schema"), 2);
    EXPECT_EQ(statusOf("--schema good.schema --as units.txt - <units.txt"), 0);
    EXPECT_EQ(statusOf("--schema good.schema units.txt"), 0);
}
