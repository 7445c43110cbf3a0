// Color profiles that a caller gives as streams.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_COLOR_PROFILES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_COLOR_PROFILES_H

#include <string_view>

#include "runtime/native/core/records.h"
#include "runtime/native/core/stream.h"
#include "runtime/native/imagework/backend.h"

namespace zelmor::embed {

// The whole content of the StreamSource that a property holds, whose position stays; null for none.
imagework::ProfileBytes profile_property(const ManagedObject& object, std::string_view name);

// The whole content of a stream, whose position stays. ArgumentException, which names the parameter, for an empty one.
imagework::ProfileBytes profile_in(const Ref<ManagedStream>& stream, std::string_view parameter);

// Takes the profiles that a save is to convert the colors to from two properties of an object.
void take_target_profiles(const ManagedObject& object, std::string_view rgb_name, std::string_view cmyk_name,
                          imagework::Encoding& encoding);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_COLOR_PROFILES_H
