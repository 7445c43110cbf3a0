// A check of the chunks of a PNG that is stricter than its decoder, which passes over damage beside the pixels.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_CHECKS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_CHECKS_H

#include <string>

#include "runtime/native/imagework/pixels/data_source.h"

namespace zelmor::embed {

// What is wrong first: a checksum, an unknown chunk that a reader has to know, chunks out of order, or a missing end.
// Empty where nothing is.
std::string png_fault(const imagework::SharedSource& file);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_CHECKS_H
