// Sockets of this machine that are found by a name and gone with their last descriptor: what named pipes, message
// channels and single-instance locks are made of.  No file stands for a name.
#pragma once

#include <platform/posix/descriptor.h>

#include <string>

// Takes a name that is free again when the descriptor is closed; empty and EADDRINUSE when somebody has it.
Descriptor take_name(const std::string &name);

// The creator's end: at most one client at a time, as pipes with one instance have it.  The name stays taken while
// the object lives.
class PipeServer {
public:
    // type: SOCK_STREAM or SOCK_SEQPACKET.  mode tells clients which way data flow (named_pipe.h).  False and the
    // last error on failure.
    bool create(const char *name, int type, int mode);

    // Takes the client that waits, if there is one; if not, empty and errno.  Others are then told that the pipe is busy.
    Descriptor accept_client();

    // Lets the next client in.
    void release_client();

    // Readable when a client waits.
    int descriptor() const { return listener_.get(); }

private:
    bool close_queue();
    void occupy();

    Descriptor owner_; // names are apart for each type of socket; this one is the same for all
    Descriptor listener_;
    Descriptor marker_; // its name tells the direction
    Descriptor filler_; // a connection of our own in the only place of the queue
    std::string name_;
    int type_ = 0;
};

// Connects a client; empty and the last error on failure, see pl_named_pipe_open.  type is the one that is tried first:
// a stream may write into a channel, and the other way round.
Descriptor connect_client(const char *name, int type, int mode);
