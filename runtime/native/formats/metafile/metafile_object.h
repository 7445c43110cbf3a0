// An object of a metafile: a record of the API, and beside its properties what the file has that no property stands
// for.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_METAFILE_OBJECT_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_METAFILE_OBJECT_H

#include <cstdint>
#include <stdexcept>
#include <vector>

#include "runtime/native/core/records.h"

namespace zelmor::embed::metafile {

using FileBytes = std::vector<uint8_t>;

// A file that is damaged, or an object that no file can hold.
class MetafileError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

// What is kept of a field: its bytes where the property cannot say all of them, those behind an object that is shorter
// than its size, or that the field is missing.
enum class KeptAs : uint8_t { kField, kTail, kAbsent };

struct Kept {
    int32_t item;  // into record_items(); -1 for the end of the record
    KeptAs as;
    FileBytes bytes;
};

class MetafileObject final : public Record {
 public:
    using Record::Record;
    Ref<ManagedObject> copy() const override;

    const Kept* find_kept(int32_t item, KeptAs as) const;
    void keep(int32_t item, KeptAs as, FileBytes bytes);

    int64_t number = -1;     // of the record's type, as the file has it
    bool continues = false;  // a later part of an object that stands in several records
    // The record as it stands in the file, where what the writer makes of the properties differs from it: other
    // offsets, sizes that count more than there is, gaps.
    FileBytes source;

 private:
    std::vector<Kept> m_kept;
};

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_METAFILE_OBJECT_H
