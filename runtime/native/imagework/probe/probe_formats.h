// The header parsers of the single formats. Only probe.cpp calls them.
//
// Each fills in the facts of a file that begins with the signature of its format.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_PROBE_FORMATS_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_PROBE_FORMATS_H

#include <vector>

#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::imagework {

void probe_bmp(const ByteReader& file, FileFacts& facts);
void probe_gif(const ByteReader& file, FileFacts& facts);
void probe_jpeg(const ByteReader& file, FileFacts& facts);
void probe_png(const ByteReader& file, FileFacts& facts);
void probe_tiff(const ByteReader& file, FileFacts& facts);
void probe_webp(const ByteReader& file, FileFacts& facts);

// Where the directories of the pages are, in their order. No more of them is read than where the next one is.
std::vector<uint64_t> tiff_directories(const ByteReader& file);
FileFacts probe_tiff_page(const ByteReader& file, uint64_t directory);

// The quality whose table, made by the scaling rule that encoders share, is nearest to the luminance table of 64
// values of one byte, or two.
int jpeg_quality(const ByteReader& in, uint64_t table, bool wide);

// A color of a palette, from three bytes R, G, B.
inline Argb rgb_entry(const ByteReader& in, uint64_t at) {
    return 0xFF000000 | static_cast<Argb>(in.u8(at)) << 16 | static_cast<Argb>(in.u8(at + 1)) << 8 | in.u8(at + 2);
}

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_PROBE_FORMATS_H
