// The facts of a PSD file whose structure was read.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_FACTS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_FACTS_H

#include "runtime/native/formats/psd/psd_encoding.h"
#include "runtime/native/formats/psd/psd_structure.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::imagework {

// With the settings to save the picture again as it was.
FileFacts psd_facts(const PsdFile& file, ByteSource& bytes);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_FACTS_H
