// A separation in the background.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_MASKING_TASK_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_MASKING_TASK_H

#include "runtime/native/behaviors/masking/masking_session.h"

namespace zelmor::embed {

// Not yet running. `arguments` are those of an improvement, or null.
Ref<ManagedObject> make_masking_task(Ref<MaskingSession> session, Ref<Record> arguments);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_MASKING_TASK_H
