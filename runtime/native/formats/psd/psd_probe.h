// What is known of a PSD file without decoding its pixels.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_PROBE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_PROBE_H

#include <string>

#include "runtime/native/formats/psd/psd_encoding.h"
#include "runtime/native/formats/psd/psd_structure.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::imagework {

struct PsdFacts {
    FileFacts facts;       // but the format and the encoding
    PsdEncoding encoding;  // to save the picture again as it was
    std::string refusal;   // why the file cannot be read; empty where it can
};

PsdFacts probe_psd(ByteSource& bytes, uint64_t file_size);

// The facts by a structure that was read already.
FileFacts psd_facts(const PsdFile& file, ByteSource& bytes);
PsdEncoding psd_encoding(const PsdFile& file);

// Where the picture ends in a file: behind its last plane, or the end of the file where the planes are compressed by
// zlib, whose length no field tells. The end of the file for what is no PSD.
uint64_t psd_end(ByteSource& bytes, uint64_t file_size);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_PROBE_H
