// As much of the Mac's <xlocale.h> as core uses: for the layout check alone.
#pragma once

typedef struct _xlocale* locale_t;

#define LC_ALL_MASK 0x3f

extern "C" {
locale_t newlocale(int mask, const char* name, locale_t base);
locale_t uselocale(locale_t locale);
double strtod_l(const char* text, char** end, locale_t locale);
float strtof_l(const char* text, char** end, locale_t locale);
long long strtoll_l(const char* text, char** end, int base, locale_t locale);
unsigned long long strtoull_l(const char* text, char** end, int base, locale_t locale);
}
