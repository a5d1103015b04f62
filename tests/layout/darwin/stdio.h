// As much of the C library's <stdio.h> as core's headers use: for the layout check alone.
#pragma once

typedef struct __sFILE FILE;
