// Allocation and recursive mutexes that the executable exports to the libraries loaded into it.
// The names are part of the daemon's interface towards those libraries; the header is C, as
// those libraries are.
#pragma once

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif
void *e_malloc(size_t size);
void *e_realloc(void *ptr, size_t size);
int e_free(void *ptr);
void *eh_mutex_create(void);
int eh_mutex_destroy(void *mutex);
int eh_mutex_lock(void *mutex);
int eh_mutex_unlock(void *mutex);
#ifdef __cplusplus
}
#endif
