#include "tests/support/child.h"

#include <gtest/gtest.h>

int main(int argc, char **argv)
{
    int exit_code = 0;
    if (is_child_call(argc, argv, &exit_code))
        return exit_code;
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
