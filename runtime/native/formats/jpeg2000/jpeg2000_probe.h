// What the header of a JPEG 2000 file tells, without the library that decodes it.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_JPEG2000_PROBE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_JPEG2000_PROBE_H

#include <string>

#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::imagework {

struct Jpeg2000Facts {
    FileFacts facts;         // with the settings of a file that can be read
    std::string unreadable;  // why a file of the format cannot be read; empty where it can
};

// Of a file that begins as is_jpeg2000() says (jpeg2000_structure.h). `readable` is false where the header makes no
// sense or tells of pictures that are refused.
Jpeg2000Facts probe_jpeg2000(const ByteReader& file);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_JPEG2000_PROBE_H
