// Round trips over the real bus against the physical floor, measured in one run:
//   floor  a raw Unix-socket ping-pong between two processes, message sizes as the echo's frames
//   echo   the echo operation with a 256-byte payload
//   query  an RCI query_setting of one setting
// Prints p50, p99 and requests per second of each and their ratios; with --engine PID also the
// engine's resident memory while 100,000 more requests run.
//
//   bus_bench [--count N] [--engine PID]
#include "round_trips.h"

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace
{

constexpr size_t echo_payload = 256;
// The bus's frame header, so the floor moves as many bytes as an echo round trip.
constexpr size_t frame_header = 28;
const std::string one_setting_query =
    "<rci_request version=\"1.1\"><query_setting><system><timezone/></system>"
    "</query_setting></rci_request>";

bool transfer(int fd, char *bytes, size_t size, bool sending)
{
    for (size_t done = 0; done < size;) {
        ssize_t n =
            sending ? write(fd, bytes + done, size - done) : read(fd, bytes + done, size - done);
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

// The other end of the floor's ping-pong: a child process that sends back every message.
class raw_peer
{
  public:
    raw_peer() : message_(frame_header + echo_payload, 'x')
    {
        int pair[2];
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, pair) != 0) return;
        child_ = fork();
        if (child_ == 0) {
            close(pair[0]);
            while (transfer(pair[1], message_.data(), message_.size(), false) &&
                   transfer(pair[1], message_.data(), message_.size(), true)) {
            }
            _exit(0);
        }
        close(pair[1]);
        fd_ = pair[0];
    }
    ~raw_peer()
    {
        if (fd_ >= 0) close(fd_);
        if (child_ > 0) waitpid(child_, nullptr, 0);
    }
    raw_peer(const raw_peer &) = delete;
    raw_peer &operator=(const raw_peer &) = delete;

    bool round_trip()
    {
        return fd_ >= 0 && transfer(fd_, message_.data(), message_.size(), true) &&
               transfer(fd_, message_.data(), message_.size(), false);
    }

  private:
    std::vector<char> message_;
    int fd_ = -1;
    pid_t child_ = -1;
};

long resident_kib(const char *pid)
{
    std::ifstream status(std::string("/proc/") + pid + "/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("VmRSS:", 0) == 0) return std::atol(line.c_str() + 6);
    return -1;
}

void print_row(const char *name, const figures &f, const figures &floor)
{
    std::printf("%-6s %9.1f %9.1f %10.0f %8.2fx\n", name, f.p50_us, f.p99_us, f.per_second,
                floor.p50_us > 0 ? f.p50_us / floor.p50_us : 0.0);
}

// 100,000 requests, half echo, half query; the engine's VmRSS before and at three points.
bool memory_run(msgbus_client *client, const char *engine, long at_start)
{
    const std::string echo(echo_payload, 'e');
    std::printf("\nengine %s VmRSS: at start %ld KiB, before these requests %ld KiB", engine,
                at_start, resident_kib(engine));
    for (int done = 0; done < 100000;) {
        if (!bus_round_trip(client, BUS_OP_ECHO, echo) ||
            !bus_round_trip(client, BUS_OP_RCI, one_setting_query))
            return false;
        done += 2;
        if (done == 20000 || done == 50000 || done == 100000)
            std::printf(", after %d: %ld KiB", done, resident_kib(engine));
    }
    std::printf("\n");
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    int count = 20000;
    const char *engine = nullptr;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--count") == 0)
            count = std::max(1, std::atoi(argv[i + 1]));
        else if (std::strcmp(argv[i], "--engine") == 0)
            engine = argv[i + 1];
    }
    client_ptr client(msgbus_connect(bus_endpoint_name));
    if (!client) {
        std::perror("bus_bench: connect to vexacs");
        return 1;
    }
    // Blocks of each kind take turns, so a machine shared with other work slows all kinds alike
    // and the ratios stay meaningful.
    const std::string echo(echo_payload, 'e');
    const long rss_at_start = engine ? resident_kib(engine) : -1;
    raw_peer peer;
    series floor_times, echo_times, query_times;
    constexpr int blocks = 20;
    for (int block = 0; block < blocks; ++block) {
        int share = count / blocks + (block < count % blocks ? 1 : 0);
        measure(share, floor_times, [&] { return peer.round_trip(); });
        measure(share, echo_times, [&] { return bus_round_trip(client.get(), BUS_OP_ECHO, echo); });
        measure(share, query_times,
                [&] { return bus_round_trip(client.get(), BUS_OP_RCI, one_setting_query); });
    }
    figures floor = summarise(floor_times);
    figures echoed = summarise(echo_times);
    figures queried = summarise(query_times);

    std::printf("%d round trips each, one connection, in %d interleaved blocks\n", count, blocks);
    std::printf("%-6s %9s %9s %10s %9s\n", "", "p50 us", "p99 us", "req/s", "vs floor");
    print_row("floor", floor, floor);
    print_row("echo", echoed, floor);
    print_row("query", queried, floor);
    if (echoed.p50_us > 0)
        std::printf("query p50 / echo p50: %.2fx\n", queried.p50_us / echoed.p50_us);
    if (floor.p50_us == 0 || echoed.p50_us == 0 || queried.p50_us == 0) {
        std::fprintf(stderr, "bus_bench: a round trip failed\n");
        return 1;
    }
    return engine && !memory_run(client.get(), engine, rss_at_start) ? 1 : 0;
}
