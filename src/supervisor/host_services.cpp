#include "supervisor/host_services.h"

#include <pthread.h>

#include <cstdlib>

#define EXPORTED __attribute__((visibility("default"), used))

extern "C" {

EXPORTED void *e_malloc(size_t size)
{
    return std::malloc(size);
}

EXPORTED void *e_realloc(void *ptr, size_t size)
{
    return std::realloc(ptr, size);
}

EXPORTED int e_free(void *ptr)
{
    std::free(ptr);
    return 0;
}

EXPORTED void *eh_mutex_create(void)
{
    auto *mutex = static_cast<pthread_mutex_t *>(e_malloc(sizeof(pthread_mutex_t)));
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    if (mutex) pthread_mutex_init(mutex, &attr);
    pthread_mutexattr_destroy(&attr);
    return mutex;
}

EXPORTED int eh_mutex_destroy(void *mutex)
{
    pthread_mutex_destroy(static_cast<pthread_mutex_t *>(mutex));
    return e_free(mutex);
}

EXPORTED int eh_mutex_lock(void *mutex)
{
    return pthread_mutex_lock(static_cast<pthread_mutex_t *>(mutex));
}

EXPORTED int eh_mutex_unlock(void *mutex)
{
    return pthread_mutex_unlock(static_cast<pthread_mutex_t *>(mutex));
}
}
