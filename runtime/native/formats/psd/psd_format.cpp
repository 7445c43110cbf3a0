// PSD, and PSB for large pictures: the mark, the facts in the header, and the end of the picture in a stream.
#include <algorithm>
#include <limits>

#include "runtime/native/formats/format_room.h"
#include "runtime/native/formats/psd/psd_encoding.h"
#include "runtime/native/formats/psd/psd_facts.h"
#include "runtime/native/formats/psd/psd_structure.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

// The bytes behind a reader.
class BytesOfReader final : public ByteSource {
 public:
    explicit BytesOfReader(const ByteReader& in) : m_in(in) {}
    std::span<const uint8_t> at(uint64_t offset, uint64_t length) override { return m_in.piece(offset, length); }
    bool has(uint64_t offset, uint64_t length) override { return m_in.has(offset, length); }

 private:
    const ByteReader& m_in;
};

bool begins_psd(const ByteReader& file) {
    const ByteReader in = file.in_order(true);
    return in.starts_with(0, "8BPS") && (in.u16(4) == 1 || in.u16(4) == 2);
}

void probe_psd(const ByteReader& file, FileFacts& facts) {
    // A reader does not tell the size of its file. A section that goes on behind the end is found by the compression,
    // which stands behind all sections and is not there then.
    constexpr uint64_t kAnySize = std::numeric_limits<int64_t>::max();
    BytesOfReader bytes(file);
    try {
        facts = psd_facts(read_psd_structure(bytes, kAnySize), bytes);
    } catch (const PictureError& error) {
        facts.readable = false;
        if (error.kind() == Failure::kUnsupported) {
            facts.obstacle = error.what();
        }
    }
}

// Behind the last plane. The planes that zlib compressed have no length anywhere: then all that follows belongs to the
// picture.
class PsdEnd final : public PictureEnd {
 public:
    explicit PsdEnd(const FileFacts& facts) : PictureEnd(facts) {}

    uint64_t needed(std::span<const uint8_t> data) override {
        const ByteReader in(data, true);
        if (!in.has(0, kPsdHeaderSize)) {
            return kPsdHeaderSize;
        }
        const bool large = in.u16(4) == 2;
        uint64_t at = kPsdHeaderSize;
        for (const bool is_layers : {false, false, true}) {  // color mode data, resources, layers
            const uint64_t digits = is_layers && large ? 8 : 4;
            if (!in.has(at, digits)) {
                return at + digits;
            }
            const uint64_t size = digits == 8 ? in.u64(at) : in.u32(at);
            if (size > limits::kOffset) {
                return kUnknown;
            }
            at += digits + size;
            if (is_layers && !m_has_layers) {
                add_values(size);
                m_has_layers = true;
            }
        }
        if (!in.has(at, 2)) {
            return at + 2;
        }
        const auto compression = static_cast<PsdCompression>(in.u16(at));
        at += 2;
        const uint64_t rows = uint64_t{in.u16(12)} * in.u32(14);
        if (compression == PsdCompression::kRaw) {
            return at + rows * ((uint64_t{in.u32(18)} * in.u16(22) + 7) / 8);
        }
        if (compression != PsdCompression::kPackBits) {
            return kUnknown;
        }
        const uint64_t digits = large ? 4 : 2;
        if (!in.has(at, rows * digits)) {
            return at + rows * digits;
        }
        uint64_t end = at + rows * digits;
        for (uint64_t row = 0; row < rows; row++) {
            end += large ? in.u32(at + 4 * row) : in.u16(at + 2 * row);
        }
        return end;
    }

 private:
    bool m_has_layers = false;
};

std::unique_ptr<PictureEnd> psd_end(const FileFacts& facts) {
    return std::make_unique<PsdEnd>(facts);
}

constexpr const char* kPsdExtensions[] = {"psb", "psd"};

}  // namespace

extern const FormatRoom kPsdRoom;
const FormatRoom kPsdRoom{
    .format = Format::kPsd,
    .name = "PSD",
    .extensions = kPsdExtensions,
    .begins = &begins_psd,
    .probe = &probe_psd,
    .end = &psd_end,
    .default_settings = &default_settings_of<PsdEncoding>,
};

}  // namespace zelmor::imagework
