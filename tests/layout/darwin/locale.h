// As much of the C library's <locale.h> as core uses: for the layout check alone.
#pragma once

#define LC_ALL 0
