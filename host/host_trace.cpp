// The trace of the start-up path. A line carries neither time stamp nor prefix and is not flushed; its end, "\r\n",
// comes from the platform layer.
#include "host/host_trace.h"

#include <cassert>
#include <cstdarg>
#include <string>

#include "host/pal.h"

namespace trace {

namespace {

// Written during start-up only, under the interpreter lock; therefore no atomic.
bool g_enabled = false;

// A line of any level that goes to standard output.
__attribute__((format(printf, 1, 0))) void print(const char* format, va_list args) {
    assert(format != nullptr);
    if (g_enabled) {
        pal::out_vprintf(format, args);
    }
}

}  // namespace

void initialize() {
    if (g_enabled) {
        return;
    }
    std::string text;
    if (!pal::getenv("COREHOST_TRACE", text)) {
        return;
    }
    g_enabled = pal::to_int(text) >= 1;
    info("%s", "CLR host tracing enabled");
}

void enable() {
    g_enabled = true;
}

void disable() {
    g_enabled = false;
}

bool is_enabled() {
    return g_enabled;
}

void info(const char* format, ...) {
    va_list args;
    va_start(args, format);
    print(format, args);
    va_end(args);
}

void verbose(const char* format, ...) {
    va_list args;
    va_start(args, format);
    print(format, args);
    va_end(args);
}

void warning(const char* format, ...) {
    va_list args;
    va_start(args, format);
    print(format, args);
    va_end(args);
}

void error(const char* format, ...) {
    assert(format != nullptr);
    va_list args;
    va_start(args, format);
    pal::err_vprintf(format, args);
    va_end(args);
}

}  // namespace trace
