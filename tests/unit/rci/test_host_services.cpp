// What loaded libraries get from the executable (which names it exports is pinned on the daemon
// itself by daemon_exports_only_host_services).
#include "rci/host_services.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(HostServices, AllocatorKeepsContentAndMutexesAreRecursive)
{
    char *text = static_cast<char *>(e_malloc(4));
    ASSERT_NE(text, nullptr);
    std::memcpy(text, "abc", 4);
    text = static_cast<char *>(e_realloc(text, 64));
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, "abc");
    EXPECT_EQ(e_free(text), 0);

    void *mutex = eh_mutex_create();
    ASSERT_NE(mutex, nullptr);
    // The libraries lock again while they hold it; an unlock too many is refused, not undefined.
    EXPECT_TRUE(eh_mutex_lock(mutex) == 0 && eh_mutex_lock(mutex) == 0);
    EXPECT_TRUE(eh_mutex_unlock(mutex) == 0 && eh_mutex_unlock(mutex) == 0);
    EXPECT_NE(eh_mutex_unlock(mutex), 0);
    EXPECT_EQ(eh_mutex_destroy(mutex), 0);
}
