// The error that a step of the image backend ends with.
#ifndef ZELMOR_TESTS_UNIT_IMAGEWORK_FAILURE_OF_H
#define ZELMOR_TESTS_UNIT_IMAGEWORK_FAILURE_OF_H

#include <gtest/gtest.h>

#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {

// The failure of a step, or a failed test where it succeeds.
template <class Step>
PictureError failure_of(Step&& step) {
    try {
        step();
    } catch (const PictureError& error) {
        EXPECT_STRNE(error.what(), "");
        return error;
    }
    ADD_FAILURE() << "no PictureError was thrown";
    return PictureError(Failure::kInternal, "none");
}

}  // namespace zelmor::imagework

#endif  // ZELMOR_TESTS_UNIT_IMAGEWORK_FAILURE_OF_H
