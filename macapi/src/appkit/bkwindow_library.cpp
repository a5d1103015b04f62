// The table that libcore-appkit exports. This source is part of libcore-appkit.
#include "macapi/src/appkit/bkwindow_library.h"

#define BKWINDOW_ADDRESS(name) &::name,
const macapi::BKWindowFunctions core_appkit_functions = {BKWINDOW_FUNCTIONS(BKWINDOW_ADDRESS)};
