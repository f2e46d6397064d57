#include <platform/posix/handle_table.h>

#include <platform/posix/errors.h>

#include <cerrno>
#include <deque>
#include <mutex>
#include <vector>

namespace {

constexpr uint32_t kSlotBits = 16;
constexpr uint32_t kMaxSlots = 1u << kSlotBits;
constexpr uint32_t kLastGeneration = (1u << (31 - kSlotBits)) - 1;
// A slot rests until that many others are free, so that a number comes back after millions of handles at the
// earliest.
constexpr size_t kRestingSlots = 1024;

class Table {
public:
    TB_HANDLE add(std::shared_ptr<HandleObject> object)
    {
        const std::lock_guard lock(mutex_);
        uint32_t slot;
        if (free_.size() < kRestingSlots && slots_.size() < kMaxSlots) {
            slot = static_cast<uint32_t>(slots_.size());
            slots_.emplace_back();
        } else if (!free_.empty()) {
            slot = free_.front();
            free_.pop_front();
        } else {
            pl_fail(PL_NO_MEMORY, EMFILE);
            return nullptr;
        }
        slots_[slot].object = std::move(object);
        return reinterpret_cast<TB_HANDLE>(
            static_cast<uintptr_t>(slots_[slot].generation << kSlotBits | slot));
    }

    std::shared_ptr<HandleObject> find(TB_HANDLE handle)
    {
        const std::lock_guard lock(mutex_);
        const Slot *const slot = slot_of(handle);
        return slot ? slot->object : nullptr;
    }

    std::shared_ptr<HandleObject> remove(TB_HANDLE handle)
    {
        const std::lock_guard lock(mutex_);
        Slot *const slot = slot_of(handle);
        if (!slot)
            return nullptr;
        slot->generation = slot->generation == kLastGeneration ? 1 : slot->generation + 1;
        free_.push_back(static_cast<uint32_t>(slot - slots_.data()));
        return std::move(slot->object);
    }

private:
    struct Slot {
        uint32_t generation = 1;
        std::shared_ptr<HandleObject> object;
    };

    Slot *slot_of(TB_HANDLE handle)
    {
        const uintptr_t number = reinterpret_cast<uintptr_t>(handle);
        const size_t slot = number & (kMaxSlots - 1);
        if (slot >= slots_.size() || !slots_[slot].object || slots_[slot].generation != number >> kSlotBits)
            return nullptr;
        return &slots_[slot];
    }

    std::mutex mutex_;
    std::vector<Slot> slots_;
    std::deque<uint32_t> free_;
};

// Never destroyed: threads may still use handles while the process ends.
Table &table()
{
    static Table *const table = new Table;
    return *table;
}

} // namespace

PlWait HandleObject::wait(uint32_t)
{
    pl_fail(PL_INVALID_HANDLE, EINVAL);
    return PlWait::failed;
}

TB_HANDLE handle_add(std::shared_ptr<HandleObject> object)
{
    return table().add(std::move(object));
}

std::shared_ptr<HandleObject> handle_find(TB_HANDLE handle)
{
    auto object = table().find(handle);
    if (!object)
        pl_fail(PL_INVALID_HANDLE, EBADF);
    return object;
}

std::shared_ptr<HandleObject> handle_find(TB_HANDLE handle, HandleKind kind)
{
    auto object = table().find(handle);
    if (object && object->kind() == kind)
        return object;
    pl_fail(PL_INVALID_HANDLE, EBADF);
    return nullptr;
}

bool pl_close(TB_HANDLE handle)
{
    // The object goes outside the table's lock: giving something back may take its time.
    return table().remove(handle) != nullptr || pl_fail(PL_INVALID_HANDLE, EBADF);
}
