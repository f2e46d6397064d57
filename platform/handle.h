// Handles of the seam.
#pragma once

#include <platform/error.h>
#include <tamba/handle.h>

// Closes any handle that the seam gave out.  A handle that is not open (any more) fails with
// PL_INVALID_HANDLE and touches nothing: never another object that happens to have the same number.
bool pl_close(TB_HANDLE handle);
