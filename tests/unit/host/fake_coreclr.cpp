// A runtime library of three functions that writes down how it is called and answers as it is told.
#include "tests/unit/host/fake_coreclr.h"

#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>

#define FAKE_CORECLR_API extern "C" [[gnu::visibility("default")]]

namespace {

FakeCoreclr g_state;
int g_host;  // only its address counts

void journal(const std::ostringstream& line) {
    const std::string text = g_state.journal + line.str() + "\n";
    if (text.size() >= sizeof g_state.journal) {
        std::abort();
    }
    std::memcpy(g_state.journal, text.c_str(), text.size() + 1);
}

}  // namespace

FAKE_CORECLR_API FakeCoreclr* fake_coreclr_state() {
    return &g_state;
}

FAKE_CORECLR_API int coreclr_initialize(const char* exe, const char* domain, int count, const char** keys,
                                        const char** values, void** host, unsigned int* domain_id) {
    std::ostringstream line;
    line << "initialize " << exe << " " << domain;
    for (int i = 0; i < count; ++i) {
        line << " " << keys[i] << "=" << values[i];
    }
    journal(line);
    *host = &g_host;
    *domain_id = 7;
    return g_state.initialize_status;
}

FAKE_CORECLR_API int coreclr_create_delegate(void* host, unsigned int domain_id, const char* assembly, const char* type,
                                             const char* method, void** delegate) {
    std::ostringstream line;
    line << "delegate " << (host == &g_host) << " " << domain_id << " " << assembly << " " << type << " " << method;
    journal(line);
    // Set even on failure: a caller must not see what a failed call left behind.
    *delegate = &g_host;
    return g_state.delegate_status;
}

#ifndef FAKE_CORECLR_WITHOUT_SHUTDOWN
FAKE_CORECLR_API int coreclr_shutdown_2(void* host, unsigned int domain_id, int* latched_exit_code) {
    std::ostringstream line;
    line << "shutdown " << (host == &g_host) << " " << domain_id;
    journal(line);
    *latched_exit_code = 3;
    return g_state.shutdown_status;
}
#endif
