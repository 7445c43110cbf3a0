// Run-length coded pixels of TGA files, both ways.
//
// The data are packets: a byte with a length, and then one pixel that is repeated or as many as the length says. The
// packets of some files go on in the next row.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TGA_TGA_RUNS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TGA_TGA_RUNS_H

#include <cstdint>
#include <span>
#include <vector>

#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {

// A place in the data between two pixels.
struct TgaRunPlace {
    uint64_t at = 0;   // of the next packet, or of the next pixel of one that has begun
    uint8_t left = 0;  // pixels of that packet
    bool repeats = false;
};

// Goes on by so many pixels, and copies them unless `to` is null. False where the data end before.
bool read_tga_runs(SourceBytes& bytes, TgaRunPlace& place, size_t pixels, size_t pixel_bytes, uint8_t* to);

// Appends the packets of one row, which no packet leaves.
void put_tga_runs(std::span<const uint8_t> row, size_t pixel_bytes, std::vector<uint8_t>& out);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TGA_TGA_RUNS_H
