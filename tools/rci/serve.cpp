#include "serve.h"

#include "answer_cmd.h"
#include "explain.h"

#include "base/bus_endpoint.h"

#include <signal.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace
{

// Registering is answered at once; a daemon that does not answer within this is not serving.
constexpr int register_timeout_ms = 10000;

volatile int stop_requested = 0;

void request_stop(int)
{
    stop_requested = 1;
}

void catch_stop_signals()
{
    struct sigaction action {
    };
    action.sa_handler = request_stop;
    sigemptyset(&action.sa_mask);
    // No SA_RESTART: a signal must cut short the wait for the next call and the --delay sleep.
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

void pause_for(double seconds)
{
    if (seconds <= 0) return;
    double whole;
    double fraction = std::modf(seconds, &whole);
    timespec wait{.tv_sec = static_cast<time_t>(whole),
                  .tv_nsec = static_cast<long>(fraction * 1e9)};
    while (!stop_requested && nanosleep(&wait, &wait) < 0 && errno == EINTR) {
    }
}

char *answer_call(const char *name, const char *payload, size_t length, void *arg)
{
    const auto &options = *static_cast<const rci_options *>(arg);
    std::printf("received %s: %.*s\n", name, static_cast<int>(length), payload);
    std::fflush(stdout);
    pause_for(options.delay_seconds);
    if (options.has_answer_text) return strdup(options.answer_text.c_str());
    std::string output;
    if (run_answer_cmd(options.answer_cmd, payload, length, output) < 0)
        std::fprintf(stderr, "rci: cannot run the answer command: %s\n", strerror(errno));
    return strdup(output.c_str());
}

int register_name(msgbus_client *client, const std::string &name)
{
    int result = -1;
    if (msgbus_request(client, BUS_OP_REGISTER, 1, name.c_str(), name.size() + 1, nullptr, 0,
                       &result, nullptr, nullptr, register_timeout_ms) < 0) {
        std::fprintf(stderr, "rci: no reply: %s\n",
                     explain_no_reply(errno, register_timeout_ms).c_str());
        return 1;
    }
    if (result != 0) {
        std::fprintf(stderr, "rci: %s (result %d)\n",
                     explain_result(BUS_OP_REGISTER, result).c_str(), result);
        return 1;
    }
    return 0;
}

} // namespace

int run_serve(msgbus_client *client, const rci_options &options)
{
    catch_stop_signals();
    int refused = register_name(client, options.serve_name);
    if (refused) return refused;
    if (msgbus_serve(client, answer_call, const_cast<rci_options *>(&options), &stop_requested) <
        0) {
        std::fprintf(stderr, "rci: serving ended: %s\n", strerror(errno));
        return 1;
    }
    return 0;
}
