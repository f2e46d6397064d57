#include <platform/thread.h>

#include <platform/fault.h>
#include <platform/posix/errors.h>
#include <platform/posix/handle_table.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <pthread.h>
#include <unistd.h>

namespace {

constexpr size_t kStack = size_t{1} << 20;

class ThreadObject final : public HandleObject {
public:
    static constexpr HandleKind kKind = HandleKind::thread;
    ThreadObject(PlThreadFn fn, void *argument) : HandleObject(kKind), fn_(fn), argument_(argument) {}

    void set_thread(pthread_t thread) { thread_ = thread; }

    void run()
    {
        {
            const std::lock_guard lock(mutex_);
            id_ = static_cast<uint32_t>(gettid());
            changed_.notify_all();
        }
        const uint32_t code = fn_(argument_);
        const std::lock_guard lock(mutex_);
        if (!ended_)
            code_ = code;
    }

    // The last act of the thread, also of a cancelled one.
    void mark_ended()
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
        changed_.notify_all();
    }

    void cancel(uint32_t code)
    {
        const std::lock_guard lock(mutex_);
        if (ended_)
            return;
        pthread_cancel(thread_); // not gone yet: its last act needs this mutex
        code_ = code;
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
        *code = code_;
        return ended_ || pl_fail(EBUSY);
    }

private:
    const PlThreadFn fn_;
    void *const argument_;
    pthread_t thread_{};
    std::mutex mutex_;
    std::condition_variable changed_;
    bool ended_ = false;
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
    t_life.object = std::move(*static_cast<std::shared_ptr<ThreadObject> *>(passed));
    delete static_cast<std::shared_ptr<ThreadObject> *>(passed);
    t_life.object->run();
    return nullptr;
}

// Starts detached and with all signals blocked: the program's handlers run in the program's own threads.
int start_detached(std::shared_ptr<ThreadObject> object, pthread_t *thread)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_attr_setstacksize(&attributes, kStack);
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    auto *const passed = new std::shared_ptr<ThreadObject>(std::move(object));
    const int error = pthread_create(thread, &attributes, thread_main, passed);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    if (error != 0)
        delete passed;
    return error;
}

} // namespace

bool pl_thread_start(PlThreadFn fn, void *argument, TB_HANDLE *thread)
{
    *thread = nullptr;
    if (pl_fault())
        return false;
    const auto object = std::make_shared<ThreadObject>(fn, argument);
    const TB_HANDLE handle = handle_add(object);
    if (!handle)
        return false;
    pthread_t id{};
    if (const int error = start_detached(object, &id)) {
        pl_close(handle);
        return pl_fail(error);
    }
    object->set_thread(id);
    *thread = handle;
    return true;
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
    object->cancel(code);
    return true;
}
