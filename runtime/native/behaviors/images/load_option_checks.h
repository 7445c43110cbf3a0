// Checks of load options, against the table of options and against the file that is loaded with them.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_LOAD_OPTION_CHECKS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_LOAD_OPTION_CHECKS_H

#include "runtime/native/core/records.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::embed {

// Before pixels are decoded. PictureError where the file breaks a rule that the options set.
void require_load_options(const Record& load_options, const imagework::FileFacts& facts,
                          const imagework::SharedSource& file);
// What load options of the format of the file say besides.
void take_load_options(const Record& load_options, const imagework::FileFacts& facts,
                       imagework::DecodeOptions& options);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_LOAD_OPTION_CHECKS_H
