#include <platform/win32/handle_table.h>

#include <platform/win32/errors.h>

#include <unordered_map>

namespace {

class Table {
public:
    TB_HANDLE add(std::shared_ptr<HandleObject> object)
    {
        const std::lock_guard lock(mutex_);
        do
            last_ = last_ >= kLargest ? kStep : last_ + kStep;
        while (objects_.contains(number(last_)));
        objects_.emplace(number(last_), std::move(object));
        return number(last_);
    }

    std::shared_ptr<HandleObject> find(TB_HANDLE handle)
    {
        const std::lock_guard lock(mutex_);
        const auto found = objects_.find(handle);
        return found == objects_.end() ? nullptr : found->second;
    }

    std::shared_ptr<HandleObject> remove(TB_HANDLE handle)
    {
        const std::lock_guard lock(mutex_);
        const auto found = objects_.find(handle);
        if (found == objects_.end())
            return nullptr;
        auto object = std::move(found->second);
        objects_.erase(found);
        return object;
    }

    std::unique_lock<std::mutex> lock() { return std::unique_lock(mutex_); }

private:
    // Odd numbers: those of the system are multiples of four, so that neither is ever taken for the other.
    static constexpr uintptr_t kStep = 4;
    static constexpr uintptr_t kLargest = 0x7FFF'FFF0;
    static TB_HANDLE number(uintptr_t step) { return reinterpret_cast<TB_HANDLE>(step + 1); }

    std::mutex mutex_;
    std::unordered_map<TB_HANDLE, std::shared_ptr<HandleObject>> objects_;
    uintptr_t last_ = 0;
};

// Never destroyed: threads may still use handles while the process ends.
Table &table()
{
    static Table *const table = new Table;
    return *table;
}

} // namespace

HandleObject::~HandleObject()
{
    // Closing gives up the lock as well, but only when the system finds the time for it.
    if (locked)
        UnlockFile(system.get(), 0, 0, 1, 0);
}

TB_HANDLE handle_add(OwnedHandle system, HandleKind kind)
{
    return table().add(std::make_shared<HandleObject>(std::move(system), kind));
}

TB_HANDLE handle_add(std::shared_ptr<HandleObject> object)
{
    return table().add(std::move(object));
}

std::shared_ptr<HandleObject> handle_find(TB_HANDLE handle)
{
    auto object = table().find(handle);
    if (!object)
        pl_fail(ERROR_INVALID_HANDLE);
    return object;
}

std::shared_ptr<HandleObject> handle_find(TB_HANDLE handle, HandleKind kind)
{
    auto object = table().find(handle);
    if (object && object->kind == kind)
        return object;
    pl_fail(ERROR_INVALID_HANDLE);
    return nullptr;
}

std::unique_lock<std::mutex> handle_table_lock()
{
    return table().lock();
}

bool pl_close(TB_HANDLE handle)
{
    return table().remove(handle) != nullptr || pl_fail(ERROR_INVALID_HANDLE);
}
