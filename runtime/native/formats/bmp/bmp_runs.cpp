// Decoding the runs; see bmp_runs.h.
#include "runtime/native/formats/bmp/bmp_runs.h"

#include <algorithm>

#include "runtime/native/formats/bmp/bmp_compressions.h"

namespace zelmor::imagework {
namespace {

constexpr unsigned kRowEnd = 0, kPictureEnd = 1, kMove = 2;

}  // namespace

std::vector<uint8_t> decode_bmp_runs(SourceBytes& bytes, const BmpHeader& header, bool lenient) {
    const bool nibbles = header.storage == kBiRle4;
    const auto width = static_cast<size_t>(header.width);
    std::vector<uint8_t> out(width * static_cast<size_t>(header.height));
    uint64_t at = header.pixels_at;
    size_t x = 0;
    int32_t row = 0;
    const auto put = [&](unsigned index) {
        if (x < width) {
            out[static_cast<size_t>(row) * width + x++] = static_cast<uint8_t>(index);
        }
    };
    const auto take = [&](uint64_t count) {
        const auto found = bytes.at(at, count);
        if (found.size() < count && !lenient) {
            bmp_damaged("the run-length data ends in row " + std::to_string(row) + " of " +
                        std::to_string(header.height));
        }
        at += count;
        return found.size() < count ? std::span<const uint8_t>() : found;
    };
    while (row < header.height) {
        const auto pair = take(2);
        if (pair.empty()) {
            break;
        }
        const unsigned count = pair[0];
        const unsigned value = pair[1];
        if (count > 0) {
            for (unsigned i = 0; i < count; i++) {
                put(nibbles ? (i % 2 == 0 ? value >> 4 : value & 15) : value);
            }
        } else if (value == kRowEnd) {
            x = 0;
            row++;
        } else if (value == kPictureEnd) {
            break;
        } else if (value == kMove) {
            const auto step = take(2);
            if (step.empty()) {
                break;
            }
            x = std::min(width, x + step[0]);
            row += step[1];
        } else {
            const auto literals = take(nibbles ? (value + 1) / 2 : value);
            if (literals.empty()) {
                break;
            }
            for (unsigned i = 0; i < value; i++) {
                const unsigned byte = literals[nibbles ? i / 2 : i];
                put(nibbles ? (i % 2 == 0 ? byte >> 4 : byte & 15) : byte);
            }
            at += literals.size() & 1;
        }
    }
    return out;
}

}  // namespace zelmor::imagework
