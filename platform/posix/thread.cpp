#include <platform/thread.h>

#include <platform/event.h>
#include <platform/fault.h>
#include <platform/posix/errors.h>
#include <platform/posix/handle_table.h>
#include <platform/posix/waiting.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <unistd.h>
#include <utility>

namespace {

constexpr size_t kStack = size_t{1} << 20;

class ThreadObject final : public HandleObject {
public:
    static constexpr HandleKind kKind = HandleKind::thread;
    ThreadObject(PlThreadFn fn, void *argument)
        : HandleObject(kKind), fn_(fn), argument_(argument), stop_(pl_event_create())
    {
    }
    ~ThreadObject() override
    {
        if (stop_)
            pl_close(stop_);
    }

    void set_thread(pthread_t thread) { thread_ = thread; }
    TB_HANDLE stop_event() const { return stop_; }

    void run()
    {
        {
            const std::lock_guard lock(mutex_);
            id_ = static_cast<uint32_t>(gettid());
            changed_.notify_all();
        }
        set_code(fn_(argument_, stop_));
    }

    // The first code counts: that of whoever ends the thread, or its own.
    void set_code(uint32_t code)
    {
        const std::lock_guard lock(mutex_);
        if (!std::exchange(has_code_, true))
            code_ = code;
    }

    // The last act of the thread, also of a cancelled one.
    void mark_ended()
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
        changed_.notify_all();
    }

    // A thread that did not answer: it counts as ended, and is gone at its next wait.
    void cancel()
    {
        const std::lock_guard lock(mutex_);
        if (ended_)
            return;
        pthread_cancel(thread_); // not gone yet: its last act needs this mutex
        ended_ = true;
        changed_.notify_all();
    }

    PlWait wait(uint32_t milliseconds) override
    {
        std::unique_lock lock(mutex_);
        const auto over = [this] { return ended_; };
        if (milliseconds == kPlForever)
            changed_.wait(lock, over);
        else
            changed_.wait_for(lock, std::chrono::milliseconds(milliseconds), over);
        return ended_ ? PlWait::ended : PlWait::timed_out;
    }

    // A thread knows its number from its first step on.
    uint32_t id()
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return id_ != 0 || ended_; });
        return id_;
    }

    bool exit_code(uint32_t *code)
    {
        const std::lock_guard lock(mutex_);
        if (!ended_)
            return pl_fail(EBUSY);
        *code = code_;
        return true;
    }

private:
    const PlThreadFn fn_;
    void *const argument_;
    const TB_HANDLE stop_;
    pthread_t thread_{};
    std::mutex mutex_;
    std::condition_variable changed_;
    bool ended_ = false, has_code_ = false;
    uint32_t code_ = 0, id_ = 0;
};

// Lives as long as its thread, whether that returns or is cancelled.
struct Life {
    std::shared_ptr<ThreadObject> object;
    ~Life()
    {
        if (object)
            object->mark_ended();
    }
};
thread_local Life t_life;

void *thread_main(void *passed)
{
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr); // but at a CancelPoint
    t_life.object = std::move(*static_cast<std::shared_ptr<ThreadObject> *>(passed));
    delete static_cast<std::shared_ptr<ThreadObject> *>(passed);
    t_life.object->run();
    return nullptr;
}

} // namespace

CancelPoint::CancelPoint() : own_thread_(t_life.object != nullptr)
{
    if (own_thread_)
        pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
}

CancelPoint::~CancelPoint()
{
    if (own_thread_)
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
}

int start_detached(void *(*fn)(void *), void *argument, pthread_t *thread)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_attr_setstacksize(&attributes, kStack);
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const int error = pthread_create(thread, &attributes, fn, argument);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    return error;
}

bool pl_thread_start(PlThreadFn fn, void *argument, TB_HANDLE *thread)
{
    *thread = nullptr;
    if (pl_fault())
        return false;
    const auto object = std::make_shared<ThreadObject>(fn, argument);
    const TB_HANDLE handle = object->stop_event() ? handle_add(object) : nullptr;
    if (!handle)
        return false;
    pthread_t id{};
    auto *const passed = new std::shared_ptr<ThreadObject>(object);
    if (const int error = start_detached(thread_main, passed, &id)) {
        delete passed;
        pl_close(handle);
        return pl_fail(error);
    }
    object->set_thread(id);
    *thread = handle;
    return true;
}

bool pl_thread_stop(TB_HANDLE thread)
{
    const auto object = handle_get<ThreadObject>(thread);
    return object && pl_event_set(object->stop_event());
}

uint32_t pl_thread_id(TB_HANDLE thread)
{
    const auto object = handle_get<ThreadObject>(thread);
    return object ? object->id() : 0;
}

bool pl_thread_exit_code(TB_HANDLE thread, uint32_t *code)
{
    const auto object = handle_get<ThreadObject>(thread);
    return object && !pl_fault() && object->exit_code(code);
}

bool pl_thread_end(TB_HANDLE thread, uint32_t code)
{
    const auto object = handle_get<ThreadObject>(thread);
    if (!object || pl_fault())
        return false;
    object->set_code(code);
    pl_event_set(object->stop_event());
    if (object != t_life.object && object->wait(pl_thread_patience_ms) != PlWait::ended)
        object->cancel();
    return true;
}
