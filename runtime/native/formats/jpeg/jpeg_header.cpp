// Headers of JPEG files; see jpeg_header.h.
#include "runtime/native/formats/jpeg/jpeg_header.h"

#include <cmath>
#include <cstdlib>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/units.h"

namespace zelmor::imagework {
namespace {

// EXIF's own, for a block that does not tell.
constexpr Resolution kExifResolution{72.0, 72.0};

ColorModel color_of(const jpeg_decompress_struct& codec) {
    switch (codec.out_color_space) {
        case JCS_GRAYSCALE:
            return ColorModel::kGray;
        case JCS_RGB:
            return ColorModel::kRgb;
        case JCS_CMYK:
            return ColorModel::kCmyk;
        default:
            throw PictureError(Failure::kUnsupported,
                               "a JPEG picture of " + std::to_string(codec.num_components) + " components is not read");
    }
}

// Null where there is no profile, or where parts of it are missing.
ProfileBytes profile_in(JpegInput& input) {
    jpeg_decompress_struct* const codec = input.codec();
    JOCTET* bytes = nullptr;
    unsigned size = 0;
    JOCTET** const bytes_to = &bytes;
    unsigned* const size_to = &size;
    input.run([=] { jpeg_read_icc_profile(codec, bytes_to, size_to); });
    const std::unique_ptr<JOCTET, void (*)(void*)> owner(bytes, std::free);
    return size > 0 ? std::make_shared<const std::vector<uint8_t>>(bytes, bytes + size) : nullptr;
}

// A resolution that a program has left at 1 is none.
std::optional<Resolution> jfif_resolution(const jpeg_decompress_struct& codec) {
    constexpr int kInch = 1;
    constexpr int kCentimeter = 2;
    if (codec.saw_JFIF_marker == FALSE || codec.X_density <= 1 || codec.Y_density <= 1 ||
        (codec.density_unit != kInch && codec.density_unit != kCentimeter)) {
        return std::nullopt;
    }
    const double unit = codec.density_unit == kInch ? 1.0 : kCentimetersPerInch;
    return Resolution{codec.X_density * unit, codec.Y_density * unit};
}

// The tags of an EXIF block's first directory that tell the resolution.
class ExifResolution {
 public:
    explicit ExifResolution(std::span<const uint8_t> block) : m_in(block, !block.empty() && block[0] == 'M') {}

    std::optional<Resolution> find() {
        constexpr uint64_t kFirstDirectory = 4;
        constexpr uint64_t kEntrySize = 12;
        const uint64_t directory = m_in.u32(kFirstDirectory);
        const uint16_t count = m_in.u16(directory);
        int unit = kInch;
        for (uint64_t entry = directory + 2; entry < directory + 2 + count * kEntrySize; entry += kEntrySize) {
            switch (m_in.u16(entry)) {
                case kHorizontal:
                    m_horizontal = fraction(entry);
                    break;
                case kVertical:
                    m_vertical = fraction(entry);
                    break;
                case kUnit:
                    unit = m_in.u16(entry + kValue);
                    break;
                default:
                    break;
            }
        }
        if (!(m_horizontal > 0 && m_vertical > 0) || (unit != kInch && unit != kCentimeter)) {
            return std::nullopt;
        }
        const double scale = unit == kInch ? 1.0 : kCentimetersPerInch;
        return Resolution{m_horizontal * scale, m_vertical * scale};
    }

 private:
    static constexpr uint16_t kHorizontal = 282;
    static constexpr uint16_t kVertical = 283;
    static constexpr uint16_t kUnit = 296;
    static constexpr int kInch = 2;
    static constexpr int kCentimeter = 3;
    static constexpr uint16_t kFractionType = 5;
    static constexpr uint64_t kValue = 8;  // of an entry

    double fraction(uint64_t entry) const {
        if (m_in.u16(entry + 2) != kFractionType) {
            return 0;
        }
        const uint64_t at = m_in.u32(entry + kValue);
        const uint32_t denominator = m_in.u32(at + 4);
        return denominator == 0 ? 0.0 : static_cast<double>(m_in.u32(at)) / denominator;
    }

    ByteReader m_in;
    double m_horizontal = 0;
    double m_vertical = 0;
};

// EXIF's resolution goes before that of JFIF.
std::optional<Resolution> resolution_in(const jpeg_decompress_struct& codec) {
    constexpr std::string_view kName("Exif\0\0", 6);
    for (jpeg_saved_marker_ptr segment = codec.marker_list; segment != nullptr; segment = segment->next) {
        const std::span<const uint8_t> data(segment->data, segment->data_length);
        if (segment->marker == JPEG_APP0 + 1 && ByteReader(data).starts_with(0, kName)) {
            const auto found = ExifResolution(data.subspan(kName.size())).find();
            return found ? found : jfif_resolution(codec).value_or(kExifResolution);
        }
    }
    return jfif_resolution(codec);
}

}  // namespace

RowsHeader rows_header_of(JpegInput& input) {
    const jpeg_decompress_struct& codec = *input.codec();
    RowsHeader header;
    header.form.color = color_of(codec);
    header.width = static_cast<int32_t>(codec.output_width);
    header.height = static_cast<int32_t>(codec.output_height);
    header.resolution = resolution_in(codec);
    header.profile = profile_in(input);
    return header;
}

}  // namespace zelmor::imagework
