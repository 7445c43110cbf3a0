// TIFF and BigTIFF in the API: their classes, and save options from and to the settings of a file.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.FileFormats.BigTiff.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/formats/tiff/tiff_settings.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

FormatEncoding settings_of(const ManagedObject& options) {
    return tiff_settings(options);
}

void fill_options(ManagedObject& options, const FileFacts& facts) {
    fill_tiff_options(options, facts.encoding->get<TiffEncoding>());
}

SampleType sample_type(int depth, TiffNumbers numbers) {
    if (numbers == TiffNumbers::kFloatingPoint) {
        return depth == 64 ? SampleType::kDouble : SampleType::kFloat;
    }
    const bool is_signed = numbers == TiffNumbers::kSigned;
    return depth == 32   ? (is_signed ? SampleType::kInt32 : SampleType::kUint32)
           : depth == 16 ? (is_signed ? SampleType::kInt16 : SampleType::kUint16)
                         : (is_signed ? SampleType::kInt8 : SampleType::kUint8);
}

NewPixels new_pixels(const FormatEncoding& settings) {
    const auto& tiff = settings.get<TiffEncoding>();
    const int depth = tiff.color == TiffColor::kBilevel ? 1 : tiff.bit_depth == 0 ? 8 : tiff.bit_depth;
    const auto pixels = [&](ColorModel color, bool alpha) {
        const bool is_plain_gray = color == ColorModel::kGray && !alpha;
        PixelForm form = pixel_form(color, alpha, is_plain_gray ? depth : std::max(8, depth));
        form.sample = sample_type(depth, tiff.numbers);
        return NewPixels{form, form.bits * form.bands()};
    };
    switch (tiff.color) {
        case TiffColor::kBilevel:
        case TiffColor::kGray:
            return pixels(ColorModel::kGray, false);
        case TiffColor::kGrayAlpha:
            return pixels(ColorModel::kGray, true);
        case TiffColor::kRgba:
            return pixels(ColorModel::kRgb, true);
        case TiffColor::kIndexed:
            return {pixel_form(ColorModel::kRgb, false), depth};
        case TiffColor::kCmyk:
            return pixels(ColorModel::kCmyk, false);
        case TiffColor::kCmyka:
            return pixels(ColorModel::kCmyk, true);
        case TiffColor::kLab:
            return pixels(ColorModel::kLab, false);
        case TiffColor::kAuto:
        case TiffColor::kRgb:
            break;
    }
    return pixels(ColorModel::kRgb, false);
}

std::string page_title(const FileFacts& facts) {
    const auto* tiff = settings_as<TiffEncoding>(facts);
    return tiff != nullptr ? tiff->page_name : std::string();
}

void drop_page_name(ImageObject& image) {
    if (auto* tiff = settings_as<TiffEncoding>(image.facts()); tiff != nullptr) {
        tiff->page_name.clear();
    }
}

void drop_page_names(ImageObject& image) {
    drop_page_name(image);
    ImageObject* whole = image.container();
    if (whole != nullptr && whole->index_of(image) == size_t{0}) {
        drop_page_name(*whole);  // which is saved in place of its only page
    }
    if (image.is_container()) {
        for (const Ref<ImageObject>& frame : image.frames()) {
            drop_page_name(*frame);
        }
    }
}

bool is_indexed(const FormatEncoding& settings) {
    const auto& tiff = settings.get<TiffEncoding>();
    return tiff.color == TiffColor::kIndexed && !tiff.of_file;
}

namespace classes = api::FileFormats;
namespace save_options = api::ImageOptions;

constexpr FormatClasses kClasses[] = {
    {FileFormat::kTiff, Format::kTiff, "Tiff", classes::Tiff::TiffImage::kType, save_options::TiffOptions::kType,
     &classes::Tiff::TiffFrame::kType, true},
    {FileFormat::kBigTiff, Format::kTiff, "BigTiff", classes::BigTiff::BigTiffImage::kType,
     save_options::BigTiffOptions::kType, &classes::Tiff::TiffFrame::kType, true},
};

}  // namespace

extern const FormatMembers kTiffMembers;
const FormatMembers kTiffMembers{
    .format = Format::kTiff,
    .classes = kClasses,
    .settings = &settings_of,
    .fill_options = &fill_options,
    .new_pixels = &new_pixels,
    .is_indexed = &is_indexed,
    .has_pages = true,
    .takes_any_pages = true,
    .page_title = &page_title,
    .drop_descriptions = &drop_page_names,
};

}  // namespace zelmor::embed
