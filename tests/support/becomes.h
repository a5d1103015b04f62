// Waiting for what another process does.
#pragma once

#include <functional>
#include <unistd.h>

// Waits at most 30 seconds until the condition holds. Returns false if it never held.
inline bool becomes(const std::function<bool()>& condition)
{
    for (int tries = 0; tries < 600; ++tries) {
        if (condition()) {
            return true;
        }
        usleep(50000);
    }
    return false;
}
