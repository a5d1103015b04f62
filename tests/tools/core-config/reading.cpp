// A game that reads files in all the ways of the library, for core-config learn and run.
//
//   reading            reads the files in the folder Data, and ends with status 7
//   reading abort      reads them and aborts
//   reading fork       a child process reads them
//   reading again      reads them again and again
//   reading nothing    reads no file
//   reading many       asks world.txt for 300 names instead
//   reading values     reads values.txt and lines.txt in the folder Data instead, by each reader of values
#include "core/parser.h"
#include "core/preferences.h"
#include "file/file.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

static std::string readText(const char* path)
{
    std::string text;
    if (_BkzFileType_s* file = File::open(path, "rb")) {
        text.resize(File::getLength(file));
        File::read(&text[0], text.size(), 1, file);
        File::close(file);
    }
    return text;
}

// Named readers, which ask for all names in each block; blocks in blocks, of which the game compares the names itself.
static void readWorld()
{
    std::string text = readText("Data\\world.txt");
    Parser parser(&text[0]);
    signed char small = 0;
    short middle = 0;
    int lives = 3;
    int pair[2] = {1, 2};
    int wind[2] = {1, 2};
    unsigned int seed = 0;
    long long large = 0;
    float gravity = 9.5f;
    float field[2] = {0, 0};
    float reach[2] = {0, 0.1f};
    bool fog = false;
    char title[16] = "none";
    while (parser.ParseLine()) {
        char* token = parser.GetToken(" ");
        if (!token) {
            continue;
        }
        if (strcmp(token, "tree") == 0) {
            const char* name = parser.GetString();
            int age = 0;
            const bool hasAge = parser.GetInt(&age);
            printf("tree %s %d %d\n", name ? name : "-", hasAge, age);
        } else if (stricmp(token, "color") == 0) {
            parser.GetEqualsToken();
            const char* color = parser.GetToken(" ");
            printf("color %s\n", !color ? "none" : stricmp(color, "blue") == 0 ? "sky" : color);
        } else if (stricmp(token, "sound") != 0) {
            parser.ParamEqualsInt8(token, "small", &small) || parser.ParamEqualsInt16(token, "middle", &middle) ||
                parser.ParamEqualsInt32(token, "lives", &lives) ||
                parser.ParamEqualsInt32_2(token, "pair", &pair[0], &pair[1]) ||
                parser.ParamEqualsInt32_2x(token, "wind", &wind[0], &wind[1]) ||
                parser.ParamEqualsUInt32(token, "seed", &seed) || parser.ParamEqualsInt64(token, "large", &large) ||
                parser.ParamEqualsFloat32(token, "gravity", &gravity) ||
                parser.ParamEqualsFloat32_2(token, "field", &field[0], &field[1]) ||
                parser.ParamEqualsFloat32_2x(token, "reach", &reach[0], &reach[1]) ||
                parser.ParamEqualsBoolean(token, "fog", &fog) ||
                parser.ParamEqualsString(token, "title", title, sizeof(title));
        }
    }
    printf("%d %d %d %d %d %g %s %d\n", small, lives, pair[0], pair[1], wind[0], static_cast<double>(gravity), title,
           fog);
}

static void askForManyNames()
{
    std::string text = readText("Data\\world.txt");
    Parser parser(&text[0]);
    while (parser.ParseLine()) {
        const char* token = parser.GetToken(" ");
        int value = 0;
        bool isFound = false;
        for (int number = 0; number < 300 && !isFound; ++number) {
            isFound = parser.ParamEqualsInt32(token, ("n" + std::to_string(number) + "_name").c_str(), &value);
        }
        isFound || parser.ParamEqualsInt32(token, "one", &value) || parser.ParamEqualsInt32(token, "two", &value);
    }
}

// Lines of values, in the middle of a file, which the game reads by the C library.
static void readPath()
{
    FILE* file = fopen_mac("Data/path.txt", "rb");
    char bytes[1000] = "";
    const size_t length = file ? fread(bytes, 1, sizeof(bytes) - 1, file) : 0;
    if (file) {
        fclose(file);
    }
    char* text = strchr(bytes, '\n');
    if (length == 0 || !text) {
        return;
    }
    std::string copy = text + 1;
    Parser parser(&copy[0]);
    int x = 0;
    int y = 0;
    while (parser.ParseInteger2(&x, &y)) {
        printf("at %d %d\n", x, y);
    }
}

// The first word of a line says which reader reads the values after it.
static void readValues()
{
    std::string text = readText("Data\\values.txt");
    Parser parser(&text[0]);
    int numbers[3];
    float reals[2];
    while (parser.ParseLine()) {
        const char* token = parser.GetToken(" ");
        const std::string reader = token ? token : "";
        if (reader == "int") {
            parser.GetInt(&numbers[0]);
        } else if (reader == "int2") {
            parser.GetInt2(&numbers[0], &numbers[1]);
        } else if (reader == "int3") {
            parser.GetInt3(&numbers[0], &numbers[1], &numbers[2]);
        } else if (reader == "float") {
            parser.GetFloat(&reals[0]);
        } else if (reader == "float2") {
            parser.GetFloat2(&reals[0], &reals[1]);
        } else if (reader == "bool") {
            parser.GetBoolean();
        }
    }
}

// One value line for each reader of value lines.
static void readLines()
{
    std::string text = readText("Data\\lines.txt");
    std::string word(text.size() + 1, '\0');
    Parser parser(&text[0]);
    int numbers[3];
    float reals[2];
    parser.ParseString(&word[0]);
    parser.ParseUTF8(reinterpret_cast<unsigned char*>(&word[0]));
    parser.ParseInteger(&numbers[0]);
    parser.ParseInteger2(&numbers[0], &numbers[1]);
    parser.ParseInteger2x(&numbers[0], &numbers[1]);
    parser.ParseInteger3(&numbers[0], &numbers[1], &numbers[2]);
    parser.ParseFloat(&reals[0]);
    parser.ParseFloat2(&reals[0], &reals[1]);
    parser.ParseFloat2x(&reals[0], &reals[1]);
    parser.ParseChar(&word[0]);
}

// A text that is no file.
static void readOwnText()
{
    char text[] = "own = 1x\r\nother = y\r\n";
    int value = 0;
    Parser parser(text);
    while (parser.ParseLine()) {
        const char* token = parser.GetToken(" ");
        parser.ParamEqualsInt32(token, "own", &value) || parser.ParamEqualsInt32(token, "other", &value);
    }
    printf("own %d\n", value);
}

static void readPreferences()
{
    Preferences preferences;
    preferences.init("Data/game.ini");
    printf("%d\n", preferences.read("Video", "width", 640));
    printf("%s\n", preferences.read("Video", "mode", "window"));
    printf("%d\n", preferences.read("Audio", "volume", 10));
}

static void readAll()
{
    readWorld();
    readPath();
    readOwnText();
    readPreferences();
    fflush(stdout);
}

int main(int argc, char** argv)
{
    const std::string what = argc > 1 ? argv[1] : "";
    if (what == "fork") {
        const pid_t child = fork();
        if (child == 0) {
            readAll();
            _exit(0);
        }
        int status = 0;
        return waitpid(child, &status, 0) == child ? status : 1;
    }
    if (what == "many") {
        askForManyNames();
        return 7;
    }
    if (what == "values") {
        readValues();
        readLines();
        return 7;
    }
    for (int round = what == "nothing" ? 0 : what == "again" ? 2000 : 1; round > 0; --round) {
        readAll();
    }
    if (what == "abort") {
        abort();
    }
    return 7;
}
