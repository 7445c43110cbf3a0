// The structure of TIFF files, classic and BigTIFF: directories, each a list of tagged entries.
//
// An entry has a tag, a field type, a count of values, and the values, or the offset of the values where they do not
// fit. A value outside the bytes of the file reads as zero, and the reader remembers it.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_STRUCTURE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_STRUCTURE_H

#include <cstddef>
#include <cstdint>
#include <iterator>

#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {

enum TiffTag : uint16_t {
    kTiffSubfileType = 254,
    kTiffWidth = 256,
    kTiffHeight = 257,
    kTiffBitsPerSample = 258,
    kTiffCompression = 259,
    kTiffPhotometric = 262,
    kTiffFillOrder = 266,
    kTiffStripOffsets = 273,
    kTiffOrientation = 274,
    kTiffSamplesPerPixel = 277,
    kTiffRowsPerStrip = 278,
    kTiffStripSizes = 279,
    kTiffXResolution = 282,
    kTiffYResolution = 283,
    kTiffPlanarConfiguration = 284,
    kTiffPageName = 285,
    kTiffFax3Options = 292,
    kTiffResolutionUnit = 296,
    kTiffPredictor = 317,
    kTiffColorMap = 320,
    kTiffTileWidth = 322,
    kTiffTileHeight = 323,
    kTiffTileOffsets = 324,
    kTiffTileSizes = 325,
    kTiffSubDirectories = 330,
    kTiffExtraSamples = 338,
    kTiffSampleFormat = 339,
    kTiffJpegTables = 347,
    kTiffJpegOffset = 513,
    kTiffJpegSize = 514,
    kTiffYcbcrSubsampling = 530,
    kTiffExifDirectory = 34665,
    kTiffGpsDirectory = 34853,
    kTiffInteroperabilityDirectory = 40965,
};

enum TiffFieldType : uint16_t {
    kTiffAscii = 2,
    kTiffShort = 3,
    kTiffLong = 4,
    kTiffRational = 5,
    kTiffSignedRational = 10,
    kTiffLong8 = 16,
};

enum TiffPlanes : uint16_t { kTiffOnePlane = 1, kTiffSeparatePlanes = 2 };
enum TiffFill : uint16_t { kTiffHighestBitFirst = 1, kTiffLowestBitFirst = 2 };
enum TiffNumberFormat : uint16_t { kTiffUnsigned = 1, kTiffSigned = 2, kTiffFloatingPoint = 3 };

// Bytes of one value of a field type; 0 for a type that there is not.
constexpr uint64_t tiff_type_size(int type) {
    constexpr uint8_t kSizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4, 0, 0, 8, 8, 8};
    return type >= 0 && static_cast<size_t>(type) < std::size(kSizes) ? kSizes[type] : 0;
}
constexpr bool is_tiff_rational(int type) {
    return type == kTiffRational || type == kTiffSignedRational;
}

// Where things are in one of the two forms of the format.
struct TiffForm {
    bool big;

    uint64_t word() const { return big ? 8 : 4; }  // bytes of an offset, and of a count of values
    uint64_t header_size() const { return big ? 16 : 8; }
    uint64_t directory_head() const { return big ? 8 : 2; }  // the number of entries, before them
    uint64_t entry_size() const { return big ? 20 : 12; }
    uint64_t link_at() const { return header_size() - word(); }  // of the offset of the first directory
    uint64_t entry_at(uint64_t directory, uint64_t index) const {
        return directory + directory_head() + index * entry_size();
    }
    uint64_t value_at(uint64_t entry) const { return entry + 4 + word(); }

    uint64_t read_word(const ByteReader& in, uint64_t at) const { return big ? in.u64(at) : in.u32(at); }
    uint64_t entries(const ByteReader& in, uint64_t directory) const {
        return big ? in.u64(directory) : in.u16(directory);
    }
    uint64_t values(const ByteReader& in, uint64_t entry) const { return read_word(in, entry + 4); }
};

inline TiffForm tiff_form(const ByteReader& in) {
    constexpr uint16_t kBigTiffVersion = 43;
    return {in.u16(2) == kBigTiffVersion};
}

// A whole number of 1, 2, 4 or 8 bytes.
inline uint64_t read_tiff_number(const ByteReader& in, uint64_t at, uint64_t size) {
    return size == 2 ? in.u16(at) : size == 4 ? in.u32(at) : size == 8 ? in.u64(at) : in.u8(at);
}

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_STRUCTURE_H
