// Letters and digits of ASCII. The program's locale does not matter.
#pragma once

namespace macapi {

inline bool isDigit(char letter)
{
    return letter >= '0' && letter <= '9';
}

inline bool isLetter(char letter)
{
    return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z');
}

} // namespace macapi
