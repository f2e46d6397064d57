#include <platform/error.h>

namespace {

thread_local PlError t_last_error{PL_OK, 0};

} // namespace

PlError pl_last_error()
{
    return t_last_error;
}

void pl_set_error(PlError error)
{
    t_last_error = error;
}
