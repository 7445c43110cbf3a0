// The directory of an ICO or CUR file: the table at its beginning that tells where the entries lie.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_ICO_ICO_DIRECTORY_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_ICO_ICO_DIRECTORY_H

#include <cstdint>
#include <vector>

#include "runtime/native/formats/ico/ico_encoding.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {

struct IcoEntry {
    int32_t width = 0;  // as the directory states it, 1 to 256; the picture itself may say otherwise
    int32_t height = 0;
    uint16_t bits_per_pixel = 0;  // of an icon; often 0
    IcoHotSpot hot_spot = {};     // of a cursor
    uint32_t size = 0;
    uint32_t at = 0;
};

struct IcoDirectory {
    static constexpr uint64_t kHeaderSize = 6;
    static constexpr uint64_t kEntrySize = 16;

    IcoKind kind = IcoKind::kIcon;
    uint16_t count = 0;  // as stated
};

// Whether the file begins with the header of a directory whose first entry makes sense.
bool is_ico(const ByteReader& file);

// The header of a file that is_ico().
IcoDirectory read_ico_directory(const ByteReader& file);

// An entry of the directory. ByteReader::ok() tells whether all of it was there.
IcoEntry read_ico_entry(const ByteReader& file, const IcoDirectory& directory, size_t index);

bool is_png_entry(const ByteReader& file, const IcoEntry& entry);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_ICO_ICO_DIRECTORY_H
