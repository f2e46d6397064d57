// The pipes between a program and its starter, on both platforms.
#pragma once

#include <platform/child_pipe.h>

#include <utility>

// Owned: what holds an end of a pipe.  The starter's ends are handles before the program runs, so that nothing can
// fail any more when it does; they are closed again unless they are released.
template <class Owned> class ChildEnds {
public:
    struct Pipe {
        Pipe() = default;
        ~Pipe()
        {
            if (ours)
                pl_close(ours);
        }
        Pipe(const Pipe &) = delete;
        Pipe &operator=(const Pipe &) = delete;
        TB_HANDLE release() { return std::exchange(ours, nullptr); }

        Owned child;
        TB_HANDLE ours = nullptr;
    };

    // open_pipe(&ends) opens a pipe, its reading end first; adopt(end) makes a handle of an end.
    template <class OpenPipe, class Adopt>
    PlChildStart open(const PlChildStreams &wanted, OpenPipe open_pipe, Adopt adopt)
    {
        const auto one = [&](Pipe &pipe, int our_end, PlChildStart no_pipe, PlChildStart no_handle) {
            Owned ends[2];
            if (!open_pipe(&ends))
                return no_pipe;
            pipe.child = std::move(ends[1 - our_end]);
            pipe.ours = adopt(std::move(ends[our_end]));
            return pipe.ours ? PlChildStart::done : no_handle;
        };
        PlChildStart result = PlChildStart::done;
        if (wanted.pipe_input)
            result = one(input, 1, PlChildStart::no_input_pipe, PlChildStart::no_input_handle);
        if (wanted.pipe_output && result == PlChildStart::done)
            result = one(output, 0, PlChildStart::no_output_pipe, PlChildStart::no_output_handle);
        if (wanted.pipe_error && result == PlChildStart::done)
            result = one(errors, 0, PlChildStart::no_output_pipe, PlChildStart::no_output_handle);
        return result;
    }

    Pipe input, output, errors;
};
