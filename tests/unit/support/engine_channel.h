// The engine's channel to the parent over fresh pipes, with the parent's side played by the test.
#pragma once

#include "channel/channel.h"

#include <unistd.h>

#include <string>

// Points the engine's channel at fresh pipes and plays the parent's side of them.
struct engine_channel {
    int to_parent[2] = {-1, -1}, from_parent[2] = {-1, -1};

    engine_channel()
    {
        (void)!pipe(to_parent);
        (void)!pipe(from_parent);
        to_parent_fd = to_parent[1];
        from_parent_fd = from_parent[0];
    }
    ~engine_channel()
    {
        to_parent_fd = from_parent_fd = -1;
        for (int fd : {to_parent[0], to_parent[1], from_parent[0], from_parent[1]})
            close(fd);
    }

    // Reads one message as the parent does: its letter followed by its payload, or "" at EOF.
    std::string read_message() const
    {
        char letter = 0;
        unsigned char length = 0;
        if (read(to_parent[0], &letter, 1) != 1) return "";
        if ((letter == LETTER_DATE || letter == LETTER_PASSWORD) &&
            read(to_parent[0], &length, 1) != 1)
            return "";
        std::string message(1 + length, letter);
        for (size_t got = 1; got < message.size();) {
            ssize_t count = read(to_parent[0], message.data() + got, message.size() - got);
            if (count <= 0) return "";
            got += static_cast<size_t>(count);
        }
        return message;
    }
    // Answers as the parent does: two bytes, the letter and the result.
    void answer(const char *bytes) const { (void)!write(from_parent[1], bytes, 2); }
};
