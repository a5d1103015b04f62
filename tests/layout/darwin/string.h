// As much of the C library's <string.h> as core's headers use: for the layout check alone.
#pragma once

extern "C" {
void* memmove(void* to, const void* from, unsigned long count);
void* memset(void* bytes, int value, unsigned long count);
unsigned long strnlen(const char* text, unsigned long most);
}
