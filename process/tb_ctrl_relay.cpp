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

uint32_t input_thread(void *passed)
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
    bool written = true;  // everything so far
    bool waiting = false; // data that nobody has seen yet
};

class OutputRelay {
public:
    OutputRelay(PlSocket first, PlSocket second, FILE *output, FILE *errors)
        : channels_{{first, output, true}, {second, errors, second != kPlNoSocket}}
    {
    }

    // Returns the exit code, -1 without one.
    int32_t run()
    {
        int32_t idle = 0;
        while (channels_[0].open || channels_[1].open) {
            const int32_t ready = wait(code_ < 0 ? kPlNoLimit : control_timing.idle_ms);
            if (ready < 0)
                break;
            idle = ready == 0 ? idle + 1 : 0;
            if (idle >= control_timing.rounds_with_code)
                break; // the command has ended, and one channel stays silent
            for (Channel &channel : channels_)
                if (ready_of(channel) != 0)
                    serve(channel, ready_of(channel));
        }
        for (idle = 0; code_ < 0 && idle < control_timing.rounds_without_code; ++idle) {
            pl_sleep_ms(control_timing.idle_ms);
            for (const Channel &channel : channels_)
                take_code(channel);
        }
        flush();
        return code_;
    }
    bool written() const { return channels_[0].written && channels_[1].written; }

private:
    // A command that runs may be silent for as long as it likes.
    int32_t wait(uint32_t milliseconds)
    {
        for (size_t i = 0; i < 2; ++i)
            waits_[i] = {channels_[i].open ? channels_[i].socket : kPlNoSocket, kPlReadable | kPlUrgent, 0};
        if (channels_[0].waiting || channels_[1].waiting) {
            if (const int32_t ready = pl_socket_wait(waits_, 2, 0))
                return ready;
            flush(); // nothing more for the moment: whoever reads along sees what there is
        }
        return pl_socket_wait(waits_, 2, milliseconds);
    }
    uint32_t ready_of(const Channel &channel) const { return waits_[&channel - channels_].ready; }

    // True when there was an urgent byte; the first one of both channels is the exit code.
    bool take_code(const Channel &channel)
    {
        uint8_t byte = 0;
        if (channel.socket == kPlNoSocket || !pl_socket_receive_urgent(channel.socket, &byte))
            return false;
        if (code_ < 0)
            code_ = byte;
        return true;
    }

    // One receive for each readiness, the exit code before it: a receive that passed its place would destroy it.
    void serve(Channel &channel, uint32_t ready)
    {
        if ((ready & kPlUrgent) != 0 && take_code(channel))
            drain(channel);
        else if ((ready & kPlReadable) != 0 && !receive(channel))
            channel.open = false;
    }

    // Data around the exit code are the command's, too.
    void drain(Channel &channel)
    {
        PlSocketWait wait = {channel.socket, kPlReadable, 0};
        while (pl_socket_wait(&wait, 1, control_timing.drain_ms) > 0 && (wait.ready & kPlReadable) != 0 &&
               receive(channel)) {
        }
        channel.open = false;
    }

    // False at the end of the data.
    bool receive(Channel &channel)
    {
        char block[kBlock];
        size_t got = 0;
        if (!pl_socket_receive(channel.socket, block, sizeof block, &got) || got == 0) {
            if (code_ < 0)
                take_code(channel);
            return false;
        }
        if (std::fwrite(block, 1, got, channel.out) != got)
            channel.written = false;
        channel.waiting = true;
        return true;
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
    PlSocketWait waits_[2] = {};
    int32_t code_ = -1;
};

int32_t judge(int32_t code, bool written)
{
    if (code < 0)
        return ctrl_failed("no exit code received");
    ctrl_set_exit_code(code);
    if (!written)
        return ctrl_failed("the command's output could not be written");
    return code;
}

} // namespace

int32_t relay_streams(PlSocket first, PlSocket second, FILE *input, FILE *output, FILE *errors)
{
    InputThread sender(first, input);
    int32_t status;
    if (sender.started()) {
        OutputRelay receiver(first, second, output, errors);
        const int32_t code = receiver.run();
        status = judge(code, receiver.written());
    } else {
        status = ctrl_call_failed("the thread for the input could not be started");
    }
    own_trace("call shutdown ( hSocket1, 2 )");
    sender.end();
    if (second != kPlNoSocket)
        pl_socket_shutdown(second);
    cm_CloseSocketsAndCleanup(2, first, second);
    return status;
}
