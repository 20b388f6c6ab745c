// The mutexes the executable lends to loaded libraries (which names it exports is pinned on the
// daemon itself by daemon_exports_only_host_services).
#include "supervisor/host_services.h"

#include <gtest/gtest.h>

TEST(HostServices, MutexesAreRecursive)
{
    void *mutex = eh_mutex_create();
    ASSERT_NE(mutex, nullptr);
    // The libraries lock again while they hold it; an unlock too many is refused, not undefined.
    EXPECT_TRUE(eh_mutex_lock(mutex) == 0 && eh_mutex_lock(mutex) == 0);
    EXPECT_TRUE(eh_mutex_unlock(mutex) == 0 && eh_mutex_unlock(mutex) == 0);
    EXPECT_NE(eh_mutex_unlock(mutex), 0);
    EXPECT_EQ(eh_mutex_destroy(mutex), 0);
}
