// Which options have an effect in this runtime, as a table: one row for each property of the options that can be given
// to load() and save().
//
// An option that has no effect may keep its default and nothing else. A save or a load with another value is refused
// with the name of the option, so that no setting is lost unnoticed. Whoever gives an option its effect changes its
// row.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_OPTION_RULES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_OPTION_RULES_H

#include "runtime/native/core/records.h"

namespace zelmor::embed {

// NotSupportedException for the first option without effect that differs from its default. Tags that stand for
// properties must have been brought in step with these.
// `of_drawing`: for an image of lines and text, for which some options count that a picture of pixels has no use for.
void require_effective_options(const ManagedObject& options, bool of_drawing = false);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_OPTION_RULES_H
