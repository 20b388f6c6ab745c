// Many clients at once against the engine's endpoint: well-formed requests whose replies are
// checked, and connections that misbehave (closed mid-message, garbage frames, requests left
// unanswered). Prints a summary; exits 1 when any well-formed request got a wrong or no reply.
//
//   bus_churn [CLIENTS [ROUNDS [SEED]]]     defaults: 200 clients, 40 rounds each, seed 1
#include "base/bus_endpoint.h"
#include "msgbus.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace
{

constexpr int timeout_ms = 10000;
const std::string query = "<rci_request version=\"1.1\"><query_setting><system><timezone/></system>"
                          "</query_setting></rci_request>";

struct client_closer {
    void operator()(msgbus_client *client) const { msgbus_disconnect(client); }
};
using client_ptr = std::unique_ptr<msgbus_client, client_closer>;

class fd_owner
{
  public:
    explicit fd_owner(int fd = -1) : fd_(fd) {}
    ~fd_owner()
    {
        if (fd_ >= 0) close(fd_);
    }
    fd_owner(const fd_owner &) = delete;
    fd_owner &operator=(const fd_owner &) = delete;
    int get() const { return fd_; }

  private:
    int fd_;
};

struct reply {
    int status = -1;
    int result = 0;
    std::string payload;
};

reply request(msgbus_client *client, int op, uint32_t tag, const std::string &payload)
{
    reply out;
    char *text = nullptr;
    size_t length = 0;
    out.status = msgbus_request(client, op, tag, payload.data(), payload.size(), nullptr, 0,
                                &out.result, &text, &length, timeout_ms);
    if (text) out.payload.assign(text, length);
    std::free(text);
    return out;
}

sockaddr_un endpoint_address(const char *endpoint)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s/%s", msgbus_dir(), endpoint);
    return address;
}

// A raw socket connected to an endpoint of the current bus folder, or -1.
int raw_connect(const char *endpoint)
{
    sockaddr_un address = endpoint_address(endpoint);
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd >= 0 && connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

// A listening socket that stands in for an endpoint, or -1.
int raw_listen(const char *endpoint)
{
    sockaddr_un address = endpoint_address(endpoint);
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd >= 0 && (bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
                    listen(fd, 1) != 0)) {
        close(fd);
        return -1;
    }
    return fd;
}

// The bytes the client library sends for one request, read off a socket of our own, so the test
// can send real frames in pieces without knowing their layout.
std::string capture_frame(int op, const std::string &payload)
{
    char folder[] = "/tmp/bus-churn-XXXXXX";
    if (!mkdtemp(folder)) return "";
    std::string saved = msgbus_dir();
    setenv("MSGBUS_DIR", folder, 1);
    fd_owner listener(raw_listen("capture"));
    client_ptr client(msgbus_connect("capture"));
    setenv("MSGBUS_DIR", saved.c_str(), 1);
    std::string bytes;
    if (listener.get() >= 0 && client) {
        fd_owner peer(accept(listener.get(), nullptr, nullptr));
        std::thread sender([&] { request(client.get(), op, 7, payload); });
        char chunk[4096];
        pollfd wait{.fd = peer.get(), .events = POLLIN, .revents = 0};
        while (poll(&wait, 1, 300) > 0) {
            ssize_t n = read(peer.get(), chunk, sizeof chunk);
            if (n <= 0) break;
            bytes.append(chunk, static_cast<size_t>(n));
        }
        shutdown(peer.get(), SHUT_RDWR);
        sender.join();
    }
    unlink((std::string(folder) + "/capture").c_str());
    rmdir(folder);
    return bytes;
}

struct tally {
    std::atomic<long> checked{0};
    std::atomic<long> wrong{0};
    std::atomic<long> misbehaved{0};
    std::mutex report_mutex;

    void fail(int client, const char *what, const reply &got)
    {
        if (++wrong > 10) return;
        std::lock_guard lock(report_mutex);
        std::fprintf(stderr, "client %d: %s: status %d result %d payload %zu bytes\n", client, what,
                     got.status, got.result, got.payload.size());
    }
};

struct shared_state {
    std::string expected_query;
    std::string echo_frame;
    std::string rci_frame;
    tally counts;
};

class churn_client
{
  public:
    churn_client(int id, unsigned seed, shared_state &shared)
        : id_(id), random_(seed), shared_(shared)
    {
    }
    void run(int rounds);

  private:
    void check(bool ok, const char *what, const reply &got)
    {
        ++shared_.counts.checked;
        if (!ok) shared_.counts.fail(id_, what, got);
    }
    // The client's connection, connected again after a deliberate disconnect; nullptr (counted
    // as a failure) when the endpoint refuses it.
    msgbus_client *connection();
    void echo();
    void rci();
    void register_name();
    void cut_mid_message();
    void garbage();
    void leave_unanswered();

    int id_;
    uint32_t tag_ = 0;
    int names_ = 0;
    std::mt19937 random_;
    shared_state &shared_;
    client_ptr client_;
};

