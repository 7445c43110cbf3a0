// Delegates made at run time.
#include "runtime/native/delegates/closure.h"

#include <gtest/gtest.h>

#include "fake_python.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {
namespace {

// A context that outlives its delegate's calls on its own.
std::shared_ptr<void> unowned(void* context) {
    return {std::shared_ptr<void>(), context};
}

class ClosureTest : public test::RuntimeTest {};

TEST_F(ClosureTest, EveryScalarIsPassedAndReturned) {
    const auto echo = [](void*, CallFrame& frame) {
        switch (frame.signature()[1]) {
            case 'b':
                return frame.set_result(frame.argument<uint8_t>(0));
            case 'c':
                return frame.set_result(frame.argument<int8_t>(0));
            case 'S':
                return frame.set_result(frame.argument<uint16_t>(0));
            case 'i':
                return frame.set_result(frame.argument<int32_t>(0));
            case 'L':
                return frame.set_result(frame.argument<uint64_t>(0));
            case 'f':
                return frame.set_result(frame.argument<float>(0));
            default:
                return frame.set_result(frame.argument<double>(0));
        }
    };
    const auto make = [&](const char* signature) {
        return make_delegate(signature, Assembly::kImaging, echo, nullptr);
    };
    EXPECT_EQ(reinterpret_cast<bool (*)(bool)>(make("bb"))(true), true);
    EXPECT_EQ(reinterpret_cast<int8_t (*)(int8_t)>(make("cc"))(-5), -5);
    EXPECT_EQ(reinterpret_cast<uint16_t (*)(uint16_t)>(make("SS"))(65535), 65535);
    EXPECT_EQ(reinterpret_cast<int32_t (*)(int32_t)>(make("ii"))(INT32_MIN), INT32_MIN);
    EXPECT_EQ(reinterpret_cast<uint64_t (*)(uint64_t)>(make("LL"))(~0ull), ~0ull);
    EXPECT_EQ(reinterpret_cast<float (*)(float)>(make("ff"))(1.5f), 1.5f);
    EXPECT_EQ(reinterpret_cast<double (*)(double)>(make("dd"))(-2.25), -2.25);
}

TEST_F(ClosureTest, AFailedCallReturnsZeroOrTheStatusThatItNamed) {
    const auto fail = [](void* context, CallFrame& frame) {
        if (context != nullptr) {
            frame.fails_with(-1);
        }
        frame.set_result<int32_t>(7);
        throw_argument("no");
    };
    bool named = true;
    EXPECT_EQ(reinterpret_cast<int32_t (*)()>(make_delegate("i", Assembly::kImaging, fail, nullptr))(), 0);
    EXPECT_EQ(test::take_raised().detail, "no");
    EXPECT_EQ(reinterpret_cast<int32_t (*)()>(make_delegate("i", Assembly::kImaging, fail, unowned(&named)))(), -1);
    EXPECT_EQ(test::take_raised().detail, "no");
}

TEST_F(ClosureTest, ManyArgumentsArePassedInOrder) {
    const auto sum = [](void* context, CallFrame& frame) {
        frame.set_result(frame.argument<double>(1) + static_cast<double>(frame.argument<int64_t>(0)) +
                         static_cast<double>(frame.argument<float>(9)) + *static_cast<double*>(context));
    };
    double extra = 1000;
    auto* call = reinterpret_cast<double (*)(int64_t, double, int, int, int, int, int, int, int, float)>(
        make_delegate("dldiiiiiiif", Assembly::kImaging, sum, unowned(&extra)));
    EXPECT_EQ(call(1, 10, 0, 0, 0, 0, 0, 0, 0, 100.0f), 1111);
}

TEST_F(ClosureTest, AnExceptionIsReportedAndTheResultIsZero) {
    const auto fail = [](void*, CallFrame& frame) {
        frame.set_result<int32_t>(7);
        throw ManagedException("MadeUpException", "it went wrong");
    };
    auto* call = reinterpret_cast<int32_t (*)()>(make_delegate("i", Assembly::kImaging, fail, nullptr));
    EXPECT_EQ(call(), 0);
    const auto raised = test::take_raised();
    EXPECT_EQ(raised.name, "MadeUpException");
    EXPECT_EQ(raised.detail, "it went wrong");
}

TEST_F(ClosureTest, OtherExceptionsGetManagedNames) {
    struct Case {
        void (*raise)();
        const char* name;
    };
    static const Case cases[] = {
        {[] { throw std::bad_alloc(); }, "OutOfMemoryException"},
        {[] { throw std::out_of_range("far"); }, "IndexOutOfRangeException"},
        {[] { throw std::invalid_argument("odd"); }, "ArgumentException"},
        {[] { throw std::runtime_error("bad"); }, "SystemException"},
        {[] { throw 5; }, "SystemException"},
    };
    for (const Case& each : cases) {
        auto* call = reinterpret_cast<void (*)()>(make_delegate(
            "v", Assembly::kImaging, [](void* context, CallFrame&) { static_cast<const Case*>(context)->raise(); },
            unowned(const_cast<Case*>(&each))));
        call();
        EXPECT_EQ(test::take_raised().name, each.name);
    }
}

TEST_F(ClosureTest, APendingPythonErrorIsLeftAlone) {
    auto* call = reinterpret_cast<void* (*)()>(make_delegate(
        "p", Assembly::kImaging, [](void*, CallFrame&) { throw PythonErrorPending(); }, nullptr));
    EXPECT_EQ(call(), nullptr);
    EXPECT_FALSE(test::raised().has_value());
}

}  // namespace
}  // namespace zelmor::embed
