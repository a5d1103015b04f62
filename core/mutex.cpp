#include "core/mutex.h"

Mutex::Mutex()
{
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&mutex, &attr);
}

Mutex::~Mutex()
{
    pthread_mutex_destroy(&mutex);
    pthread_mutexattr_destroy(&attr);
}
