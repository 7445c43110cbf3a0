// The two service classes of the managed side, scripted, with a journal of their calls.
#ifndef ZELMOR_TESTS_UNIT_PYSHELL_FAKE_MANAGED_H
#define ZELMOR_TESTS_UNIT_PYSHELL_FAKE_MANAGED_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "exchange/wire/records.h"
#include "pyshell/python.h"

struct FakeManaged {
    // Script.
    std::string raises;  // when not empty, every service but a release sets RuntimeError with it
    std::string text = "managed text";
    int text_status = 1;
    int hash = 0;
    int equals = 1;
    int type_status = 1;
    std::map<void*, std::u16string> type_names;  // by handle; one that is absent has no name to tell

    // Journal.
    std::vector<void*> freed_objects;
    std::vector<void*> freed_structs;
    std::vector<void*> boxed;
    std::vector<void*> asked_for_name;
    std::vector<std::string> services;  // "IsEqualsOfObj", ...
    VariantArg compared_with = {};
};

// One for the process, renewed by the fixture for each test.
extern FakeManaged managed;

// Puts these services in place of those of the scripted runtime.
void serve_managed();

inline void* handle_of(uintptr_t number) {
    return reinterpret_cast<void*>(number);
}

// A fake run-time type's handle, which the test's type converter shows as a Python integer.
inline void* type_handle_of(void* handle) {
    return handle_of(reinterpret_cast<uintptr_t>(handle) + 0x1000);
}

// What boxing makes of a struct handle.
inline void* box_of(void* handle) {
    return handle_of(reinterpret_cast<uintptr_t>(handle) + 0x2000);
}

#endif  // ZELMOR_TESTS_UNIT_PYSHELL_FAKE_MANAGED_H
