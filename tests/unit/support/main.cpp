// Starts an interpreter and runs the tests. Some run in a child of their own, since the service hosts are bound once
// per process; such a child starts at `main` again.
#include <gtest/gtest.h>

#include "bridge_test.h"

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    if (::testing::GTEST_FLAG(list_tests)) {
        return RUN_ALL_TESTS();
    }
    start_bridge_interpreter();
    const int result = RUN_ALL_TESTS();
    Py_Finalize();
    return result;
}
