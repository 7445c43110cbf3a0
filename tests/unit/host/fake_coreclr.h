// What the tests of the wrapper library see of the runtime library that they put beneath it.
#pragma once

#include <string>

struct FakeCoreclr {
    std::string journal;  // one line for each call
    int initialize_status = 0;
    int delegate_status = 0;
    int shutdown_status = 0;
};

/// Exported by the fake as "fake_coreclr_state".
using FakeCoreclrState = FakeCoreclr*();
