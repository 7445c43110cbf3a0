// Whole metafiles: the list of records, and what stands around it.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_METAFILE_FILE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_METAFILE_FILE_H

#include <optional>
#include <vector>

#include "runtime/native/formats/metafile/record_forms.h"

namespace zelmor::embed::metafile {

// An enhanced metafile. Its header is the first record; EMF+ records stand in comments.
struct EmfFile {
    std::vector<Ref<ManagedObject>> records;
    FileBytes tail;    // behind the last record
    FileBytes source;  // the bytes of all records as they were read
};

// In front of the header of a Windows metafile: the frame of the picture, and how many units make an inch.
struct Placeable {
    uint16_t handle = 0;
    int16_t left = 0, top = 0, right = 0, bottom = 0;
    uint16_t inch = 0;
    uint32_t reserved = 0;
    std::optional<uint16_t> checksum = {};  // as the file has it, where it is not that of the other fields
};

struct WmfHeader {
    uint16_t type = 1;  // 1 in memory, 2 in a file
    uint16_t header_size = 9;
    uint16_t version = 0x300;
    uint32_t size{};  // in words, like those above and below; counted when the file is written
    uint16_t object_count{};
    uint32_t largest_record{};
    uint16_t member_count = 0;
};

struct WmfFile {
    std::optional<Placeable> placeable;
    WmfHeader header;
    std::vector<Ref<ManagedObject>> records;
    FileBytes tail;
    FileBytes source;
};

// A compressed file (gzip) as it was before; other bytes as they are. MetafileError where it is damaged, or larger than
// a metafile may be.
FileBytes unpacked(FileView bytes);
// A compressed file of these bytes.
FileBytes packed(FileView bytes);

// What a file begins with; a compressed one is neither.
bool is_emf(FileView bytes);
bool is_wmf(FileView bytes);

// MetafileError for a file that is damaged: its message says in which record.
EmfFile read_emf(FileView bytes);
WmfFile read_wmf(FileView bytes);

// The file again. Sizes, counts and checksums follow the records if one of these is another than in the file that was
// read; if none is, all bytes are those of that file.
FileBytes write_emf(const EmfFile& file);
FileBytes write_wmf(const WmfFile& file);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_METAFILE_FILE_H
