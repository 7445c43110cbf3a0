// What the tests of the wrapper library see of the runtime library that they put beneath it.
#ifndef ZELMOR_TESTS_UNIT_HOST_FAKE_CORECLR_H
#define ZELMOR_TESTS_UNIT_HOST_FAKE_CORECLR_H

// Has no destructor, since the shut-down may come from exit handlers that run behind those of the fake.
struct FakeCoreclr {
    char journal[4096] = "";  // one line for each call
    int initialize_status = 0;
    int delegate_status = 0;
    int shutdown_status = 0;
};

/// Exported by the fake as "fake_coreclr_state".
using FakeCoreclrState = FakeCoreclr*();

#endif  // ZELMOR_TESTS_UNIT_HOST_FAKE_CORECLR_H
