// As much of the Mac's <pthread.h> as core uses, with the sizes of 32-bit Mac OS X: for the layout check alone, which
// runs where the Mac's headers are not.
#pragma once

struct pthread_mutex_t {
    long signature;
    char opaque[40];
};

struct pthread_mutexattr_t {
    long signature;
    char opaque[8];
};

#define PTHREAD_MUTEX_RECURSIVE 2
#define PTHREAD_MUTEX_INITIALIZER                                                                                    \
    {                                                                                                                \
        0x32AAABA7,                                                                                                  \
        {                                                                                                            \
            0                                                                                                        \
        }                                                                                                            \
    }

extern "C" {
int pthread_mutexattr_init(pthread_mutexattr_t* attr);
int pthread_mutexattr_settype(pthread_mutexattr_t* attr, int type);
int pthread_mutexattr_destroy(pthread_mutexattr_t* attr);
int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attr);
int pthread_mutex_destroy(pthread_mutex_t* mutex);
int pthread_mutex_lock(pthread_mutex_t* mutex);
int pthread_mutex_unlock(pthread_mutex_t* mutex);
}