msgbus_client *churn_client::connection()
{
    if (!client_) client_.reset(msgbus_connect(bus_endpoint_name));
    if (!client_) shared_.counts.fail(id_, "connect", reply{});
    return client_.get();
}

void churn_client::echo()
{
    std::string payload(random_() % 400, '\0');
    for (char &c : payload)
        c = static_cast<char>(random_());
    msgbus_client *client = connection();
    if (!client) return;
    reply got = request(client, BUS_OP_ECHO, ++tag_, payload);
    std::string expected = payload.substr(0, bus_reply_area_size);
    expected.resize(bus_reply_area_size, '\0');
    check(got.status == 0 && got.result == 0 && got.payload == expected, "echo", got);
}

void churn_client::rci()
{
    msgbus_client *client = connection();
    if (!client) return;
    reply got = request(client, BUS_OP_RCI, ++tag_, query);
    check(got.status == 0 && got.payload == shared_.expected_query &&
              got.result == static_cast<int>(got.payload.size()),
          "query", got);
}

void churn_client::register_name()
{
    std::string name = "churn-" + std::to_string(id_) + "-" + std::to_string(++names_) + '\0';
    msgbus_client *client = connection();
    if (!client) return;
    reply added = request(client, BUS_OP_REGISTER, ++tag_, name);
    check(added.status == 0 && added.result == 0, "register", added);
    if (random_() % 2) {
        reply removed = request(client, BUS_OP_UNREGISTER, ++tag_, name);
        check(removed.status == 0 && removed.result == 0, "unregister", removed);
    }
}

void churn_client::cut_mid_message()
{
    const std::string &frame = random_() % 2 ? shared_.echo_frame : shared_.rci_frame;
    fd_owner fd(raw_connect(bus_endpoint_name));
    size_t cut = 1 + random_() % (frame.size() - 1);
    if (fd.get() >= 0 && write(fd.get(), frame.data(), cut) >= 0) ++shared_.counts.misbehaved;
}

void churn_client::garbage()
{
    std::string bytes(1 + random_() % 2048, '\0');
    for (char &c : bytes)
        c = static_cast<char>(random_());
    fd_owner fd(raw_connect(bus_endpoint_name));
    if (fd.get() >= 0 && write(fd.get(), bytes.data(), bytes.size()) >= 0)
        ++shared_.counts.misbehaved;
}

void churn_client::leave_unanswered()
{
    fd_owner fd(raw_connect(bus_endpoint_name));
    const std::string &frame = shared_.rci_frame;
    if (fd.get() >= 0 && write(fd.get(), frame.data(), frame.size()) >= 0)
        ++shared_.counts.misbehaved;
}

void churn_client::run(int rounds)
{
    using action = void (churn_client::*)();
    static constexpr action actions[] = {
        &churn_client::echo,          &churn_client::echo,
        &churn_client::rci,           &churn_client::rci,
        &churn_client::register_name, &churn_client::cut_mid_message,
        &churn_client::garbage,       &churn_client::leave_unanswered,
    };
    for (int round = 0; round < rounds; ++round) {
        (this->*actions[random_() % std::size(actions)])();
        if (random_() % 8 == 0) client_.reset(); // disconnect; the next request connects again
    }
}

} // namespace

int main(int argc, char **argv)
{
    int clients = argc > 1 ? std::atoi(argv[1]) : 200;
    int rounds = argc > 2 ? std::atoi(argv[2]) : 40;
    unsigned seed = argc > 3 ? static_cast<unsigned>(std::atoi(argv[3])) : 1;

    shared_state shared;
    shared.echo_frame = capture_frame(BUS_OP_ECHO, std::string(200, 'e'));
    shared.rci_frame = capture_frame(BUS_OP_RCI, query);
    client_ptr first(msgbus_connect(bus_endpoint_name));
    reply baseline = first ? request(first.get(), BUS_OP_RCI, 1, query) : reply{};
    if (shared.echo_frame.size() < 2 || shared.rci_frame.size() < 2 || baseline.status != 0 ||
        baseline.result <= 0) {
        std::fprintf(
            stderr, "bus_churn: cannot set up (frames %zu/%zu, query status %d result %d)\n",
            shared.echo_frame.size(), shared.rci_frame.size(), baseline.status, baseline.result);
        return 2;
    }
    shared.expected_query = baseline.payload;

    std::vector<std::thread> threads;
    for (int id = 0; id < clients; ++id)
        threads.emplace_back([&shared, id, rounds, seed] {
            churn_client(id, seed * 7919u + id, shared).run(rounds);
        });
    for (std::thread &thread : threads)
        thread.join();

    std::printf("checked %ld replies, %ld wrong, %ld misbehaving connections\n",
                shared.counts.checked.load(), shared.counts.wrong.load(),
                shared.counts.misbehaved.load());
    return shared.counts.wrong.load() == 0 && shared.counts.checked.load() > 0 ? 0 : 1;
}
