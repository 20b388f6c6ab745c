// The endpoint's handler over a real bus, once through each path that allocates (the sanitized
// build runs this under the leak checker), and forwarding to a client that serves a name.
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

using client_ptr = std::unique_ptr<msgbus_client, decltype(&msgbus_disconnect)>;

client_ptr connect_endpoint()
{
    return client_ptr(msgbus_connect(bus_endpoint_name), msgbus_disconnect);
}

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
        for (int attempt = 0; attempt < 300 && !connect_endpoint(); ++attempt)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        ASSERT_TRUE(connect_endpoint()) << "the endpoint does not come up";
    }
    // While the store exists: at exit its static owner may go before this environment does.
    void TearDown() override { config_unload(); }
    config_files files{"<config><system><serial ro=\"nimbo python\">SN1</serial></system>"
                       "<static_position><enable>on</enable></static_position></config>",
                       "<config/>"};
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
    client_ptr own = client ? client_ptr(nullptr, msgbus_disconnect) : connect_endpoint();
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

} // namespace

TEST(BusHandler, RequestsAndConfigurationAccessAnswerWithTheirResults)
{
    answer ok =
        ask(BUS_OP_RCI, "<rci_request><query_setting><system/></query_setting></rci_request>");
    EXPECT_NE(ok.payload.find("<serial>SN1</serial>"), std::string::npos) << ok.payload;
    EXPECT_EQ(ok.result, static_cast<int>(ok.payload.size()));
    EXPECT_EQ(ask(BUS_OP_RCI, "").result, -5);
    EXPECT_EQ(ask(99, "payload").result, -1);
    const std::string current(1, SAVE_CURRENT);
    EXPECT_EQ(ask(BUS_OP_READ_CONFIG, current + "/config/static_position").payload,
              "<config><static_position><enable>on</enable></static_position></config>");
    EXPECT_EQ(ask(BUS_OP_READ_CONFIG, current + "/config/none").result, -1);
    answer write = ask(BUS_OP_WRITE_CONFIG, "<set_setting><system>");
    EXPECT_TRUE(write.result == -1 && write.payload.empty());
}

TEST(BusHandler, NamesEndAtTheirTerminatorAndForwardToTheirOwnerOnly)
{
    client_ptr owner = connect_endpoint(), other = connect_endpoint();
    EXPECT_EQ(ask(BUS_OP_REGISTER, "svc", owner.get()).result, 0) << "the terminator is optional";
    EXPECT_EQ(ask(BUS_OP_REGISTER, std::string("svc\0junk", 8), other.get()).result, -1)
        << "the name ends at the terminator";
    EXPECT_EQ(ask(BUS_OP_UNREGISTER, std::string("svc\0", 4), other.get()).result, 0);
    volatile int stop = 0;
    std::thread serving([&] { msgbus_serve(owner.get(), bracket, nullptr, &stop); });
    EXPECT_EQ(ask(forward_probe_op, "svc").payload, "<svc><ping/>") << "not the owner's entry";
    EXPECT_EQ(ask(forward_probe_op, "nobody").payload, "");
    stop = 1;
    serving.join();
    EXPECT_EQ(ask(BUS_OP_UNREGISTER, std::string("svc\0", 4), owner.get()).result, 0);
    EXPECT_EQ(ask(BUS_OP_REGISTER, "svc", other.get()).result, 0);
}
