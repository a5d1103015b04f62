// What you learn: how to read a config file with sections, braces and arrays.
//
// Parser gives lines and tokens; the game decides what they mean. The lines of a text have to end with a carriage
// return and a line feed. loadText makes it so, whatever editor wrote the file.
#include "core/parser.h"
#include "core/platform.h"
#include "file/file.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <vector>

struct Unit {
    char name[32] = "";
    int health = 1;
    std::vector<int> damage; // an array: one number for each level
};

// Returns the text of a file, with a carriage return before each line feed; "" if the file cannot be read.
static std::string loadText(const std::string& path)
{
    std::string text;
    _BkzFileType_s* file = File::open(path.c_str(), "rb");
    std::string bytes(File::getLength(file), '\0');
    if (!bytes.empty() && File::read(&bytes[0], bytes.size(), 1, file) == 1) {
        for (char byte : bytes) {
            text += byte == '\n' && (text.empty() || text.back() != '\r') ? "\r\n" : std::string(1, byte);
        }
    }
    File::close(file);
    return text;
}

// The rest of the line: "= 4 6 9".
static std::vector<int> readArray(Parser& parser)
{
    std::vector<int> numbers;
    if (parser.GetEqualsToken()) {
        while (const char* number = parser.GetToken(" ")) {
            numbers.push_back(atoi(number));
        }
    }
    return numbers;
}

// True if the next word is an opening brace, in this line or in a later one. ParseLine skips empty lines, and the first
// token of a comment is null.
static bool readOpenBrace(Parser& parser)
{
    bool isOpen = parser.GetOpenBrace();
    const char* token = nullptr;
    while (!isOpen && !token && parser.ParseLine()) {
        token = parser.GetToken(" ");
        isOpen = token && strcmp(token, "{") == 0;
    }
    return isOpen;
}

// The lines after the opening brace of `unit "Footman" {`, up to the closing brace.
static Unit readUnit(Parser& parser, const char* name)
{
    Unit unit;
    snprintf(unit.name, sizeof(unit.name), "%s", name ? name : "");
    while (parser.ParseLine()) {
        const char* token = parser.GetToken(" "); // null on a comment and on a line of blanks
        if (token && token[0] == '}') {
            break;
        }
        if (token && stricmp(token, "damage") == 0) {
            unit.damage = readArray(parser);
        } else if (token) {
            parser.ParamEqualsInt32(token, "health", &unit.health); // logs a message for a value that is no number
        }
    }
    return unit;
}

int main()
{
    std::string text = loadText(std::string(GetAppGamePath()) + "battle.txt");
    Parser parser(&text[0]); // cuts the text, so it has to be writable
    int width = 640;
    while (parser.ParseLine()) {
        const char* token = parser.GetToken(" ");
        if (token && stricmp(token, "unit") == 0) {
            const char* name = parser.GetString();
            if (!readOpenBrace(parser)) {
                printf("a unit has no brace\n");
                continue;
            }
            const Unit unit = readUnit(parser, name);
            printf("%s: health %d, damage", unit.name, unit.health);
            for (int damage : unit.damage) {
                printf(" %d", damage);
            }
            printf("\n");
        } else if (token && parser.ParamEqualsInt32(token, "width", &width)) {
            printf("the field is %d wide\n", width);
        }
    }
    return 0;
}
