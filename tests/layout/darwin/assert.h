// As much of assert.h as core includes: for the layout check alone.
#pragma once

#define assert(condition) ((void)sizeof(condition))
