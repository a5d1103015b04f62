// The two types of the Mac's <pthread.h> that core's records hold, with their sizes on 32-bit Mac OS X: for
// the layout check alone, which runs where the Mac's headers are not.
#pragma once

struct pthread_mutex_t {
    long signature;
    char opaque[40];
};

struct pthread_mutexattr_t {
    long signature;
    char opaque[8];
};
