// Whether the enhanced metafile in the comments of a Windows metafile still shows what the other records do. Programs
// write the picture twice, so that readers which know the newer format can show that one; a change of the records makes
// the copy out of date.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_EMBEDDED_COPY_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_EMBEDDED_COPY_H

#include "runtime/native/formats/metafile/metafile_object.h"
#include "runtime/native/formats/metafile/player/play.h"

namespace zelmor::embed::metafile {

class EmbeddedCopy {
 public:
    EmbeddedCopy() = default;
    // Remembers the records of a file as they are now.
    explicit EmbeddedCopy(const Records& records);

    // Whether records were changed since then, and the comments were not: who changes these too looks after them.
    bool is_outdated(const Records& records) const;

 private:
    FileBytes m_comments, m_others;
};

// The records without the comments that hold an enhanced metafile.
Records without_copy(const Records& records);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_EMBEDDED_COPY_H
