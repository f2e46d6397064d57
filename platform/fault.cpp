#include <platform/fault.h>

#include <atomic>

namespace {

std::atomic<int32_t> g_countdown{0}; // 0 idle
std::atomic<int32_t> g_kind{PL_OTHER};
std::atomic<int32_t> g_calls{0};
std::atomic<bool> g_counting{false};

} // namespace

void pl_fault_arm(int32_t nth, PlKind kind)
{
    g_kind = kind;
    g_calls = 0;
    g_countdown = nth;
    g_counting = nth != 0;
}

int32_t pl_fault_calls()
{
    return g_calls;
}

bool pl_fault()
{
    if (!g_counting.load(std::memory_order_relaxed))
        return false;
    ++g_calls;
    if (g_countdown == 0 || --g_countdown != 0)
        return false;
    pl_fail_as(static_cast<PlKind>(g_kind.load()));
    return true;
}
