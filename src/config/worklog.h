// The change worklog: one line per changed element, the libxml2 path of that element.
//
// Writers hold an exclusive flock on the file for a whole change request, so that whatever reads
// and empties the worklog outside this program never sees half a request. This program only
// appends; the file must already exist.
#pragma once

#include "base/xml.h"

// Opens the worklog for appending and waits for its lock: the descriptor, -1 when the file cannot
// be opened, -2 when it cannot be locked (errno tells why in both cases).
int worklog_open();
// Appends the node's path and "\n": 0, -1 no path, -2 the path write failed, -3 the newline failed.
int worklog_append_node(int fd, xmlNodePtr node);
// Closes the descriptor, which releases the lock: 0, or -1 with errno set.
int worklog_close(int fd);

// Holds the open and locked worklog for one request; closes it on every path out.
class worklog_lock
{
  public:
    worklog_lock() : fd_(worklog_open()) {}
    ~worklog_lock()
    {
        if (fd_ >= 0) worklog_close(fd_);
    }
    worklog_lock(const worklog_lock &) = delete;
    worklog_lock &operator=(const worklog_lock &) = delete;

    // The descriptor, or the negative result of worklog_open.
    int fd() const { return fd_; }
    // Closes now, for callers that must know whether the close worked.
    int close()
    {
        int result = worklog_close(fd_);
        fd_ = -1;
        return result;
    }

  private:
    int fd_;
};
