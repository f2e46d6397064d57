#include <platform/child_pipe.h>

#include <platform/child_ends.h>
#include <platform/fault.h>
#include <platform/posix/child_process.h>
#include <platform/posix/command_line.h>
#include <platform/posix/errors.h>
#include <platform/posix/stream.h>

#include <climits>
#include <cstdlib>

namespace {

bool open_pipe(Descriptor (*ends)[2])
{
    int fds[2];
    if (pl_fault())
        return false;
    if (pipe2(fds, O_CLOEXEC) != 0)
        return pl_fail(errno);
    for (int i = 0; i < 2; ++i)
        (*ends)[i] = Descriptor(fds[i]);
    return ((*ends)[0] && (*ends)[1]) || pl_fail(errno);
}

// A path whose directories "." and ".." are resolved: they would count as dots of the program's name.  One that is not
// there stays as it is, and the start fails as such.
std::string without_dot_segments(const std::string &path)
{
    const size_t name = path.rfind('/');
    const std::string directory = path.substr(0, name + 1);
    char real[PATH_MAX];
    if ((directory.find("/./") == std::string::npos && directory.find("/../") == std::string::npos) ||
        !realpath(directory.c_str(), real))
        return path;
    return real + path.substr(name);
}

TB_HANDLE stream_handle(Descriptor fd)
{
    return pl_fault() ? nullptr : handle_add(std::make_shared<StreamObject>(std::move(fd)));
}

// Opens what is not a pipe: the null device, the starter's own standard output for errors.
bool place_streams(const PlChildStreams &wanted, const ChildEnds<Descriptor> &ends, Descriptor *null,
                   Descriptor *own_output, ChildStreams *places)
{
    places->streams[0] = ends.input.child.get();
    places->streams[1] = ends.output.child.get();
    places->streams[2] = ends.errors.child.get();
    if (wanted.null_input) {
        *null = Descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC));
        if (!*null)
            return pl_fail(errno);
        places->streams[0] = null->get();
    }
    if (wanted.join_error) {
        if (!ends.output.child)
            *own_output = Descriptor(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0));
        places->streams[2] = ends.output.child ? ends.output.child.get() : own_output->get();
    }
    return true;
}

} // namespace

PlChildStart pl_child_start(const char *program, const char *command_line, const PlChildStreams &streams,
                            PlChild *child)
{
    *child = {};
    ChildEnds<Descriptor> ends;
    if (const PlChildStart opened = ends.open(streams, open_pipe, stream_handle);
        opened != PlChildStart::done)
        return opened;
    Descriptor null, own_output;
    ChildStreams places;
    if (pl_fault() || !place_streams(streams, ends, &null, &own_output, &places))
        return PlChildStart::not_started;
    const auto words = split_command_line(command_line);
    const auto process = ChildProcess::start(program         ? program
                                             : words.empty() ? ""
                                                             : words[0],
                                             words, places);
    if (!process)
        return PlChildStart::not_started;
    child->process = handle_add(process);
    child->thread = child->process ? handle_add(process) : nullptr;
    if (!child->thread) { // no room for it; it runs on, but nobody could be told of its end
        if (child->process)
            pl_close(child->process);
        *child = {};
        return PlChildStart::not_started;
    }
    child->pid = child->tid = static_cast<uint32_t>(process->pid());
    child->output = ends.output.release();
    child->input = ends.input.release();
    child->errors = ends.errors.release();
    return PlChildStart::done;
}

TB_HANDLE pl_duplicate(TB_HANDLE handle)
{
    auto object = handle_find(handle);
    return object && !pl_fault() ? handle_add(std::move(object)) : nullptr;
}

void pl_child_wait_ready(TB_HANDLE, uint32_t) {}

void pl_child_wait_exit(TB_HANDLE process, TB_HANDLE output, uint32_t milliseconds)
{
    const auto stream = handle_get<StreamObject>(output);
    if (stream && stream->at_end())
        pl_wait(process, milliseconds);
}

int32_t pl_child_resume(TB_HANDLE thread)
{
    const auto object = handle_get<ProcessObject>(thread);
    ChildProcess *const child = object ? object->child() : nullptr;
    return child ? child->resume() : -1;
}

bool pl_full_path(const char *directory, const char *program, std::string *path)
{
    if (!*program)
        return pl_fail(PL_INVALID_PARAMETER, EINVAL);
    std::string whole = native_path(program);
    if (whole[0] != '/') {
        std::string below = native_path(directory);
        if (!below.empty() && below.back() != '/')
            below += '/';
        whole = below + whole;
    }
    if (whole[0] != '/') {
        char here[PATH_MAX];
        if (!getcwd(here, sizeof here))
            return pl_fail(errno);
        whole = std::string(here) + "/" + whole;
    }
    *path = without_dot_segments(whole);
    return true;
}
