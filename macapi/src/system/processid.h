// The number of this process, without a call of the system each time.
#pragma once

#include <sys/types.h>

namespace macapi {

// Returns what getpid returns, also in a child process, however the child was made.
pid_t processId();

} // namespace macapi
