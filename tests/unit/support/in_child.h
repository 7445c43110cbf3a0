// Runs checks in a process of their own: the service hosts are singletons, and ObjectHost binds once for good.
#ifndef ZELMOR_TESTS_UNIT_SUPPORT_IN_CHILD_H
#define ZELMOR_TESTS_UNIT_SUPPORT_IN_CHILD_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>

namespace in_child {

// Ends the child with a message unless `condition` holds.
inline void check(bool condition, const char* text, int line) {
    if (!condition) {
        std::cerr << "line " << line << ": " << text << std::endl;
        std::_Exit(1);
    }
}

}  // namespace in_child

#define CHILD_CHECK(condition) in_child::check((condition), #condition, __LINE__)

// `body` passes if it gets to its end with all CHILD_CHECKs true.
#define RUN_IN_CHILD(body) \
    EXPECT_EXIT(           \
        {                  \
            body();        \
            std::_Exit(0); \
        },                 \
        ::testing::ExitedWithCode(0), "")

#endif  // ZELMOR_TESTS_UNIT_SUPPORT_IN_CHILD_H
