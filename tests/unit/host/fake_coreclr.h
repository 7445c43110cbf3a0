// What the tests of the wrapper library see of the runtime library that they put beneath it.
#pragma once

// Has no destructor, since the shut-down may come from exit handlers that run behind those of the fake.
struct FakeCoreclr {
    char journal[4096] = "";  // one line for each call
    int initialize_status = 0;
    int delegate_status = 0;
    int shutdown_status = 0;
};

/// Exported by the fake as "fake_coreclr_state".
using FakeCoreclrState = FakeCoreclr*();
