// As much of the C library's <string.h> as core uses: for the layout check alone. Mac OS X on PowerPC never had strnlen.
#pragma once

#include <stddef.h>

extern "C" {
void* memchr(const void* bytes, int value, size_t count);
int memcmp(const void* left, const void* right, size_t count);
void* memcpy(void* to, const void* from, size_t count);
void* memmove(void* to, const void* from, size_t count);
void* memset(void* bytes, int value, size_t count);
char* strchr(const char* text, int letter);
int strcmp(const char* left, const char* right);
char* strcpy(char* to, const char* from);
size_t strcspn(const char* text, const char* letters);
size_t strlen(const char* text);
int strncmp(const char* left, const char* right, size_t most);
char* strncpy(char* to, const char* from, size_t size);
char* strpbrk(const char* text, const char* letters);
char* strrchr(const char* text, int letter);
size_t strspn(const char* text, const char* letters);
char* strstr(const char* text, const char* part);
char* strtok(char* text, const char* letters);
}
