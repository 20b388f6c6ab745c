/* A loaded library that uses the host's allocator and recursive mutexes. */
#include <stddef.h>
#include <string.h>

#include "rci/host_services.h"

/* Returns 0 when every host service behaved, else the number of the failed step. */
int client_exercise(void)
{
    char *text = e_malloc(4);
    if (!text) return 1;
    memcpy(text, "abc", 4);
    text = e_realloc(text, 64);
    if (!text || strcmp(text, "abc") != 0) return 2;
    if (e_free(text) != 0) return 3;
    void *mutex = eh_mutex_create();
    if (!mutex) return 4;
    /* Recursive: the holder may lock again without blocking. */
    if (eh_mutex_lock(mutex) != 0 || eh_mutex_lock(mutex) != 0) return 5;
    if (eh_mutex_unlock(mutex) != 0 || eh_mutex_unlock(mutex) != 0) return 6;
    if (eh_mutex_unlock(mutex) == 0)
        return 7; /* a recursive mutex refuses an unlock by a thread that no longer holds it */
    return eh_mutex_destroy(mutex) == 0 ? 0 : 8;
}
