// Takes the log's place. A program that includes this gets each message as its level, a space and its whole text:
//
//     EXPECT_EQ(takeMessages(), "3 one\f6 two\f");
#pragma once

#include "logger/logger.h"

#include <stdarg.h>
#include <stdio.h>
#include <string>
#include <utility>

inline std::string s_messages;

// What was logged since the last call.
inline std::string takeMessages()
{
    return std::exchange(s_messages, "");
}

__attribute__((format(printf, 2, 3))) void owLogger::log(int level, const char* format, ...)
{
    char text[512];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    s_messages += std::to_string(level) + " " + text;
}
