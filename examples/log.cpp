// What you learn: how the messages of core and of the game reach a console of the game's own.
//
// core calls owLogger::log through the dynamic linker. A program that defines this function itself receives all
// messages. core needs nothing else of a logger.
#include "core/memorymgr.h"
#include "core/parser.h"
#include "logger/logger.h"

#include <stdarg.h>
#include <stdio.h>
#include <string>
#include <vector>

class GameMemory : public MemoryMgr {
    void onOutOfMemory(int) override {}
};

static std::vector<std::string> s_console; // the lines that the game shows on its screen

// Returns the text up to the form feed that ends a message, without the marks of colours: "^CRRGGBB" and "^c".
static std::string plain(const char* text)
{
    std::string result;
    for (; *text && *text != '\f'; ++text) {
        if (text[0] == '^' && text[1] == 'c') {
            ++text;
        } else if (text[0] == '^' && text[1] == 'C') {
            for (int digits = 0; digits < 7 && text[1]; ++digits) {
                ++text;
            }
        } else {
            result += *text;
        }
    }
    return result;
}

// In this program, this function takes the place of the library's. Any thread may call it: a game with threads locks
// here.
__attribute__((visibility("default"))) void owLogger::log(int level, const char* format, ...)
{
    char message[512];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(message, sizeof(message), format, arguments);
    va_end(arguments);
    s_console.push_back(std::to_string(level) + ": " + plain(message));
}

int main()
{
    GameMemory memory;
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 20);
    memory.initialize();

    owLogger::log(5, "the game starts");
    char text[] = "width = wide\r\n";
    int width = 640;
    Parser parser(text);
    parser.ParseLine();
    parser.ParamEqualsInt32(parser.GetToken(" "), "width", &width); // logs a message: the value is no number

    for (const std::string& line : s_console) {
        printf("%s\n", line.c_str());
    }
    return 0;
}
