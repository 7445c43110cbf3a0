// Rows and pictures; see rows_image.h.
#include "runtime/native/imagework/vips/rows_image.h"

#include <algorithm>
#include <cassert>
#include <vector>

using vips::VImage;

namespace zelmor::imagework {
namespace {

// Enough for a call of a decoder to be worth it, and little enough to stay in the processor's cache.
constexpr size_t kBlock = 256 * 1024;

VipsBandFormat band_format(SampleType sample) {
    switch (storage_of(sample)) {
        case Storage::kByte:
            return VIPS_FORMAT_UCHAR;
        case Storage::kWord:
            return VIPS_FORMAT_USHORT;
        case Storage::kLong:
            return VIPS_FORMAT_UINT;
        case Storage::kFloat:
            return VIPS_FORMAT_FLOAT;
        case Storage::kDouble:
            break;
    }
    return VIPS_FORMAT_DOUBLE;
}

VipsInterpretation interpretation_of(const PixelForm& form) {
    const Storage storage = storage_of(form.sample);
    switch (form.color) {
        case ColorModel::kCmyk:
            return VIPS_INTERPRETATION_CMYK;
        case ColorModel::kLab:
            return VIPS_INTERPRETATION_LAB;
        case ColorModel::kRgb:
            return storage == Storage::kByte   ? VIPS_INTERPRETATION_sRGB
                   : storage == Storage::kWord ? VIPS_INTERPRETATION_RGB16
                                               : VIPS_INTERPRETATION_MULTIBAND;
        default:
            return storage == Storage::kByte   ? VIPS_INTERPRETATION_B_W
                   : storage == Storage::kWord ? VIPS_INTERPRETATION_GREY16
                                               : VIPS_INTERPRETATION_MULTIBAND;
    }
}

// Takes the header's fields over and the memory for the pixels.
VImage prepared(VipsImage* image, const PixelForm& form, int32_t width, int32_t height) {
    image->Xsize = width;
    image->Ysize = height;
    image->Bands = form.bands();
    image->BandFmt = band_format(form.sample);
    image->Type = interpretation_of(form);
    image->Coding = VIPS_CODING_NONE;
    VImage owner(image);
    if (vips_image_write_prepare(image) != 0) {
        throw vips::VError();
    }
    return owner;
}

int32_t rows_in_block(size_t row_size) {
    return static_cast<int32_t>(std::max<size_t>(1, kBlock / std::max<size_t>(1, row_size)));
}

}  // namespace

PixelForm form_of_image(const VImage& image) {
    PixelForm form;
    switch (image.format()) {
        case VIPS_FORMAT_USHORT:
            form.sample = SampleType::kUint16;
            break;
        case VIPS_FORMAT_UINT:
            form.sample = SampleType::kUint32;
            break;
        case VIPS_FORMAT_FLOAT:
            form.sample = SampleType::kFloat;
            break;
        case VIPS_FORMAT_DOUBLE:
            form.sample = SampleType::kDouble;
            break;
        default:
            assert(image.format() == VIPS_FORMAT_UCHAR);
            break;
    }
    form.bits = static_cast<int>(8 * sample_size(form.sample));
    form.alpha = has_alpha_band(image);
    if (image.interpretation() == VIPS_INTERPRETATION_CMYK && image.bands() >= 4) {
        form.color = ColorModel::kCmyk;
    } else if (image.interpretation() == VIPS_INTERPRETATION_LAB && image.bands() >= 3) {
        form.color = ColorModel::kLab;
    } else {
        form.color = is_gray_image(image) ? ColorModel::kGray : ColorModel::kRgb;
    }
    return form;
}

VImage blank_image(const PixelForm& form, int32_t width, int32_t height, const VImage& like) {
    VipsImage* image = vips_image_new_memory();
    if (vips_image_pipelinev(image, VIPS_DEMAND_STYLE_ANY, like.get_image(), nullptr) != 0) {
        g_object_unref(image);
        throw vips::VError();
    }
    return prepared(image, form, width, height);
}

VImage blank_image(const PixelForm& form, int32_t width, int32_t height, Resolution resolution) {
    VipsImage* image = vips_image_new_memory();
    vips_image_init_fields(image, width, height, form.bands(), band_format(form.sample), VIPS_CODING_NONE,
                           interpretation_of(form), dots_per_millimeter(resolution.horizontal),
                           dots_per_millimeter(resolution.vertical));
    return prepared(image, form, width, height);
}

std::unique_ptr<VipsPicture> read_picture(RowReader& reader, const DecodeOptions& options, int frame_count) {
    const RowsHeader& header = reader.header();
    const size_t row_size = header.form.pixel_size() * static_cast<size_t>(header.width);
    VImage image = guarded(Failure::kInternal, "there is no memory for the pixels", [&] {
        return blank_image(header.form, header.width, header.height, header.resolution.value_or(kDefaultResolution));
    });
    // Rows that were read before an error hold, so that a recovery asks for each row by itself.
    const int32_t step = options.recovery == Recovery::kNone ? rows_in_block(row_size) : 1;
    int32_t done = 0;
    try {
        while (done < header.height) {
            const int32_t count = std::min(step, header.height - done);
            const std::span<uint8_t> rows(row_of(image, done), row_size * static_cast<size_t>(count));
            reader.read(count, rows);
            turn_signs(header.form, rows);
            done += count;
        }
    } catch (const PictureError& error) {
        if (options.recovery == Recovery::kNone || error.kind() != Failure::kDamaged || done == 0) {
            throw;
        }
    }
    if (done == header.height) {
        return std::make_unique<VipsPicture>(image, header, frame_count);
    }
    auto picture = guarded(Failure::kInternal, "the intact rows could not be taken", [&] {
        return std::make_unique<VipsPicture>(image.extract_area(0, 0, header.width, done), header, frame_count);
    });
    const Argb background = picture->has_alpha() ? options.background : options.background | kBlack;
    picture->place(header.width, header.height, 0, 0, background);
    return picture;
}

void write_rows(const VipsPicture& picture, RowWriter& writer) {
    const PixelForm& form = picture.form();
    const VImage& image = picture.image();
    const size_t row_size = form.pixel_size() * static_cast<size_t>(picture.width());
    const int32_t step = rows_in_block(row_size);
    std::vector<uint8_t> turned;
    for (int32_t done = 0; done < picture.height();) {
        const int32_t count = std::min(step, picture.height() - done);
        std::span<const uint8_t> rows(row_of(image, done), row_size * static_cast<size_t>(count));
        if (has_signs(form)) {
            turned.assign(rows.begin(), rows.end());
            turn_signs(form, turned);
            rows = turned;
        }
        writer.write(count, rows);
        done += count;
    }
}

}  // namespace zelmor::imagework
