// Operations that another thread can stop: each looks at the monitor of its thread, and at that of its image, before it
// begins and between its steps.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_FORMATS_INTERRUPT_MONITOR_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_FORMATS_INTERRUPT_MONITOR_H

#include "runtime/native/core/records.h"

namespace zelmor::embed {

// OperationInterruptedException if the monitor of this thread is interrupted.
void require_uninterrupted();
// The same, also for the monitor that the image has.
void require_uninterrupted(const Record& image);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_FORMATS_INTERRUPT_MONITOR_H
