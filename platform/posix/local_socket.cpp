#include <platform/posix/local_socket.h>

#include <platform/posix/errors.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace {

constexpr int kDuplex = 2;

// An address without a file.  A name that is too long is told apart from others by a number over all of it.
struct Address {
    sockaddr_un text = {};
    socklen_t length = 0;

    explicit Address(std::string name)
    {
        constexpr size_t kRoom = sizeof text.sun_path - 1, kDigits = 20;
        uint64_t hash = 14695981039346656037u;
        for (const char c : name)
            hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211u;
        if (name.size() > kRoom)
            name = name.substr(0, kRoom - kDigits) + std::to_string(hash);
        text.sun_family = AF_UNIX;
        std::memcpy(text.sun_path + 1, name.data(), name.size()); // behind a zero: no file
        length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    }
    const sockaddr *get() const { return reinterpret_cast<const sockaddr *>(&text); }
};

// Pipes are found without regard to letter case.
std::string pipe_name(const char *name, const char *suffix)
{
    std::string whole = "tamba-pipe/";
    for (; *name; ++name)
        whole += *name >= 'A' && *name <= 'Z' ? static_cast<char>(*name + 32) : *name;
    return whole + suffix;
}

const char *direction_suffix(int mode)
{
    constexpr const char *kSuffixes[] = {"/in", "/out", "/both"};
    return kSuffixes[mode];
}

Descriptor open_socket(int type)
{
    return Descriptor(socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

bool connected(const Descriptor &fd, const std::string &name)
{
    const Address address(name);
    return again_after_signal([&] { return connect(fd.get(), address.get(), address.length); }) == 0;
}

bool bound(const Descriptor &fd, const std::string &name)
{
    const Address address(name);
    return fd && bind(fd.get(), address.get(), address.length) == 0;
}

// Whether the creator has this name, too.
bool has_name(const char *name, const char *suffix)
{
    const Descriptor probe = open_socket(SOCK_DGRAM);
    return probe && connected(probe, pipe_name(name, suffix));
}

} // namespace

Descriptor take_name(const std::string &name)
{
    Descriptor fd = open_socket(SOCK_DGRAM);
    return bound(fd, name) ? std::move(fd) : Descriptor();
}

bool PipeServer::create(const char *name, int type, int mode)
{
    owner_ = take_name(pipe_name(name, "/owner"));
    if (!owner_)
        return errno == EADDRINUSE ? pl_fail(PL_PIPE_BUSY, EBUSY) : pl_fail(errno);
    marker_ = take_name(pipe_name(name, direction_suffix(mode)));
    listener_ = open_socket(type);
    if (!marker_ || !bound(listener_, pipe_name(name, "")) ||
        listen(listener_.get(), 0) != 0) // the queue has one place
        return pl_fail(errno);
    name_ = name;
    type_ = type;
    return true;
}

Descriptor PipeServer::accept_client()
{
    if (type_ == SOCK_STREAM && !close_queue())
        return {};
    Descriptor client(
        again_after_signal([&] { return accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC); }));
    if (client && type_ != SOCK_STREAM)
        occupy();
    return client;
}

// A stream has only one client ever: once it waits in the queue, nobody else is let in.
bool PipeServer::close_queue()
{
    pollfd waiting = {listener_.get(), POLLIN, 0};
    if (again_after_signal([&] { return poll(&waiting, 1, 0); }) > 0)
        return shutdown(listener_.get(), SHUT_RD) == 0;
    errno = EAGAIN;
    return false;
}

// A message's sender may come between and has the place.  It keeps it until it is its turn, so that nothing of what it
// sends is lost.
void PipeServer::occupy()
{
    Descriptor filler = open_socket(type_);
    if (filler && connected(filler, pipe_name(name_.c_str(), "")))
        filler_ = std::move(filler);
}

void PipeServer::release_client()
{
    if (!filler_)
        return;
    const Descriptor taken(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    filler_ = Descriptor();
}

Descriptor connect_client(const char *name, int type, int mode)
{
    // Only the directions that do not fit are asked for: a client that does fit must not come twice.
    for (const int creator : {0, 1})
        if (creator == mode || mode == kDuplex)
            if (has_name(name, direction_suffix(creator))) {
                pl_fail(PL_ACCESS_DENIED, EACCES);
                return {};
            }
    const int stream = SOCK_STREAM, packets = SOCK_SEQPACKET;
    for (const int kind : {type, type == stream ? packets : stream}) {
        Descriptor fd = open_socket(kind);
        if (fd && connected(fd, pipe_name(name, ""))) {
            const int flags = fcntl(fd.get(), F_GETFL);
            fcntl(fd.get(), F_SETFL, flags & ~O_NONBLOCK);
            return fd;
        }
        if (errno != ECONNREFUSED)
            break;
    }
    if (const int error = errno; error != EAGAIN && error != ECONNREFUSED)
        pl_fail(error);
    else if (error == EAGAIN || has_name(name, "/owner"))
        pl_fail(PL_PIPE_BUSY, EBUSY); // a stream that has its client refuses everybody
    else
        pl_fail(PL_FILE_NOT_FOUND, ENOENT);
    return {};
}
