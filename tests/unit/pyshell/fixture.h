// The fixture of all tests here, and the small wrapper types that they work on.
#ifndef ZELMOR_TESTS_UNIT_PYSHELL_FIXTURE_H
#define ZELMOR_TESTS_UNIT_PYSHELL_FIXTURE_H

#include <gtest/gtest.h>

#include "bridge_test.h"
#include "fake_managed.h"

// Static records as generated code fills them, ready and with their host markers.
extern PyTypeObject test_class_type;         // "zelmor.imaging.Thing"
extern PyTypeObject test_derived_type;       // "zelmor.imaging.DerivedThing", base Thing
extern PyTypeObject test_struct_type;        // "zelmor.imaging.Pair"
extern PyTypeObject test_interface_type;     // "zelmor.imaging.IThing"
extern PyTypeObject test_implementing_type;  // "zelmor.imaging.Implementing", lists IThing
extern PyTypeObject test_refusing_type;      // "zelmor.imaging.Refusing": `tp_new` raises RuntimeError "refused"
extern PyTypeObject test_longer_type;        // "zelmor.imaging.Longer": a field behind the handle
extern PyTypeObject test_sibling_type;       // "zelmor.pydrawing.Pen": the class marker, and slots of another module

class PyShellTest : public BridgeTest {
 protected:
    void SetUp() override {
        BridgeTest::SetUp();
        managed = {};
    }
};

// A wrapper of the first type that holds `handle`.
inline zelmor::PyRef wrap(void* handle) {
    return wrap(handle, &test_class_type);
}

#endif  // ZELMOR_TESTS_UNIT_PYSHELL_FIXTURE_H
