// EMF: the first record is the header, whose mark stands behind its sizes. EMZ is that packed by gzip.
#include <algorithm>
#include <cmath>

#include "runtime/native/formats/format_room.h"
#include "runtime/native/formats/metafile/frame_pixels.h"
#include "runtime/native/imagework/probe/packed_head.h"
#include "runtime/native/imagework/units.h"

namespace zelmor::imagework {
namespace {

bool is_emf(const ByteReader& file) {
    const ByteReader in = file.in_order(false);
    return in.u32(0) == 1 && in.starts_with(40, " EMF");
}

std::vector<uint8_t> unpacked(const ByteReader& file) {
    constexpr size_t kHeader = 108;
    return unpacked_head(file, kHeader);
}

bool begins_emf(const ByteReader& in) {
    return is_emf(in) || is_emf(ByteReader(unpacked(in)));
}

Variant metafile_variant_of(const ByteReader& in) {
    return is_emf(in) ? Variant::kUsual : Variant::kEmz;
}

// The frame is in hundredths of a millimeter. Where it is empty, the bounds in pixels of the device count.
void probe_header(const ByteReader& in, FileFacts& facts) {
    const auto number = [&](uint64_t at) { return static_cast<double>(static_cast<int32_t>(in.u32(at))); };
    double width = number(32) - number(24), height = number(36) - number(28);
    if (!(width > 0 && height > 0)) {
        const double device_x = number(72), device_y = number(76), mm_x = number(80), mm_y = number(84);
        const bool known = device_x > 0 && device_y > 0 && mm_x > 0 && mm_y > 0;
        constexpr double kUsual = 2540.0 / 96;
        width = (number(16) - number(8) + 1) * (known ? 100 * mm_x / device_x : kUsual);
        height = (number(20) - number(12) + 1) * (known ? 100 * mm_y / device_y : kUsual);
    }
    constexpr double kPixels = 96 / kMillimetersPerInch;  // in a millimeter
    facts.readable = in.has(0, 88);
    facts.width = static_cast<int64_t>(std::ceil(embed::metafile::frame_pixels(std::max(width, 0.0), kPixels) - 1e-4));
    facts.height =
        static_cast<int64_t>(std::ceil(embed::metafile::frame_pixels(std::max(height, 0.0), kPixels) - 1e-4));
    facts.bits_per_pixel = 32;
    facts.has_alpha = true;
}

void probe_emf(const ByteReader& file, FileFacts& facts) {
    facts.variant = metafile_variant_of(file);
    if (is_emf(file)) {
        probe_header(file.in_order(false), facts);
        return;
    }
    const std::vector<uint8_t> head = unpacked(file);
    probe_header(ByteReader(head), facts);
}

constexpr const char* kEmfExtensions[] = {"emf", "emz"};

}  // namespace

extern const FormatRoom kEmfRoom;
const FormatRoom kEmfRoom{
    .format = Format::kEmf,
    .name = "EMF",
    .extensions = kEmfExtensions,
    .begins = &begins_emf,
    .probe = &probe_emf,
};

}  // namespace zelmor::imagework
