// The endpoint's handler over a real bus: once each path that allocates (the sanitized build runs
// this under the leak checker), forwarding, and what the system tests do not reach.
#include "rci/bus.h"
#include "support/config_fixture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

namespace
{

// Test-only operation: forwards a command to the target named by the payload, on the listener
// thread as do_command does, and answers with the forwarded reply.
constexpr int forward_probe_op = 100;

void probe_handler(msgbus_peer peer, void *arg, int op, uint32_t tag, const void *payload,
                   size_t length)
{
    if (op != forward_probe_op) return bus_message_handler(peer, arg, op, tag, payload, length);
    const std::string name(static_cast<const char *>(payload), length);
    forward_reply reply = registry_call(name.c_str(), "<ping/>", 7);
    msgbus_send(peer, op, tag, 0, reply.get(), reply ? std::strlen(reply.get()) : 0, nullptr, 0);
}

const char *current =
    "<config><system><serial ro=\"nimbo python\">SN1</serial><key wo=\"python\">k"
    "</key></system><static_position><enable>on</enable></static_position></config>";

struct client_closer {
    void operator()(msgbus_client *client) const { msgbus_disconnect(client); }
};
using client_ptr = std::unique_ptr<msgbus_client, client_closer>;

// One endpoint for the whole test program: the listener serves until the process ends.
class endpoint : public ::testing::Environment
{
  public:
    void SetUp() override
    {
        setenv("MSGBUS_DIR", files.dir().path().c_str(), 1);
        ASSERT_EQ(files.load(), 0);
        registry_init();
        std::thread([] {
            msgbus_listen(bus_endpoint_name, probe_handler, nullptr, 30, [] {});
        }).detach();
        for (int attempt = 0; attempt < 300 && !client_ptr(msgbus_connect(bus_endpoint_name));
             ++attempt)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        ASSERT_TRUE(client_ptr(msgbus_connect(bus_endpoint_name)))
            << "the endpoint does not come up";
    }
    // While the store exists: at exit its static owner may go before this environment does.
    void TearDown() override { config_unload(); }
    config_files files{current, "<config/>"};
};
const ::testing::Environment *const the_endpoint =
    ::testing::AddGlobalTestEnvironment(new endpoint);

struct answer {
    int result;
    std::string payload;
};

// One request, on `client` or on a connection of its own; result -1000 when no reply came.
answer ask(int op, const std::string &payload, msgbus_client *client = nullptr)
{
    client_ptr own = client ? nullptr : client_ptr(msgbus_connect(bus_endpoint_name));
    answer out{.result = -1000, .payload = {}};
    char *reply = nullptr;
    size_t length = 0;
    msgbus_request(client ? client : own.get(), op, 42, payload.data(), payload.size(), nullptr, 0,
                   &out.result, &reply, &length, 5000);
    if (reply) out.payload.assign(reply, length);
    std::free(reply);
    return out;
}

char *bracket(const char *name, const char *payload, size_t length, void *)
{
    return strdup(("<" + std::string(name) + ">" + std::string(payload, length)).c_str());
}

const std::string read_current(1, SAVE_CURRENT);

} // namespace

TEST(BusHandler, RciEchoAndUnknownOperations)
{
    answer ok =
        ask(BUS_OP_RCI, "<rci_request><query_setting><system/></query_setting></rci_request>");
    EXPECT_NE(ok.payload.find("<serial>SN1</serial>"), std::string::npos) << ok.payload;
    EXPECT_EQ(ok.result, static_cast<int>(ok.payload.size()));
    EXPECT_EQ(ask(BUS_OP_RCI, "").result, -5);
    EXPECT_EQ(ask(99, "payload").result, -1);
    EXPECT_EQ(ask(BUS_OP_ECHO, "hi").payload, "hi" + std::string(254, '\0'));
}

TEST(BusHandler, NamesEndAtTheirTerminatorAndTheOwnerUnregisters)
{
    client_ptr owner(msgbus_connect(bus_endpoint_name));
    client_ptr other(msgbus_connect(bus_endpoint_name));
    EXPECT_EQ(ask(BUS_OP_REGISTER, "logger", owner.get()).result, 0)
        << "the terminator is optional";
    EXPECT_EQ(ask(BUS_OP_REGISTER, std::string("logger\0junk", 11), other.get()).result, -1)
        << "the name ends at the terminator";
    EXPECT_EQ(ask(BUS_OP_UNREGISTER, std::string("logger\0", 7), owner.get()).result, 0);
    EXPECT_EQ(ask(BUS_OP_REGISTER, std::string("logger\0", 7), other.get()).result, 0);
}

TEST(BusHandler, ForwardsToTheRegisteredClient)
{
    client_ptr server(msgbus_connect(bus_endpoint_name));
    ASSERT_EQ(ask(BUS_OP_REGISTER, std::string("svc\0", 4), server.get()).result, 0);
    volatile int stop = 0;
    std::thread serving([&] { msgbus_serve(server.get(), bracket, nullptr, &stop); });
    EXPECT_EQ(ask(forward_probe_op, "svc").payload, "<svc><ping/>");
    EXPECT_EQ(ask(forward_probe_op, "nobody").payload, "");
    stop = 1;
    serving.join();
}

TEST(BusHandler, ConfigurationReadsAndRefusals)
{
    EXPECT_EQ(ask(BUS_OP_READ_CONFIG, read_current + "/config/static_position").payload,
              "<config><static_position><enable>on</enable></static_position></config>");
    EXPECT_EQ(
        ask(BUS_OP_READ_CONFIG, read_current + std::string("/config/system/key\0/x", 21)).payload,
        "<config></config>")
        << "the expression ends at a terminator; write-only stays hidden";
    EXPECT_EQ(ask(BUS_OP_READ_CONFIG, read_current + "/config/none").result, -1);
    answer write = ask(BUS_OP_WRITE_CONFIG, "<set_setting><system>");
    EXPECT_TRUE(write.result == -1 && write.payload.empty());
}
