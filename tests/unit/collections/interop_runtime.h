// The managed classes behind the interop wrappers, scripted, and the parts of sibling modules that casts need.
#ifndef ZELMOR_TESTS_UNIT_COLLECTIONS_INTEROP_RUNTIME_H
#define ZELMOR_TESTS_UNIT_COLLECTIONS_INTEROP_RUNTIME_H

#include <string>
#include <vector>

#include "bridge_test.h"
#include "exchange/wire/records.h"
#include "pyshell/wrapped_object.h"

struct InteropScript {
    // Script.
    int status = 1;       // of casts, "btp_TypeOf" and "btp_ReInterpretObj"
    void* out = nullptr;  // what they deliver
    int assignable = 1;
    std::string raises = {};  // when not empty, each of them sets RuntimeError with it

    // Journal.
    std::vector<std::string> calls = {};  // "btp_CastTo", ...
    VariantArg value = {};                // of the last call that took one
    void* handle = nullptr;               // of the last call that took one
};

extern InteropScript script;

// An interpreter with the two services bound, the internal modules built, and fakes in place of the sibling modules:
// a type handle shows as an integer, a cast result as the tuple (status, value), and a tuple of one integer reads as
// a System.Object of that handle.
class InteropTest : public BridgeTest {
 protected:
    void SetUp() override;
    void TearDown() override;
};

// Does what the fixture's set-up does, for a child of a test that starts anew.
void prepare_interop();

inline void* pointer(intptr_t number) {
    return reinterpret_cast<void*>(number);
}

// A wrapper type of some other class of the module, of a struct, and of a sibling module.
extern PyTypeObject other_class_type;
extern PyTypeObject other_struct_type;
extern PyTypeObject disposable_class_type;  // marked to implement IDisposable, IEnumerable, ICollection and IList
extern PyTypeObject array_subtype;          // with _ArrayWrapper as its base

// The result of `expression` with `type`, `x` and `T` in reach.
zelmor::PyRef evaluate_on(const char* expression, PyTypeObject* type, PyObject* x);

// The text that evaluation gives, or the raised exception as "<type>: <text>".
std::string outcome(const char* expression, PyTypeObject* type, PyObject* x = Py_None);

#endif  // ZELMOR_TESTS_UNIT_COLLECTIONS_INTEROP_RUNTIME_H
