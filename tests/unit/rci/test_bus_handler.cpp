#include "radio/targets.h"
#include "rci/bus.h"
#include "support/config_fixture.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

namespace
{

// Test-only operation: forwards a command to the target named by the payload, on the listener
// thread as do_command does, and answers with the forwarded reply (result 0) or -errno.
constexpr int forward_probe_op = 100;

void probe_handler(msgbus_peer peer, void *arg, int op, uint32_t tag, const void *payload,
                   size_t length)
{
    if (op != forward_probe_op) {
        bus_message_handler(peer, arg, op, tag, payload, length);
        return;
    }
    const std::string name(static_cast<const char *>(payload), length);
    errno = 0;
    forward_reply reply = registry_call(name.c_str(), "<ping/>", 7);
    int result = reply ? 0 : -errno;
    msgbus_send(peer, op, tag, result, reply.get(), reply ? std::strlen(reply.get()) : 0, nullptr,
                0);
}

const char *current =
    "<config>"
    "<system><serial ro=\"nimbo python\">SN1</serial><key wo=\"python\">k</key></system>"
    "<static_position><enable>on</enable></static_position>"
    "</config>";
const char *defaults = "<config><static_position><enable>off</enable></static_position></config>";

// One endpoint for the whole test program: the listener serves until the process ends.
class endpoint : public ::testing::Environment
{
  public:
    void SetUp() override
    {
        // Reachable by the test's children that take the cloud connector's identity.
        chmod(dir.path().c_str(), 0755);
        setenv("MSGBUS_DIR", dir.path().c_str(), 1);
        ASSERT_EQ(files.load(), 0);
        registry_init();
        pelk_reserve_targets();
        std::thread([] { msgbus_listen("vexacs", probe_handler, nullptr, 30, [] {}); }).detach();
    }
    // While the store exists: at exit its static owner may go before this environment does.
    void TearDown() override { config_unload(); }
    scratch_dir dir;
    config_files files{current, defaults};
};
const ::testing::Environment *const the_endpoint =
    ::testing::AddGlobalTestEnvironment(new endpoint);

struct client_closer {
    void operator()(msgbus_client *client) const { msgbus_disconnect(client); }
};
using client_ptr = std::unique_ptr<msgbus_client, client_closer>;

struct answer {
    int status;
    int result;
    std::string payload;
};

client_ptr connect_endpoint()
{
    for (int attempt = 0; attempt < 200; ++attempt) {
        if (msgbus_client *client = msgbus_connect("vexacs")) return client_ptr(client);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ADD_FAILURE() << "endpoint never came up";
    return nullptr;
}

answer ask(msgbus_client *client, int op, const std::string &payload, int timeout_ms = 5000)
{
    answer out{};
    char *reply = nullptr;
    size_t length = 0;
    out.status = msgbus_request(client, op, 42, payload.data(), payload.size(), nullptr, 0,
                                &out.result, &reply, &length, timeout_ms);
    if (reply) out.payload.assign(reply, length);
    std::free(reply);
    return out;
}

answer ask(int op, const std::string &payload)
{
    client_ptr client = connect_endpoint();
    return ask(client.get(), op, payload);
}

// Registration from `client`, retried while the endpoint has yet to see an earlier peer go.
int register_until_free(msgbus_client *client, const std::string &name)
{
    int result = -1;
    for (int attempt = 0; attempt < 100 && result != 0; ++attempt) {
        result = ask(client, BUS_OP_REGISTER, name + '\0').result;
        if (result != 0) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return result;
}

std::string read_request(char selector, const std::string &xpath)
{
    return std::string(1, selector) + xpath;
}

} // namespace

TEST(BusHandler, RequestSourceFromCredentials)
{
    EXPECT_STREQ(request_source({.pid = 1, .uid = 1000, .gid = 72}), "nimbo");
    EXPECT_STREQ(request_source({.pid = 1, .uid = 1000, .gid = 73}), "python");
    EXPECT_STREQ(request_source({.pid = 1, .uid = 0, .gid = 72}), "python");
    EXPECT_STREQ(request_source({.pid = 1, .uid = 72, .gid = 1000}), "python");
}

TEST(BusHandler, RciRequests)
{
    std::string query = "<rci_request><query_setting><system/></query_setting></rci_request>";
    answer ok = ask(BUS_OP_RCI, query);
    ASSERT_EQ(ok.status, 0);
    EXPECT_EQ(ok.payload,
              "<rci_reply version=\"1.1\"><query_setting><system><serial>SN1</serial></system>"
              "</query_setting></rci_reply>")
        << "a local peer runs as python: read-only shown, write-only hidden";
    EXPECT_EQ(ok.result, static_cast<int>(ok.payload.size()));

    answer broken = ask(BUS_OP_RCI, "<rci_request><query_setting>");
    EXPECT_EQ(broken.result, -5);
    EXPECT_EQ(broken.payload, "");
    EXPECT_EQ(ask(BUS_OP_RCI, "<rci_reply><a/></rci_reply>").result, -3);
    EXPECT_EQ(ask(BUS_OP_RCI, "").result, -5);
}

// The cloud connector's identity needs a process of its own to connect with.
TEST(BusHandler, CloudIdentityRunsAsNimbo)
{
    if (geteuid() != 0) GTEST_SKIP() << "changing identity needs root; the system tests cover it";
    auto serial_shown = [](gid_t gid) {
        pid_t child = fork();
        if (child == 0) {
            bool ok = setresgid(gid, gid, gid) == 0 && setresuid(1000, 1000, 1000) == 0;
            answer reply = ask(
                BUS_OP_RCI, "<rci_request><query_setting><system/></query_setting></rci_request>");
            _exit(!ok ? 2 : reply.payload.find("SN1") != std::string::npos ? 1 : 0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    };
    EXPECT_EQ(serial_shown(72), 0) << "read-only settings are hidden from the cloud";
    EXPECT_EQ(serial_shown(73), 1);
}

TEST(BusHandler, EchoAlwaysAnswers256Bytes)
{
    std::string long_payload;
    for (int i = 0; i < 300; ++i)
        long_payload += static_cast<char>('a' + i % 26);
    answer reply = ask(BUS_OP_ECHO, long_payload);
    EXPECT_EQ(reply.result, 0);
    EXPECT_EQ(reply.payload, long_payload.substr(0, 256));

    reply = ask(BUS_OP_ECHO, "hi");
    EXPECT_EQ(reply.payload, "hi" + std::string(254, '\0')) << "the rest of the area is zero";
    EXPECT_EQ(ask(BUS_OP_ECHO, "").payload, std::string(256, '\0'));
}

TEST(BusHandler, UnknownAndSilentOperations)
{
    log_capture log;
    for (int op : {7, -1, 99, -3}) {
        answer reply = ask(op, "payload");
        EXPECT_EQ(reply.result, -1) << op;
        EXPECT_EQ(reply.payload, "") << op;
        EXPECT_TRUE(log.has(LOG_ERR, "ignored op=" + std::to_string(op) + "\n")) << op;
    }

    client_ptr client = connect_endpoint();
    answer none = ask(client.get(), MSGBUS_OP_FORWARD, "x", 300);
    EXPECT_LT(none.status, 0) << "a forwarded-command message gets no reply";
    EXPECT_EQ(ask(client.get(), BUS_OP_ECHO, "next").payload.substr(0, 4), "next")
        << "and the connection still serves";
}

TEST(BusHandler, RegistrationOwnership)
{
    EXPECT_EQ(ask(BUS_OP_REGISTER, std::string("pelk", 5)).result, -1);
    EXPECT_EQ(ask(BUS_OP_REGISTER, std::string("zigbee", 7)).result, -1);

    client_ptr first = connect_endpoint();
    client_ptr second = connect_endpoint();
    client_ptr third = connect_endpoint();
    ASSERT_EQ(ask(first.get(), BUS_OP_REGISTER, std::string("logger\0", 7)).result, 0);
    EXPECT_EQ(ask(second.get(), BUS_OP_REGISTER, std::string("logger\0", 7)).result, -1);
    EXPECT_EQ(ask(second.get(), BUS_OP_REGISTER, "logger").result, -1)
        << "the terminator is optional";
    EXPECT_EQ(ask(second.get(), BUS_OP_REGISTER, std::string("logger\0junk", 11)).result, -1)
        << "the name ends at the terminator";

    EXPECT_EQ(ask(second.get(), BUS_OP_UNREGISTER, std::string("logger\0", 7)).result, 0);
    EXPECT_EQ(ask(third.get(), BUS_OP_REGISTER, std::string("logger\0", 7)).result, -1)
        << "only the owner unregisters";

    first.reset();
    EXPECT_EQ(register_until_free(second.get(), "logger"), 0)
        << "a closed peer's names are released";
    EXPECT_EQ(ask(second.get(), BUS_OP_UNREGISTER, std::string("logger\0", 7)).result, 0);
    EXPECT_EQ(ask(third.get(), BUS_OP_REGISTER, std::string("logger\0", 7)).result, 0);
}

TEST(BusHandler, ForwardsToTheRegisteredClient)
{
    client_ptr server = connect_endpoint();
    ASSERT_EQ(ask(server.get(), BUS_OP_REGISTER, std::string("svc\0", 4)).result, 0);
    volatile int stop = 0;
    std::thread serving([&] {
        msgbus_serve(
            server.get(),
            [](const char *name, const char *payload, size_t length, void *) {
                return strdup(
                    ("<" + std::string(name) + ">" + std::string(payload, length)).c_str());
            },
            nullptr, &stop);
    });
    answer reply = ask(forward_probe_op, "svc");
    EXPECT_EQ(reply.result, 0);
    EXPECT_EQ(reply.payload, "<svc><ping/>");
    EXPECT_EQ(ask(forward_probe_op, "nobody").payload, "");
    stop = 1;
    serving.join();
}

TEST(BusHandler, ReadConfiguration)
{
    answer reply = ask(BUS_OP_READ_CONFIG, read_request(SAVE_CURRENT, "/config/static_position"));
    EXPECT_EQ(reply.result, 0);
    EXPECT_EQ(reply.payload,
              "<config><static_position><enable>on</enable></static_position></config>");
    EXPECT_EQ(ask(BUS_OP_READ_CONFIG, read_request(SAVE_DEFAULTS, "/config/static_position/enable"))
                  .payload,
              "<config><enable>off</enable></config>");
    EXPECT_EQ(ask(BUS_OP_READ_CONFIG,
                  read_request(SAVE_CURRENT, std::string("/config/system/key\0/x", 21)))
                  .payload,
              "<config></config>")
        << "the expression ends at a terminator; write-only stays hidden";
    EXPECT_EQ(
        ask(BUS_OP_READ_CONFIG, read_request(SAVE_CURRENT, "/config/static_position/enable/text()"))
            .payload,
        "<config></config>");

    log_capture log;
    for (const std::string &bad :
         {read_request(SAVE_CURRENT, "/config/none"), read_request(3, "/config"), std::string(),
          std::string(1, SAVE_CURRENT)}) {
        answer refused = ask(BUS_OP_READ_CONFIG, bad);
        EXPECT_EQ(refused.result, -1) << bad.size();
        EXPECT_EQ(refused.payload, "") << bad.size();
    }
    EXPECT_TRUE(log.has(LOG_ERR, "vexacsd_config_read_xmltree failed, ret -1\n"));
    EXPECT_TRUE(log.has(LOG_ERR, "Invalid SAVE value 3\n"));
    EXPECT_TRUE(log.has(LOG_ERR, "Invalid SAVE value 0\n")) << "an empty payload has no selector";
}

TEST(BusHandler, WriteConfigurationRefusesUnusableText)
{
    for (const char *text : {"<set_setting><system>", "<set_setting/>", ""}) {
        answer reply = ask(BUS_OP_WRITE_CONFIG, text);
        EXPECT_EQ(reply.result, -1) << text;
        EXPECT_EQ(reply.payload, "") << text;
    }
}
