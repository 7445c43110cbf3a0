// Which formats can be loaded, saved and created: what is registered counts for load(), save() and create() too.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_REGISTRIES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_REGISTRIES_H

#include "runtime/native/behaviors/images/image_object.h"

namespace zelmor::embed {

enum class Trade : uint8_t { kLoading, kExporting, kCreating };

// NotSupportedException where the format's descriptor was taken out of the registry.
void require_registered(Trade trade, FileFormat format);
bool is_registered(Trade trade, FileFormat format);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_REGISTRIES_H
