#include <platform/child_pipe.h>

#include <platform/fault.h>
#include <platform/posix/child_process.h>
#include <platform/posix/command_line.h>
#include <platform/posix/errors.h>
#include <platform/posix/stream.h>

#include <climits>

namespace {

struct Ends {
    Descriptor read, write;
};

// Above the numbers of the standard streams: one end would otherwise be overwritten by the other in the child.
Descriptor above_standard(int fd)
{
    if (fd > 2)
        return Descriptor(fd);
    const Descriptor low(fd);
    return Descriptor(fcntl(fd, F_DUPFD_CLOEXEC, 3));
}

bool open_pipe(Ends *ends)
{
    int fds[2];
    if (pl_fault())
        return false;
    if (pipe2(fds, O_CLOEXEC) != 0)
        return pl_fail(errno);
    ends->read = above_standard(fds[0]);
    ends->write = above_standard(fds[1]);
    return (ends->read && ends->write) || pl_fail(errno);
}

TB_HANDLE stream_handle(Descriptor fd)
{
    return fd ? handle_add(std::make_shared<StreamObject>(std::move(fd))) : nullptr;
}

} // namespace

PlChildStart pl_child_start(const char *program, const char *command_line, const PlChildStreams &streams,
                            PlChild *child)
{
    *child = {};
    Ends input, output, errors;
    if (streams.pipe_input && !open_pipe(&input))
        return PlChildStart::no_input_pipe;
    if (streams.pipe_output && !open_pipe(&output))
        return PlChildStart::no_output_pipe;
    if (streams.pipe_error && !open_pipe(&errors))
        return PlChildStart::no_output_pipe;
    const Descriptor null(streams.null_input ? open("/dev/null", O_RDONLY | O_CLOEXEC) : -1);
    ChildStreams places;
    places.streams[0] = streams.null_input ? null.get() : input.read.get();
    places.streams[1] = output.write.get();
    places.streams[2] = errors.write.get();
    Descriptor own_output; // where error goes when output is the starter's own
    if (streams.join_error) {
        if (!output.write)
            own_output = Descriptor(fcntl(1, F_DUPFD_CLOEXEC, 3));
        places.streams[2] = output.write ? output.write.get() : own_output.get();
    }
    if (pl_fault())
        return PlChildStart::not_started;
    const auto words = split_command_line(command_line);
    const auto process = ChildProcess::start(program         ? program
                                             : words.empty() ? ""
                                                             : words[0],
                                             words, places);
    if (!process)
        return PlChildStart::not_started;
    child->process = handle_add(process);
    child->thread = handle_add(process);
    child->pid = child->tid = static_cast<uint32_t>(process->pid());
    child->output = stream_handle(std::move(output.read));
    child->input = stream_handle(std::move(input.write));
    child->errors = stream_handle(std::move(errors.read));
    return PlChildStart::done;
}

TB_HANDLE pl_duplicate(TB_HANDLE handle)
{
    auto object = handle_find(handle);
    return object && !pl_fault() ? handle_add(std::move(object)) : nullptr;
}

void pl_child_wait_ready(TB_HANDLE, uint32_t) {}

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
    if (whole[0] != '/')
        whole = native_path(directory) + whole;
    if (whole[0] != '/') {
        char here[PATH_MAX];
        if (!getcwd(here, sizeof here))
            return pl_fail(errno);
        whole = std::string(here) + "/" + whole;
    }
    *path = whole;
    return true;
}
