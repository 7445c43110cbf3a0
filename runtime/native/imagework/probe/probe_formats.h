// The header parsers of single formats, the longer of which have files of their own. Only probe.cpp calls them.
//
// Each fills in the facts of a file that begins with the signature of its format.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_PROBE_FORMATS_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_PROBE_FORMATS_H

#include <vector>

#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::imagework {

void probe_jpeg(const ByteReader& file, FileFacts& facts);
void probe_tiff(const ByteReader& file, FileFacts& facts);
std::vector<FileFacts> probe_tiff_pages(const ByteReader& file);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_PROBE_FORMATS_H
