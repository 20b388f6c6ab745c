// Runs the parent loop over real pipes, with the shell commands and the reboot pause recorded
// instead of run. Every fixture gets its own scratch folder for the ntp pid file and heartbeats.
#pragma once

#include "supervisor/process.h"
#include "supervisor/root_daemon.h"
#include "support/config_fixture.h"

#include <fcntl.h>
#include <unistd.h>

#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Commands the parent asked to run, in order; the reboot pause shows as "pause N". A command
// that starts with a prefix given to answer() gets that raw system() value, others 0. The loop
// may run on a thread of its own while the test looks.
struct command_recorder {
    static inline std::mutex lock;
    static inline std::vector<std::string> commands;
    static inline std::vector<std::pair<std::string, int>> answers;

    static std::vector<std::string> taken()
    {
        std::lock_guard hold(lock);
        return commands;
    }
    static void answer(const std::string &prefix, int raw)
    {
        std::lock_guard hold(lock);
        answers.emplace_back(prefix, raw);
    }
    static int run(const char *command)
    {
        std::lock_guard hold(lock);
        commands.emplace_back(command);
        for (const auto &[prefix, raw] : answers)
            if (std::string_view(command).starts_with(prefix)) return raw;
        return 0;
    }
    static unsigned pause(unsigned seconds)
    {
        std::lock_guard hold(lock);
        commands.push_back("pause " + std::to_string(seconds));
        return 0;
    }
};

class parent_harness
{
  public:
    parent_harness()
    {
        (void)!pipe(to_parent_);
        (void)!pipe(to_engine_);
        fcntl(to_engine_[0], F_SETFL, O_NONBLOCK);
        root_hooks = {.command_runner = command_recorder::run,
                      .pause = command_recorder::pause,
                      .ntp_pid_path = ntp_path_.c_str()};
        command_recorder::commands.clear();
        command_recorder::answers.clear();
        setenv("VEXA_SIM_DIR", dir_.path().c_str(), 1);
        stop_requested = 0;
        child_changed = 0;
    }
    ~parent_harness()
    {
        root_hooks = saved_hooks_;
        for (int fd : {to_parent_[0], to_parent_[1], to_engine_[0], to_engine_[1]})
            if (fd >= 0) close(fd);
    }

    void send(std::string_view bytes) { (void)!write(to_parent_[1], bytes.data(), bytes.size()); }
    void close_engine_end() { close(std::exchange(to_parent_[1], -1)); }
    void close_answer_reader() { close(std::exchange(to_engine_[0], -1)); }
    parent_link link(pid_t engine = 0) const
    {
        return {.from_engine = to_parent_[0], .to_engine = to_engine_[1], .engine = engine};
    }
    // Sends `bytes`, closes the engine's end and serves everything up to the end of file.
    void serve(std::string_view bytes)
    {
        send(bytes);
        close_engine_end();
        parent_link served = link();
        parent_loop(served);
    }
    std::string answers() const
    {
        char buf[256];
        ssize_t count = read(to_engine_[0], buf, sizeof buf);
        return count > 0 ? std::string(buf, static_cast<size_t>(count)) : "";
    }
    const scratch_dir &dir() const { return dir_; }

  private:
    scratch_dir dir_;
    std::string ntp_path_ = dir_.file("chronyd.pid");
    parent_hooks saved_hooks_ = root_hooks;
    int to_parent_[2] = {-1, -1};
    int to_engine_[2] = {-1, -1};
};
