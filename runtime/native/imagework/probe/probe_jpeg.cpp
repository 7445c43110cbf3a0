// The facts in the markers of a JPEG file up to its first scan.
#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/probe/jpeg_markers.h"
#include "runtime/native/imagework/probe/probe_formats.h"

namespace zelmor::imagework {

int jpeg_quality(const ByteReader& in, uint64_t table, bool wide) {
    // The example luminance table in annex K of the standard, in any order: only sums are compared.
    static constexpr int kExample[64] = {
        16, 11,  10,  16, 24, 40, 51, 61, 12,  12,  14,  19,  26, 58, 60, 55,  14,  13,  16,  24, 40, 57,
        69, 56,  14,  17, 22, 29, 51, 87, 80,  62,  18,  22,  37, 56, 68, 109, 103, 77,  24,  35, 55, 64,
        81, 104, 113, 92, 49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98,  112, 100, 103, 99,
    };
    int64_t sum = 0;
    for (uint64_t i = 0; i < 64; i++) {
        sum += wide ? in.u16(table + 2 * i) : in.u8(table + i);
    }
    int best = 100;
    int64_t best_distance = INT64_MAX;
    for (int quality = 100; quality >= 1; quality--) {
        int scale = quality < 50 ? 5000 / quality : 200 - 2 * quality;
        int64_t scaled = 0;
        for (int value : kExample) {
            scaled += std::clamp((value * scale + 50) / 100, 1, wide ? 32767 : 255);
        }
        int64_t distance = std::abs(scaled - sum);
        if (distance < best_distance) {
            best_distance = distance;
            best = quality;
        }
    }
    return best;
}

void probe_jpeg(const ByteReader& file, FileFacts& facts) {
    const ByteReader in = file.in_order(true);
    JpegEncoding encoding;
    bool have_quality = false;
    for (uint64_t at = 2; in.has(at, 4);) {
        if (in.u8(at) != 0xFF) {
            return;
        }
        int marker = in.u8(at + 1);
        if (marker == kJpegFill) {
            at++;
            continue;
        }
        if (is_bare_jpeg_marker(marker)) {
            at += 2;
            continue;
        }
        if (marker == kJpegEnd || marker == kJpegScan) {
            return;
        }
        uint32_t length = in.u16(at + 2);
        if (length < 2) {
            return;
        }
        if (marker == kJpegApp0 && in.starts_with(at + 4, "JFIF")) {
            facts.has_resolution |= in.u8(at + 11) == 1 || in.u8(at + 11) == 2;  // per inch or centimeter
        } else if (marker == kJpegApp1 && in.starts_with(at + 4, "Exif")) {
            facts.has_resolution = true;
        } else if (marker == kJpegQuantizationTable && !have_quality && length >= 67 && (in.u8(at + 4) & 0x0F) == 0) {
            encoding.quality = jpeg_quality(in, at + 5, in.u8(at + 4) >> 4 != 0);
            have_quality = true;
        } else if (marker == kJpegComment && encoding.comment.empty() && in.has(at + 4, length - 2)) {
            const auto comment = in.piece(at + 4, length - 2);
            encoding.comment.assign(comment.begin(), comment.end());
        } else if (is_jpeg_frame(marker)) {
            int depth = in.u8(at + 4);
            int components = in.u8(at + 9);
            facts.height = in.u16(at + 5);
            facts.width = in.u16(at + 7);
            facts.bits_per_pixel = depth * components;
            encoding.progressive = is_progressive_jpeg_frame(marker);
            encoding.color = components == 1 ? JpegColor::kGray : components == 4 ? JpegColor::kCmyk : JpegColor::kYcc;
            facts.encoding = encoding;
            facts.readable = in.ok() && facts.width > 0 && facts.height > 0 && components > 0;
            return;
        }
        at += 2 + static_cast<uint64_t>(length);
    }
}

}  // namespace zelmor::imagework
