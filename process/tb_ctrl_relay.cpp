#include <process/tb_ctrl_relay.h>

#include <foundation/trace_scope.h>
#include <platform/clock.h>
#include <platform/input.h>
#include <platform/process.h>
#include <platform/thread.h>
#include <process/tb_ctrl.h>
#include <tamba/control.h>

#include <memory>
#include <mutex>

namespace {

constexpr size_t kBlock = 1024;
constexpr char kEndOfInput[] = "END OF STDIN";
constexpr uint32_t kStopSlice = 100;  // after which a sender that has to wait looks whether it has to stop
constexpr uint32_t kThreadEnd = 2000; // for the input thread to notice that it has to stop
constexpr int kMostFailures = 30, kFailuresAtOnce = 3;

// ---- input ------------------------------------------------------------------------------------------------------

// What the input thread works on.  It may be left behind waiting for input, so it holds a reference of its own, and it
// uses the socket only under the lock and before the end.
class InputRelay {
public:
    InputRelay(PlSocket socket, FILE *file) : socket_(socket), file_(file), stop_(pl_event_create()) {}
    ~InputRelay()
    {
        if (file_)
            std::fclose(file_);
        if (stop_)
            pl_close(stop_);
    }
    InputRelay(const InputRelay &) = delete;
    InputRelay &operator=(const InputRelay &) = delete;

    void run()
    {
        char block[kBlock];
        size_t got = 0;
        PlInput outcome;
        while ((outcome = read(block, &got)) == PlInput::data)
            if (!send(block, got))
                return;
        if (outcome == PlInput::end)
            send(kEndOfInput, sizeof kEndOfInput);
    }

    bool can_be_stopped() const { return stop_ != nullptr; }

    // Nothing is sent any more when the socket has been shut down and this returns.
    void stop()
    {
        pl_event_set(stop_);
        pl_socket_shutdown(socket_);
        const std::lock_guard lock(mutex_);
        stopped_ = true;
    }

private:
    PlInput read(char *block, size_t *got)
    {
        if (!file_)
            return pl_input_read(stop_, block, kBlock, got);
        *got = std::fread(block, 1, kBlock, file_);
        return *got > 0 ? PlInput::data : PlInput::end;
    }

    // Sends when there is room, so that the end never waits for a daemon that does not read.
    bool send(const char *data, size_t size)
    {
        for (int failures = 0; failures < kMostFailures;) {
            PlSocketWait room = {socket_, kPlWritable, 0};
            if (pl_event_wait(stop_, 0))
                return false;
            if (pl_socket_wait(&room, 1, kStopSlice) == 0)
                continue;
            size_t sent = 0;
            {
                const std::lock_guard lock(mutex_);
                if (stopped_)
                    return false;
                if (!pl_socket_send(socket_, data, size, &sent) && pl_last_error().kind != PL_WOULD_BLOCK)
                    ++failures;
            }
            data += sent;
            size -= sent;
            if (size == 0)
                return true;
            if (failures > kFailuresAtOnce && pl_event_wait(stop_, control_timing.resend_pause_ms))
                return false;
        }
        own_trace("the input is not sent any more after %d failures", kMostFailures);
        return false;
    }

    const PlSocket socket_;
    FILE *const file_;
    const TB_HANDLE stop_;
    std::mutex mutex_;
    bool stopped_ = false;
};

uint32_t input_thread(void *passed, TB_HANDLE)
{
    const std::unique_ptr<std::shared_ptr<InputRelay>> relay(
        static_cast<std::shared_ptr<InputRelay> *>(passed));
    (*relay)->run();
    return 0;
}

// The thread of an input relay; the relay ends with this object.
class InputThread {
public:
    InputThread(PlSocket socket, FILE *file) : relay_(std::make_shared<InputRelay>(socket, file))
    {
        if (!relay_->can_be_stopped())
            return;
        auto *const passed = new std::shared_ptr<InputRelay>(relay_);
        if (!pl_thread_start(input_thread, passed, &thread_))
            delete passed;
    }
    bool started() const { return thread_ != nullptr; }
    void end()
    {
        relay_->stop();
        if (!thread_)
            return;
        pl_wait(thread_, kThreadEnd);
        pl_close(thread_);
        thread_ = nullptr;
    }

private:
    std::shared_ptr<InputRelay> relay_;
    TB_HANDLE thread_ = nullptr;
};

// ---- output -----------------------------------------------------------------------------------------------------

// One socket and where its data go.
struct Channel {
    PlSocket socket;
    FILE *out;
    bool open;
    bool ended = false;   // its exit code has come: silence is its end
    bool written = true;  // everything so far
    bool waiting = false; // data that nobody has seen yet
};

class OutputRelay {
public:
    // answer_ms: how long the second channel may be silent when the first has ended without an exit code.
    OutputRelay(PlSocket first, PlSocket second, const RelayStreams &streams, uint32_t answer_ms)
        : channels_{{first, streams.output, true}, {second, streams.errors, second != kPlNoSocket}},
          answer_ms_(answer_ms)
    {
    }

