// Rows and pictures; see rows_image.h.
#include "runtime/native/imagework/vips/rows_image.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <memory>
#include <vector>

#include "runtime/native/core/large_pages.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

// Enough for a call of a decoder to be worth it, and little enough to stay in the processor's cache.
constexpr size_t kBlock = 256 * 1024;

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
    embed::expect_writes(row_of(owner, 0), VIPS_IMAGE_SIZEOF_IMAGE(image));
    return owner;
}

int32_t rows_in_block(size_t row_size) {
    return static_cast<int32_t>(std::max<size_t>(1, kBlock / std::max<size_t>(1, row_size)));
}

}  // namespace

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

namespace {
constexpr const char* kOwnMemory = "own-memory";
}

VImage zero_image(const PixelForm& form, int32_t width, int32_t height, Resolution resolution) {
    // Memory for large pictures comes from the system, which gives a page when it is first touched. Of the library's
    // own memory nobody knows whether it is fresh.
    const size_t size = form.pixel_size() * static_cast<size_t>(width) * static_cast<size_t>(height);
    std::unique_ptr<void, void (*)(void*)> memory(std::calloc(size, 1), &std::free);
    if (memory == nullptr) {
        throw PictureError(Failure::kInternal, "there is no memory for the pixels");
    }
    VipsImage* image =
        vips_image_new_from_memory(memory.get(), size, width, height, form.bands(), band_format(form.sample));
    if (image == nullptr) {
        throw vips::VError();
    }
    image->Type = interpretation_of(form);
    image->Xres = dots_per_millimeter(resolution.horizontal);
    image->Yres = dots_per_millimeter(resolution.vertical);
    g_object_set_data_full(G_OBJECT(image), kOwnMemory, memory.release(), &std::free);
    return VImage(image);
}

bool has_own_pixels(const VImage& image) {
    VipsImage* const found = image.get_image();
    return found->dtype == VIPS_IMAGE_SETBUF || g_object_get_data(G_OBJECT(found), kOwnMemory) != nullptr;
}

namespace {

// An image for the rows of a header. It gives its share of the memory back when nobody uses its pixels any more.
VImage image_for(const RowsHeader& header, const SharedBudget& budget) {
    auto share = std::make_unique<MemoryShare>(
        budget, header.form.pixel_size() * static_cast<size_t>(header.width) * static_cast<size_t>(header.height));
    VImage image = guarded(Failure::kInternal, "there is no memory for the pixels", [&] {
        return blank_image(header.form, header.width, header.height, header.resolution.value_or(kDefaultResolution));
    });
    g_object_set_data_full(G_OBJECT(image.get_image()), "decoded-memory", share.release(),
                           [](void* held) { delete static_cast<MemoryShare*>(held); });
    return image;
}

// Rows of an image in memory.
class ImageRows final : public RowReader {
 public:
    ImageRows(VImage image, RowsHeader header) : m_image(std::move(image)), m_header(std::move(header)) {}
    const RowsHeader& header() const override { return m_header; }
    void read(int32_t count, std::span<uint8_t> rows) override {
        assert(count <= m_header.height - m_next);
        std::copy_n(row_of(m_image, m_next), rows.size(), rows.begin());
        m_next += count;
    }

 private:
    VImage m_image;
    RowsHeader m_header;
    int32_t m_next = 0;
};

}  // namespace

VImage image_of_rows(RowReader& reader, const SharedBudget& budget) {
    const RowsHeader& header = reader.header();
    VImage image = image_for(header, budget);
    const size_t row_size = header.form.pixel_size() * static_cast<size_t>(header.width);
    const int32_t step = rows_in_block(row_size);
    for (int32_t done = 0; done < header.height;) {
        const int32_t count = std::min(step, header.height - done);
        reader.read(count, {row_of(image, done), row_size * static_cast<size_t>(count)});
        done += count;
    }
    return image;
}

std::unique_ptr<RowReader> rows_of_image(const VImage& image, const RowsHeader& header) {
    assert(image.width() == header.width && image.height() == header.height);
    return std::make_unique<ImageRows>(image, header);
}

std::unique_ptr<VipsPicture> read_picture(RowReader& reader, const DecodeOptions& options) {
    const RowsHeader& header = reader.header();
    const size_t row_size = header.form.pixel_size() * static_cast<size_t>(header.width);
    const VImage image = image_for(header, options.memory);
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
    const auto background = [&](const VipsPicture& picture) {
        return picture.has_alpha() ? options.background : options.background | kBlack;
    };
    if (done == header.height) {
        auto whole = std::make_unique<VipsPicture>(image, header);
        for (const Rect& area : reader.lost()) {
            whole->replace_area(area, background(*whole));
        }
        return whole;
    }
    auto picture = guarded(Failure::kInternal, "the intact rows could not be taken", [&] {
        return std::make_unique<VipsPicture>(image.extract_area(0, 0, header.width, done), header);
    });
    picture->place(header.width, header.height, 0, 0, background(*picture));
    return picture;
}

void write_rows(const VipsPicture& picture, RowWriter& writer) {
    const PixelForm& form = picture.form();
    const size_t row_size = form.pixel_size() * static_cast<size_t>(picture.width());
    const int32_t step = rows_in_block(row_size);
    const std::unique_ptr<RowReader> source = picture.open_rows();
    std::vector<uint8_t> rows;
    for (int32_t done = 0; done < picture.height();) {
        const int32_t count = std::min(step, picture.height() - done);
        rows.resize(row_size * static_cast<size_t>(count));
        source->read(count, rows);
        turn_signs(form, rows);
        writer.write(count, rows);
        done += count;
    }
}

}  // namespace zelmor::imagework
