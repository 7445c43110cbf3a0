// The trace of the start-up path: lines on standard output that show how far a start came. The environment variable
// COREHOST_TRACE switches it on. It has one level, and nothing outside the start-up path uses it.
#ifndef ZELMOR_HOST_HOST_TRACE_H
#define ZELMOR_HOST_HOST_TRACE_H

namespace trace {

/// Switches the trace on if COREHOST_TRACE holds a number of at least 1. It never switches it off.
void initialize();

void enable();
void disable();
bool is_enabled();

/// Three names for one level: a line on standard output while the trace is on.
[[gnu::format(printf, 1, 2)]] void info(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void verbose(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void warning(const char* format, ...);

/// A line on standard error, whether or not the trace is on.
[[gnu::format(printf, 1, 2)]] void error(const char* format, ...);

}  // namespace trace

#endif  // ZELMOR_HOST_HOST_TRACE_H
