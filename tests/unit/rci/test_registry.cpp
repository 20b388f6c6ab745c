#include "rci/registry.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace
{

// What the last forward saw ("name:payload").
std::string last_call;

forward_reply answer(const char *name, const char *payload, size_t length, msgbus_peer peer)
{
    last_call = std::string(name) + ":" + std::string(payload, length);
    return forward_reply(strdup(("from " + std::to_string(peer)).c_str()));
}

// A peer that goes away while its command is forwarded: the bus delivers its removal on the
// same thread, inside the call.
forward_reply vanish(const char *, const char *, size_t, msgbus_peer peer)
{
    registry_remove_peer(peer);
    return nullptr;
}

bool taken(const char *name)
{
    if (registry_add(name, answer, 999) == REGISTRY_TAKEN) return true;
    registry_remove(name, answer, 999);
    return false;
}

} // namespace

// Which client may take or drop a name is shown through the daemon (bus_registry); here the
// list itself: exact names, and entries unlinked at its head, middle and tail.
TEST(Registry, NamesCompareExactlyAndAPeersEntriesGoWithIt)
{
    registry_init();
    EXPECT_EQ(registry_add("logger", answer, 1), REGISTRY_ADDED);
    EXPECT_EQ(registry_add("Logger", answer, 2), REGISTRY_ADDED);
    EXPECT_TRUE(taken("logger") && taken("Logger"));

    // Interleaved so that head, middle and tail entries are unlinked.
    registry_init();
    for (const char *name : {"a", "d", "b", "e", "c"})
        ASSERT_EQ(registry_add(name, answer, name[0] < 'd' ? 1 : 2), REGISTRY_ADDED);
    registry_remove_peer(1);
    for (const char *name : {"a", "b", "c", "d", "e"})
        EXPECT_EQ(taken(name), name[0] >= 'd') << name;
}

TEST(Registry, CallForwardsToTheOwnerAndMayChangeTheRegistry)
{
    registry_init();
    ASSERT_EQ(registry_add("svc", answer, 7), REGISTRY_ADDED);
    ASSERT_EQ(registry_add("other", answer, 8), REGISTRY_ADDED);
    forward_reply reply = registry_call("svc", "<a/>\0tail", 9);
    ASSERT_NE(reply, nullptr);
    EXPECT_STREQ(reply.get(), "from 7");
    EXPECT_EQ(last_call, std::string("svc:<a/>\0tail", 13)) << "the payload goes with its length";
    EXPECT_EQ(registry_call("nobody", "", 0), nullptr);

    // Would deadlock with a plain mutex, and walk freed entries if the call iterated the list.
    ASSERT_EQ(registry_add("gone", vanish, 8), REGISTRY_ADDED);
    EXPECT_EQ(registry_call("gone", "", 0), nullptr);
    EXPECT_FALSE(taken("gone") || taken("other"));
    EXPECT_TRUE(taken("svc"));
}

TEST(Registry, ConcurrentAddsOfOneNameSucceedOnce)
{
    registry_init();
    constexpr int names = 200;
    std::atomic<int> added{0};
    std::vector<std::thread> threads;
    for (msgbus_peer peer = 1; peer <= 4; ++peer) {
        threads.emplace_back([peer, &added] {
            for (int i = 0; i < names; ++i)
                if (registry_add(("n" + std::to_string(i)).c_str(), answer, peer) == REGISTRY_ADDED)
                    ++added;
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(added.load(), names);
}
