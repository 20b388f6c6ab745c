#include "radio/targets.h"
#include "rci/registry.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace
{

struct forwarded {
    std::string name;
    std::string payload;
    msgbus_peer peer = 0;
    int calls = 0;
};
forwarded last;

forward_reply answer(const char *name, const char *payload, size_t length, msgbus_peer peer)
{
    last = {name, std::string(payload, length), peer, last.calls + 1};
    return forward_reply(strdup(("from " + std::to_string(peer)).c_str()));
}

forward_reply silent(const char *, const char *, size_t, msgbus_peer)
{
    return nullptr;
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
    if (registry_add(name, silent, 999) == REGISTRY_TAKEN) return true;
    registry_remove(name, silent, 999);
    return false;
}

class Registry : public ::testing::Test
{
  protected:
    void SetUp() override
    {
        registry_init();
        last = {};
    }
    void TearDown() override { registry_init(); }
};

} // namespace

TEST_F(Registry, OneEntryPerNameWhoeverAsks)
{
    EXPECT_EQ(registry_add("logger", answer, 1), REGISTRY_ADDED);
    EXPECT_EQ(registry_add("logger", answer, 2), REGISTRY_TAKEN);
    EXPECT_EQ(registry_add("logger", silent, 1), REGISTRY_TAKEN);
    EXPECT_EQ(registry_add("logger2", answer, 2), REGISTRY_ADDED) << "names compare exactly";
    EXPECT_EQ(registry_add("Logger", answer, 2), REGISTRY_ADDED);

    pelk_reserve_targets();
    EXPECT_EQ(registry_add("pelk", answer, 3), REGISTRY_TAKEN);
    EXPECT_EQ(registry_add("zigbee", answer, 0), REGISTRY_TAKEN);
    EXPECT_EQ(registry_call("pelk", "x", 1), nullptr) << "radio targets are never forwarded";

    registry_init();
    EXPECT_FALSE(taken("logger"));
    EXPECT_FALSE(taken("pelk"));
}

TEST_F(Registry, RemoveTakesOnlyExactMatches)
{
    ASSERT_EQ(registry_add("svc", answer, 1), REGISTRY_ADDED);
    EXPECT_EQ(registry_remove("svc", answer, 2), 0) << "another peer";
    EXPECT_EQ(registry_remove("svc", silent, 1), 0) << "another forward function";
    EXPECT_EQ(registry_remove("sv", answer, 1), 0);
    EXPECT_TRUE(taken("svc"));
    EXPECT_EQ(registry_remove("svc", answer, 1), 0);
    EXPECT_FALSE(taken("svc"));
    EXPECT_EQ(registry_remove("svc", answer, 1), 0) << "removing twice is harmless";
}

TEST_F(Registry, PeerRemovalUnlinksAllItsEntriesAnywhereInTheList)
{
    // Interleaved so that head, middle and tail entries are unlinked.
    const std::vector<std::pair<const char *, msgbus_peer>> entries{
        {"a", 1}, {"d", 2}, {"b", 1}, {"e", 2}, {"c", 1}};
    for (const auto &[name, peer] : entries)
        ASSERT_EQ(registry_add(name, answer, peer), REGISTRY_ADDED);
    registry_remove_peer(1);
    for (const char *name : {"a", "b", "c"})
        EXPECT_FALSE(taken(name)) << name;
    for (const char *name : {"d", "e"})
        EXPECT_TRUE(taken(name)) << name;
    registry_remove_peer(2);
    EXPECT_FALSE(taken("d"));
    EXPECT_FALSE(taken("e"));
}

TEST_F(Registry, CallForwardsToTheOwner)
{
    ASSERT_EQ(registry_add("svc", answer, 7), REGISTRY_ADDED);
    ASSERT_EQ(registry_add("other", answer, 8), REGISTRY_ADDED);
    forward_reply reply = registry_call("svc", "<a/>\0tail", 9);
    ASSERT_NE(reply, nullptr);
    EXPECT_STREQ(reply.get(), "from 7");
    EXPECT_EQ(last.name, "svc");
    EXPECT_EQ(last.payload, std::string("<a/>\0tail", 9))
        << "the payload is passed with its length";
    EXPECT_EQ(last.peer, 7u);

    EXPECT_EQ(registry_call("nobody", "", 0), nullptr);
    EXPECT_EQ(last.calls, 1) << "no forward for an unregistered name";
    ASSERT_EQ(registry_add("mute", silent, 9), REGISTRY_ADDED);
    EXPECT_EQ(registry_call("mute", "", 0), nullptr);
}

TEST_F(Registry, ForwardFunctionMayChangeTheRegistry)
{
    // Would deadlock with a plain mutex, and walk freed entries if the call iterated the list.
    ASSERT_EQ(registry_add("x", answer, 5), REGISTRY_ADDED);
    ASSERT_EQ(registry_add("gone", vanish, 5), REGISTRY_ADDED);
    ASSERT_EQ(registry_add("y", answer, 5), REGISTRY_ADDED);
    EXPECT_EQ(registry_call("gone", "", 0), nullptr);
    for (const char *name : {"x", "gone", "y"})
        EXPECT_FALSE(taken(name)) << name;
}

TEST_F(Registry, ConcurrentAddsOfOneNameSucceedOnce)
{
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
