// What the header of a DjVu file tells, without the library that decodes it.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_DJVU_DJVU_PROBE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_DJVU_DJVU_PROBE_H

#include <string>

#include "runtime/native/formats/djvu/djvu_structure.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::imagework {

struct DjvuFacts {
    FileFacts facts;         // of the first page
    std::string unreadable;  // why a file of the format cannot be read; empty where it can
};

// Of a file that begins as is_djvu() says. `readable` is false where the first page cannot be read.
DjvuFacts probe_djvu(const ByteReader& file);

FileFacts djvu_page_facts(const DjvuPagePlace& page);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_DJVU_DJVU_PROBE_H
