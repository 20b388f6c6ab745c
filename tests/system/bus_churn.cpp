// Many clients at once against the engine's endpoint: well-formed requests whose replies are
// checked, and connections that misbehave (closed mid-message, garbage, requests left
// unanswered). Prints a summary; exits 1 when any well-formed request got a wrong or no reply.
//
//   bus_churn [CLIENTS [ROUNDS [SEED]]]     defaults: 200 clients, 40 rounds each, seed 1
#include "base/bus_endpoint.h"
#include "base/fd.h"
#include "frame.h"
#include "msgbus.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace
{

constexpr const char *endpoint = bus_endpoint_name;
const std::string query = "<rci_request version=\"1.1\"><query_setting><system><timezone/></system>"
                          "</query_setting></rci_request>";

using client_ptr = std::unique_ptr<msgbus_client, decltype(&msgbus_disconnect)>;

struct reply {
    int status = -1, result = 0;
    std::string payload;
};

reply request(msgbus_client *client, int op, uint32_t tag, const std::string &payload)
{
    reply out;
    char *text = nullptr;
    size_t length = 0;
    if (client)
        out.status = msgbus_request(client, op, tag, payload.data(), payload.size(), nullptr, 0,
                                    &out.result, &text, &length, 10000);
    if (text) out.payload.assign(text, length);
    std::free(text);
    return out;
}

// The bytes of one request, for connections that send it in part or never read its reply.
std::string frame_bytes(int op, const std::string &payload)
{
    msgbus::wire_header head{};
    msgbus::make_header(msgbus::frame_kind::request, op, 7, 0, payload.size(), 0, head);
    return std::string(reinterpret_cast<const char *>(&head), sizeof head) + payload;
}

// Sends `bytes` on a raw connection of its own, which then closes without reading.
bool send_raw(const std::string &bytes)
{
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s/%s", msgbus_dir(), endpoint);
    unique_fd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    return connect(fd.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) == 0 &&
           send(fd.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) >= 0;
}

struct totals {
    std::string expected_query, echo_frame = frame_bytes(BUS_OP_ECHO, std::string(200, 'e')),
                                rci_frame = frame_bytes(BUS_OP_RCI, query);
    std::atomic<long> checked{0}, wrong{0}, misbehaved{0};
};

class churn_client
{
  public:
    churn_client(int id, unsigned seed, totals &counts) : id_(id), random_(seed), counts_(counts) {}

    void run(int rounds)
    {
        for (int round = 0; round < rounds; ++round) {
            step(random_() % 8);
            if (random_() % 8 == 0) client_.reset(); // the next request connects again
        }
    }

  private:
    // Kinds 0-1 echo, 2-3 query, 4 registers a name; 5-7 misbehave: a frame cut short, garbage,
    // or a query whose reply is never read.
    void step(unsigned kind)
    {
        if (!client_) client_.reset(msgbus_connect(endpoint));
        const std::string &frame = random_() % 2 ? counts_.echo_frame : counts_.rci_frame;
        if (kind < 4) return kind < 2 ? echo() : rci();
        if (kind == 4) return register_name();
        std::string bytes = kind == 5   ? frame.substr(0, 1 + random_() % (frame.size() - 1))
                            : kind == 6 ? random_bytes(1 + random_() % 2048)
                                        : counts_.rci_frame;
        if (send_raw(bytes)) ++counts_.misbehaved;
    }

    void rci()
    {
        reply got = request(client_.get(), BUS_OP_RCI, ++tag_, query);
        check("query",
              got.status == 0 && got.payload == counts_.expected_query &&
                  got.result == static_cast<int>(got.payload.size()),
              got);
    }

    void echo()
    {
        std::string payload = random_bytes(random_() % 400),
                    expected = payload.substr(0, bus_reply_area_size);
        expected.resize(bus_reply_area_size, '\0');
        reply got = request(client_.get(), BUS_OP_ECHO, ++tag_, payload);
        check("echo", got.status == 0 && got.result == 0 && got.payload == expected, got);
    }

    void register_name()
    {
        std::string name = "churn-" + std::to_string(id_) + "-" + std::to_string(++tag_) + '\0';
        reply added = request(client_.get(), BUS_OP_REGISTER, tag_, name);
        check("register", added.status == 0 && added.result == 0, added);
        if (random_() % 2 == 0) return;
        reply removed = request(client_.get(), BUS_OP_UNREGISTER, ++tag_, name);
        check("unregister", removed.status == 0 && removed.result == 0, removed);
    }

    std::string random_bytes(size_t count)
    {
        std::string bytes(count, '\0');
        for (char &c : bytes)
            c = static_cast<char>(random_());
        return bytes;
    }

    void check(const char *what, bool ok, const reply &got)
    {
        ++counts_.checked;
        if (!ok && ++counts_.wrong <= 10)
            std::fprintf(stderr, "client %d: %s: status %d result %d payload %zu bytes\n", id_,
                         what, got.status, got.result, got.payload.size());
    }

    int id_;
    uint32_t tag_ = 0;
    std::mt19937 random_;
    totals &counts_;
    client_ptr client_{nullptr, msgbus_disconnect};
};

} // namespace

int main(int argc, char **argv)
{
    int clients = argc > 1 ? std::atoi(argv[1]) : 200;
    int rounds = argc > 2 ? std::atoi(argv[2]) : 40;
    unsigned seed = argc > 3 ? static_cast<unsigned>(std::atoi(argv[3])) : 1;

    totals counts;
    client_ptr first(msgbus_connect(endpoint), msgbus_disconnect);
    reply baseline = request(first.get(), BUS_OP_RCI, 1, query);
    if (baseline.status != 0 || baseline.result <= 0) {
        std::fprintf(stderr, "bus_churn: no answer to the baseline query (status %d result %d)\n",
                     baseline.status, baseline.result);
        return 2;
    }
    counts.expected_query = baseline.payload;

    std::vector<std::thread> threads;
    for (int id = 0; id < clients; ++id)
        threads.emplace_back([&counts, id, rounds, seed] {
            churn_client(id, seed * 7919u + id, counts).run(rounds);
        });
    for (std::thread &thread : threads)
        thread.join();

    std::printf("checked %ld replies, %ld wrong, %ld misbehaving connections\n",
                counts.checked.load(), counts.wrong.load(), counts.misbehaved.load());
    return counts.wrong.load() == 0 && counts.checked.load() > 0 ? 0 : 1;
}
