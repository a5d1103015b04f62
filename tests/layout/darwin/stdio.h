// As much of the C library's <stdio.h> as core uses: for the layout check alone. Formats are checked with the target's own
// sizes.
#pragma once

#include <stdarg.h>
#include <stddef.h>

typedef struct __sFILE FILE;

#define EOF (-1)
#define stderr __stderrp

extern "C" {
extern FILE* __stderrp;
FILE* fopen(const char* path, const char* mode);
int fclose(FILE* stream);
int feof(FILE* stream);
int ferror(FILE* stream);
int fflush(FILE* stream);
char* fgets(char* line, int size, FILE* stream);
size_t fread(void* bytes, size_t size, size_t count, FILE* stream);
int fputc(int letter, FILE* stream);
int fputs(const char* text, FILE* stream);
int fprintf(FILE* stream, const char* format, ...) __attribute__((format(printf, 2, 3)));
int snprintf(char* text, size_t size, const char* format, ...) __attribute__((format(printf, 3, 4)));
int vsnprintf(char* text, size_t size, const char* format, va_list arguments) __attribute__((format(printf, 3, 0)));
int sscanf(const char* text, const char* format, ...) __attribute__((format(scanf, 2, 3)));
}
