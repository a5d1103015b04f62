// What you learn: how to write a reader of your own on top of Parser, whose messages help the author of a data file.
//
// A good message names the file and the line, says what is there and what is expected, and the reader goes on, so
// that the author sees all faults at once. The readers of Parser log short messages; here the game makes its own.
#include "core/parser.h"
#include "file/file.h"

#include <stdio.h>
#include <stdlib.h>
#include <string>

class UnitReader {
public:
    // text is cut. Its lines end with a carriage return and a line feed, so each call of ParseLine takes exactly one
    // line.
    UnitReader(const char* file, char* text) : m_file(file), m_parser(text) {}

    // Goes to the next line with a name; false at the end.
    bool nextLine()
    {
        while (m_parser.ParseLine()) {
            ++m_line;
            if (const char* token = m_parser.GetToken(" ")) {
                m_name = token;
                return true;
            }
        }
        return false;
    }

    // Returns true if the line is "name = number". Stores the number if it is a whole number from lowest to highest.
    bool readInt(const char* name, long lowest, long highest, int* number)
    {
        if (stricmp(m_name.c_str(), name) != 0) {
            return false;
        }
        const char* text = m_parser.GetEqualsToken() ? m_parser.GetToken(" ") : nullptr;
        char* end = nullptr;
        const long value = text ? strtol(text, &end, 10) : 0;
        if (!text || *end || value < lowest || value > highest) {
            fault("expected " + m_name + " = a number from " + std::to_string(lowest) + " to " +
                  std::to_string(highest) + (text ? ", found \"" + std::string(text) + "\"" : ""));
        } else {
            *number = static_cast<int>(value);
        }
        return true;
    }

    void refuse() { fault("\"" + m_name + "\" is not a setting of a unit"); }
    int faults() const { return m_faults; }

private:
    void fault(const std::string& message)
    {
        printf("%s:%d: %s\n", m_file, m_line, message.c_str());
        ++m_faults;
    }

    const char* m_file;
    Parser m_parser;
    std::string m_name;
    int m_line = 0;
    int m_faults = 0;
};

int main()
{
    char text[] = "// a footman\r\nhealth = sixty\r\n\r\nspeed = 3\r\nhelth = 60\r\narrows = 5000\r\nspeed\r\n";
    UnitReader reader("footman.unit", text);
    int health = 1, speed = 1, arrows = 0;
    while (reader.nextLine()) {
        if (!reader.readInt("health", 1, 1000, &health) && !reader.readInt("speed", 1, 10, &speed) &&
            !reader.readInt("arrows", 0, 99, &arrows)) {
            reader.refuse();
        }
    }
    printf("%d faults; health %d, speed %d, arrows %d\n", reader.faults(), health, speed, arrows);
    return 0;
}
