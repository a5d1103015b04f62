// As much of the C library's <stdlib.h> as core uses: for the layout check alone.
#pragma once

#include <stddef.h>

extern "C" {
void* malloc(size_t size);
void* calloc(size_t count, size_t size);
void* realloc(void* block, size_t size);
void free(void* block);
int atexit(void (*function)());
[[noreturn]] void exit(int status);
[[noreturn]] void abort();
int atoi(const char* text);
long strtol(const char* text, char** end, int base);
unsigned long strtoul(const char* text, char** end, int base);
long long strtoll(const char* text, char** end, int base);
unsigned long long strtoull(const char* text, char** end, int base);
double strtod(const char* text, char** end);
}
