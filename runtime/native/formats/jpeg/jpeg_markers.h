// The markers that the parts of a JPEG file begin with, each behind a byte of 0xFF.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_MARKERS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_MARKERS_H

#include <cstdint>

namespace zelmor::imagework {

enum JpegMarker : uint8_t {
    kJpegStuffing = 0x00,  // in a scan: a data byte of 0xFF
    kJpegTemporary = 0x01,
    kJpegFirstFrame = 0xC0,     // frame headers reach to 0xCF, with three other markers between
    kJpegLosslessFrame = 0xC3,  // with Huffman codes
    kJpegHuffmanTables = 0xC4,
    kJpegReserved = 0xC8,
    kJpegArithmeticTables = 0xCC,
    kJpegLastFrame = 0xCF,
    kJpegFirstRestart = 0xD0,
    kJpegLastRestart = 0xD7,
    kJpegStart = 0xD8,
    kJpegEnd = 0xD9,
    kJpegScan = 0xDA,
    kJpegQuantizationTable = 0xDB,
    kJpegApp0 = 0xE0,  // JFIF
    kJpegApp1 = 0xE1,  // Exif
    kJpegApp2 = 0xE2,  // color profile
    kJpegApp8 = 0xE8,
    kJpegApp14 = 0xEE,  // Adobe
    kJpegLastApp = 0xEF,
    kJpegLsFrame = 0xF7,
    kJpegComment = 0xFE,
    kJpegFill = 0xFF,
};

constexpr bool is_jpeg_restart(int marker) {
    return marker >= kJpegFirstRestart && marker <= kJpegLastRestart;
}
// A marker that stands alone, without a length and data behind it.
constexpr bool is_bare_jpeg_marker(int marker) {
    return marker == kJpegTemporary || is_jpeg_restart(marker) || marker == kJpegStart;
}
constexpr bool is_jpeg_frame(int marker) {
    return marker >= kJpegFirstFrame && marker <= kJpegLastFrame && marker != kJpegHuffmanTables &&
           marker != kJpegReserved && marker != kJpegArithmeticTables;
}
// A byte behind 0xFF in the data of a scan, which is no marker.
constexpr bool is_jpeg_scan_byte(int byte, bool is_ls) {
    return is_ls ? byte < 0x80 : byte == kJpegStuffing;
}
// The frame headers of progressive codings are each the third of four.
constexpr bool is_progressive_jpeg_frame(int marker) {
    return is_jpeg_frame(marker) && (marker & 3) == 2;
}
// Those of lossless codings are the last of four.
constexpr bool is_lossless_jpeg_frame(int marker) {
    return is_jpeg_frame(marker) && (marker & 3) == 3;
}

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_MARKERS_H
