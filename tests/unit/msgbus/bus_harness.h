// A listening endpoint inside the test process, with operations that let tests drive the
// server side: echo, credentials, calls to another peer, floods. What the server saw (removal
// notices, idle calls, registered names, the outcome of a flood) is recorded for the tests.
#pragma once

#include "frame.h"
#include "msgbus.h"
#include "unique_fd.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace harness
{

// Operations of the test endpoint.
enum test_op : int {
    op_register = 2,     // payload: a name, recorded for registered(); result 0
    op_echo = 4,         // reply: both parts back, result = payload length
    op_credentials = 20, // reply: the peer's msgbus_credentials
    op_whoami = 21,      // reply: the peer's handle
    op_call = 22,        // payload call_order: msgbus_call another peer with "svc" and "hello";
                         // reply: call_outcome, then the call's reply text
    op_flood = 23,       // send a 12 MiB reply; its errno (0 when sent) and duration are
                         // recorded in flood_errno and flood_ms
    op_silent = 24,      // no reply at all
};

struct call_order {
    msgbus_peer target;
    int op;
    int timeout_ms;
};

struct call_outcome {
    int result;
    int error;
    long elapsed_ms;
};

constexpr const char *endpoint = "test";
// The same operations under the daemon's endpoint name, for the command-line client.
constexpr const char *daemon_endpoint = "vexacs";

// Starts both endpoints (once per process) in a scratch bus folder, idle period one second.
void start();
const std::string &bus_dir();

int removal_count(msgbus_peer peer);
// The peer that registered `name`, or 0.
msgbus_peer registered(const std::string &name);
extern std::atomic<int> flood_errno;
extern std::atomic<long> flood_ms;
// Calls of the idle function.
extern std::atomic<int> idles;

long ms_since(std::chrono::steady_clock::time_point start);
// Polls `done` every 10 ms until it holds or `limit` passes.
bool wait_for(const std::function<bool()> &done,
              std::chrono::milliseconds limit = std::chrono::milliseconds(3000));

struct client_closer {
    void operator()(msgbus_client *client) const { msgbus_disconnect(client); }
};
using client_ptr = std::unique_ptr<msgbus_client, client_closer>;
// Starts the endpoints and connects to one of them.
client_ptr connect_client(const char *name = endpoint);

// One request; the reply text ("<no reply>" when none came in time), its result in *result.
std::string ask(msgbus_client *client, int op, const std::string &payload, int *result,
                int timeout_ms = 2000);
msgbus_peer whoami(msgbus_client *client);
// Has the endpoint call `target` (op_call); the call's outcome, its reply text in *text.
call_outcome call_through(msgbus_client *client, msgbus_peer target, int op, int timeout_ms,
                          std::string *text);

// Raw socket access, for clients that misbehave.
msgbus::unique_fd raw_connect();
// Writes all bytes without raising SIGPIPE; negative when the server has closed.
int raw_write(int fd, const void *bytes, size_t count);
int raw_send(int fd, msgbus::frame_kind kind, int op, uint32_t tag, const std::string &part1);
// Reads one frame; false on end of stream or after `timeout_ms`.
bool raw_read(int fd, msgbus::frame_reader &reader, msgbus::frame &out, int timeout_ms = 2000);

} // namespace harness
