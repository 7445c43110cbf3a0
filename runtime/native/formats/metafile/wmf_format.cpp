// WMF: a header of nine words, with or without that of a placeable file before it. WMZ is that packed by gzip.
#include <cmath>
#include <cstdlib>

#include "runtime/native/formats/format_room.h"
#include "runtime/native/imagework/probe/packed_head.h"

namespace zelmor::imagework {
namespace {

bool is_wmf(const ByteReader& file) {
    const ByteReader in = file.in_order(false);
    constexpr uint16_t kHeaderWords = 9;
    const bool standard =
        (in.u16(0) == 1 || in.u16(0) == 2) && in.u16(2) == kHeaderWords && (in.u16(4) == 0x0100 || in.u16(4) == 0x0300);
    return standard || in.starts_with(0, "\xD7\xCD\xC6\x9A");
}

// The first records are among these bytes, so that the one that sets the size of the window is.
std::vector<uint8_t> unpacked_wmf(const ByteReader& file) {
    constexpr size_t kHead = 4096;
    return unpacked_head(file, kHead);
}

bool begins_wmf(const ByteReader& in) {
    return is_wmf(in) || is_wmf(ByteReader(unpacked_wmf(in)));
}

Variant wmf_variant_of(const ByteReader& in) {
    return is_wmf(in) ? Variant::kUsual : Variant::kWmz;
}

// The first record that sets the size of the window.
void probe_window(const ByteReader& in, uint64_t at, FileFacts& facts) {
    constexpr uint16_t kSetWindowExtent = 0x020C;
    constexpr int kMostRecords = 64;
    for (int i = 0; i < kMostRecords && in.has(at, 6); ++i) {
        const uint64_t words = in.u32(at);
        if (in.u16(at + 4) == kSetWindowExtent && in.has(at, 10)) {
            facts.height = std::abs(static_cast<int16_t>(in.u16(at + 6)));
            facts.width = std::abs(static_cast<int16_t>(in.u16(at + 8)));
            return;
        }
        if (words < 3) {
            return;
        }
        at += 2 * words;
    }
}

void probe_wmf_header(const ByteReader& in, FileFacts& facts) {
    constexpr uint64_t kPlaceable = 22, kHeader = 18;
    facts.bits_per_pixel = 32;
    facts.has_alpha = true;
    if (!in.starts_with(0, "\xD7\xCD\xC6\x9A")) {
        facts.readable = in.has(0, kHeader);
        probe_window(in, kHeader, facts);
        return;
    }
    facts.readable = in.has(0, kPlaceable + kHeader);
    const auto side = [&](uint64_t at) { return static_cast<double>(static_cast<int16_t>(in.u16(at))); };
    const double inch = in.u16(14) != 0 ? in.u16(14) : 96;
    facts.width = static_cast<int64_t>(std::ceil(std::abs(side(10) - side(6)) * 96 / inch - 1e-4));
    facts.height = static_cast<int64_t>(std::ceil(std::abs(side(12) - side(8)) * 96 / inch - 1e-4));
}

void probe_wmf(const ByteReader& file, FileFacts& facts) {
    facts.variant = wmf_variant_of(file);
    if (is_wmf(file)) {
        probe_wmf_header(file.in_order(false), facts);
        return;
    }
    const std::vector<uint8_t> head = unpacked_wmf(file);
    probe_wmf_header(ByteReader(head), facts);
}

constexpr const char* kWmfExtensions[] = {"wmf", "wmz"};

}  // namespace

extern const FormatRoom kWmfRoom;
const FormatRoom kWmfRoom{
    .format = Format::kWmf,
    .name = "WMF",
    .extensions = kWmfExtensions,
    .begins = &begins_wmf,
    .probe = &probe_wmf,
};

}  // namespace zelmor::imagework
