#include <platform/error.h>

#include <cerrno>

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
    pl_set_system_error(error.number);
}

PlErrorKeeper::PlErrorKeeper() : system_(pl_system_error()), c_error_(errno), error_(t_last_error) {}

PlErrorKeeper::~PlErrorKeeper()
{
    t_last_error = error_;
    errno = c_error_;
    pl_set_system_error(system_);
}