    // Until both channels have ended: the exit code comes in line, nothing follows their ends.
    void run()
    {
        while (channels_[0].open || channels_[1].open) {
            const int32_t ready = wait(patience());
            if (ready < 0 || (ready == 0 && !bear_silence()))
                break;
            for (Channel &channel : channels_)
                if (waits_[&channel - channels_].ready != 0)
                    serve(channel);
        }
        flush();
    }
    int32_t code() const { return code_; } // -1 without one
    bool overdue() const { return overdue_; }
    bool written() const { return channels_[0].written && channels_[1].written; }

private:
    // A command that runs may be silent for as long as it likes.
    uint32_t patience() const
    {
        if (code_ >= 0)
            return control_timing.idle_ms;
        return channels_[0].open ? kPlNoLimit : answer_ms_;
    }

    // False when there is nothing more to wait for.
    bool bear_silence()
    {
        overdue_ = code_ < 0;
        for (Channel &channel : channels_)
            channel.open = channel.open && !channel.ended;
        return !overdue_ && ++silent_rounds_ < control_timing.rounds_with_code;
    }

    int32_t wait(uint32_t milliseconds)
    {
        for (size_t i = 0; i < 2; ++i)
            waits_[i] = {channels_[i].open ? channels_[i].socket : kPlNoSocket, kPlUrgent, 0};
        if (channels_[0].waiting || channels_[1].waiting) {
            if (const int32_t ready = pl_socket_wait(waits_, 2, 0))
                return ready;
            flush(); // nothing more for the moment: whoever reads along sees what there is
        }
        return pl_socket_wait(waits_, 2, milliseconds);
    }

    // The first urgent byte of both channels is the exit code; data around it are the command's, too.
    void serve(Channel &channel)
    {
        char block[kBlock];
        size_t got = 0;
        bool urgent = false;
        if (!pl_socket_receive_marked(channel.socket, block, sizeof block, &got, &urgent)) {
            channel.open = pl_last_error().kind == PL_WOULD_BLOCK;
            return;
        }
        silent_rounds_ = 0;
        channel.open = got > 0;
        if (urgent) {
            channel.ended = true;
            code_ = code_ < 0 ? static_cast<unsigned char>(block[0]) : code_;
        } else if (got > 0) {
            channel.written = std::fwrite(block, 1, got, channel.out) == got && channel.written;
            channel.waiting = true;
        }
    }

    void flush()
    {
        for (Channel &channel : channels_) {
            if (channel.waiting && std::fflush(channel.out) != 0)
                channel.written = false;
            channel.waiting = false;
        }
    }

    Channel channels_[2];
    const uint32_t answer_ms_;
    PlSocketWait waits_[2] = {};
    int32_t code_ = -1;
    int32_t silent_rounds_ = 0;
    bool overdue_ = false;
};

int32_t relay(PlSocket first, PlSocket second, const RelayStreams &streams, int32_t timeout, const char *host)
{
    OutputRelay receiver(first, second, streams, ctrl_answer_ms(timeout));
    receiver.run();
    if (receiver.code() < 0)
        return receiver.overdue() ? ctrl_no_answer(timeout, host) : ctrl_failed("no exit code received");
    ctrl_set_exit_code(receiver.code());
    return receiver.written() ? receiver.code() : ctrl_not_written();
}

} // namespace

int32_t relay_streams(PlSocket first, PlSocket second, const RelayStreams &streams, int32_t timeout,
                      const char *host)
{
    const bool at_once = pl_socket_set_nonblocking(first, true) &&
                         (second == kPlNoSocket || pl_socket_set_nonblocking(second, true));
    int32_t status = at_once ? 0 : ctrl_call_failed("Setting socket options failed.");
    InputThread sender(first, streams.input);
    if (at_once)
        status = sender.started() ? relay(first, second, streams, timeout, host)
                                  : ctrl_call_failed("the thread for the input could not be started");
    own_trace("call shutdown ( hSocket1, 2 )");
    sender.end();
    if (second != kPlNoSocket)
        pl_socket_shutdown(second);
    cm_CloseSocketsAndCleanup(2, first, second);
    return status;
}
