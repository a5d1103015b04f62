// A game that reads a parameter under another name than the file has. The exit status is 0 when the names differ and 1
// when they are equal: the process's stricmp decides.
#include "core/parser.h"

int main()
{
    char text[] = "width = 640";
    Parser parser(text);
    parser.ParseLine();
    const char* token = parser.GetToken(" ");
    int value = 0;
    return parser.ParamEqualsInt32(token, "height", &value) && value == 640 ? 1 : 0;
}
