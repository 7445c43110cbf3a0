// The steps of a module's start: their order, the code of each that fails, and the module that comes out.
#include "pyshell/module_start.h"

#include "fixture.h"
#include "pyshell/modules.h"

using zelmor::ModuleFacts;
using zelmor::PyRef;

namespace {

PyModuleDef definition = {
    PyModuleDef_HEAD_INIT, "made.started", nullptr, -1, nullptr, nullptr, nullptr, nullptr, nullptr};

// The steps in the order in which they ran, and the one that fails.
std::vector<std::string> steps;
std::string failing;

// 0, or -1 with an error for the step that fails.
int run_step(const std::string& step) {
    steps.push_back(step);
    if (step != failing) {
        return 0;
    }
    PyErr_SetString(PyExc_TypeError, "the reason");
    return -1;
}

int import_siblings(const char* own_name) {
    return run_step(std::string("siblings for ") + own_name);
}
int import_cast_result(const char* own_name) {
    return run_step(std::string("cast result for ") + own_name);
}
int start_runtime(std::string version, const char* assembly, bool debug, std::string suffix, std::string product) {
    return run_step("runtime " + version + " " + assembly + (debug ? " debug " : " release ") + suffix + " " + product);
}
PyObject* build() {
    return run_step("build") < 0 ? nullptr : zelmor::create_module(&definition);
}
int complete(PyObject*) {
    return run_step("complete");
}
PyObject* add_wrappers(PyObject* module) {
    return run_step("wrappers") < 0 ? nullptr : Py_NewRef(module);
}

constexpr ModuleFacts kFacts = {
    .name = "made.started",
    .import_siblings = import_siblings,
    .import_cast_result = import_cast_result,
    .start_runtime = start_runtime,
    .assembly = "Made.Assembly",
    .product = "started",
    .build = build,
    .complete = complete,
    .add_wrappers = add_wrappers,
};

class ModuleStart : public PyShellTest {
 protected:
    void SetUp() override {
        PyShellTest::SetUp();
        steps.clear();
        failing.clear();
    }

    // The start fails at `step`, the last that runs, with an ImportError of that code on the reason.
    static void expect_failure(const std::string& step, int code) {
        steps.clear();
        failing = step;
        EXPECT_EQ(zelmor::start_module(kFacts), nullptr);
        EXPECT_EQ(steps.back(), step);
        const PyRef error =
            expect_error(PyExc_ImportError, "One or more errors occurred while loading the module 'made.started' (" +
                                                std::to_string(code) + ")");
        const PyRef cause = PyRef::steal(PyException_GetCause(error.get()));
        ASSERT_TRUE(cause);
        EXPECT_EQ(text_of(cause.get()), "the reason");
    }
};

}  // namespace

TEST_F(ModuleStart, RunsItsStepsInOrder) {
    const PyRef module = PyRef::steal(zelmor::start_module(kFacts));
    ASSERT_TRUE(module);
    EXPECT_EQ(Py_REFCNT(module.get()), 1);
    EXPECT_EQ(steps, (std::vector<std::string>{"siblings for made.started", "cast result for made.started",
                                               "runtime 3.1 Made.Assembly release zelmor started", "build", "complete",
                                               "wrappers"}));
}

TEST_F(ModuleStart, LeavesOutTheStepsThatAModuleDoesNotNeed) {
    const PyRef module = PyRef::steal(zelmor::start_module({.name = "made.started", .build = build}));
    ASSERT_TRUE(module);
    EXPECT_EQ(steps, std::vector<std::string>{"build"});
}

TEST_F(ModuleStart, PublishesTheVersionOfTheProductAndTheThreshold) {
    const PyRef module = PyRef::steal(zelmor::start_module(kFacts));
    ASSERT_TRUE(module);
    const PyRef shown =
        evaluate("str(m.VERSION), str(m._BACKWARD_COMPATIBILITY_THRESHOLD), m._ModuleVersionType.__name__",
                 {{"m", module.get()}});
    ASSERT_TRUE(shown);
    EXPECT_EQ(text_of(shown.get()), "('23.6.0.0', '22.6.0.0', '_ModuleVersionType')");
    const PyRef numbers =
        evaluate("m.VERSION.major, m.VERSION.minor, m.VERSION.patch, m.VERSION.sub", {{"m", module.get()}});
    ASSERT_TRUE(numbers);
    EXPECT_EQ(text_of(numbers.get()), "(23, 6, 0, 0)");
}

TEST_F(ModuleStart, EachFailureHasTheCodeOfItsStep) {
    expect_failure("siblings for made.started", -1009);
    expect_failure("cast result for made.started", -1008);
    expect_failure("runtime 3.1 Made.Assembly release zelmor started", -1007);
    expect_failure("build", -1006);
    expect_failure("complete", -1006);
    expect_failure("wrappers", -1005);
}
