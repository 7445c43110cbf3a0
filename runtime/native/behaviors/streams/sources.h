// What the image classes ask of a StreamSource.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_STREAMS_SOURCES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_STREAMS_SOURCES_H

#include "runtime/native/core/object.h"

namespace zelmor::embed {

// Whether an image that is created with the source closes the stream at its end. The memory that a source has made for
// itself stays: what was written there could not be read any more otherwise.
bool ends_stream_with_image(const ManagedObject& stream_source);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_STREAMS_SOURCES_H
