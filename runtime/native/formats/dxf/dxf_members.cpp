// DXF in the API: saving with DxfOptions.
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/vector/drawn_page.h"
#include "runtime/native/core/defaults.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/drawwork/loader.h"
#include "runtime/native/formats/dxf/dxf_canvas.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

using api::ImageOptions::DxfOptions;

constexpr FormatClasses kClasses[] = {
    {FileFormat::kDxf, Format::kDxf, "Dxf", api::RasterCachedImage::kType, DxfOptions::kType, nullptr, false},
};

constexpr int32_t kUsualPoints = 20, kMostPoints = 1000;

constexpr DefaultValue kDefaults[] = {
    {DxfOptions::property_BezierPointCount, kUsualPoints},
};
const DefaultTable ZELMOR_UNNAMED(kDefaults);

void write_dxf(std::span<const DrawnPage> pages, const Record* options, const std::string&, ByteSink& out) {
    const DrawnPage& page = pages.front();
    DxfSettings settings{page.width, page.height, false, false, kUsualPoints};
    if (options != nullptr) {
        settings.text_as_lines = property_bool(*options, "TextAsLines");
        settings.convert_text_beziers = property_bool(*options, "ConvertTextBeziers");
        const int64_t points = property_int(*options, "BezierPointCount");
        if (points < 1 || points > kMostPoints) {
            throw_out_of_range("bezier_point_count", "The value " + std::to_string(points) + " is not in 1 to " +
                                                         std::to_string(kMostPoints) + ".");
        }
        settings.bezier_point_count = static_cast<int32_t>(points);
    }
    DxfCanvas canvas(drawing_backend(), settings);
    page.draw(canvas);
    const std::string text = canvas.finish();
    out.write({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
}

}  // namespace

extern const FormatMembers kDxfMembers;
const FormatMembers kDxfMembers{
    .format = Format::kDxf,
    .classes = kClasses,
    .write_drawing = &write_dxf,
};

}  // namespace zelmor::embed
