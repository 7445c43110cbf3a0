// The ranges of numbers in options, as a table: a value outside is refused when the property is set.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Jpeg.h"
#include "generated/runtime/Zelmor.Imaging.ImageLoadOptions.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/option_checks.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/delegates/row_behavior.h"

namespace zelmor::embed {

namespace {

using namespace api::ImageOptions;
using api::ImageOptionsBase;
using api::LoadOptions;
using api::FileFormats::Jpeg::JFIFData;
using api::ImageLoadOptions::Jpeg2000LoadOptions;

struct Range {
    const PropertyName& property;
    int32_t least;
    int32_t most;
};
constexpr int32_t kMost = INT32_MAX;

constexpr Range kRanges[] = {
    {ImageOptionsBase::property_BufferSizeHint, 0, kMost},
    {LoadOptions::property_BufferSizeHint, 0, kMost},

    {ApngOptions::property_NumPlays, 0, kMost},
    {ApngOptions::property_DefaultFrameTime, 0, kMost},
    {BmpOptions::property_BitsPerPixel, 1, 32},
    {Jpeg2000LoadOptions::property_MaximumDecodingTime, 0, kMost},
    {Jpeg2000LoadOptions::property_MaximumDecodingTimeForTile, 0, kMost},
    {GifOptions::property_ColorResolution, 0, 7},
    {GifOptions::property_LoopsCount, 0, 65535},
    {GifOptions::property_PixelAspectRatio, 0, 255},
    {GifOptions::property_BackgroundColorIndex, 0, 255},
    {GifOptions::property_MaxDiff, 0, 255},
    {JpegOptions::property_Quality, 1, 100},
    {JpegOptions::property_BitsPerChannel, 2, 16},
    {JpegOptions::property_DefaultMemoryAllocationLimit, 0, kMost},
    {JpegOptions::property_JpegLsAllowedLossyError, 0, 255},
    {PngOptions::property_CompressionLevel, 0, 9},
    {TiffOptions::property_CompressedQuality, 1, 100},
    {TiffOptions::property_DefaultMemoryAllocationLimit, 0, kMost},
    {WebPOptions::property_AnimLoopCount, 0, 65535},

    {JFIFData::property_Version, 0, 65535},
    {JFIFData::property_XDensity, 1, 65535},
    {JFIFData::property_YDensity, 1, 65535},
};

[[noreturn]] void throw_not_between(const Record& options, const char* property, const std::string& value,
                                    const std::string& least, const std::string& most) {
    throw_out_of_range(property, "The value " + value + " of " + member_name(options, property) + " is not between " +
                                     least + " and " + most + ".");
}

void set_ranged(const Range& row, Record& self, int32_t value) {
    if (value < row.least || value > row.most) {
        throw_not_between(self, row.property.name, std::to_string(value), std::to_string(row.least),
                          std::to_string(row.most));
    }
    set_property(self, row.property.name, int64_t{value});
}
BehaviorRow behavior_of(const Range& row) {
    return row_behavior<&set_ranged>(row.property.setter, row);
}
const BehaviorTable ZELMOR_UNNAMED(each_row(kRanges, behavior_of));

void set_webp_quality(Record& self, float value) {
    if (!(value >= 0.0F && value <= 100.0F)) {
        throw_not_between(self, "Quality", to_utf8(number_text(value)), "0", "100");
    }
    set_property(self, "Quality", double{value});
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&set_webp_quality, WebPOptions::set_Quality>(),
});

}  // namespace

}  // namespace zelmor::embed
