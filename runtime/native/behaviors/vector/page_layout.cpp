// The layout of a page by VectorRasterizationOptions; see page_layout.h.
//
// The page is as large as the options say; where they say nothing, as large as the drawing with its borders. Positions
// are taken from the document (its page is fitted between the borders), from the options (the drawing keeps its own
// size), or from what is to be seen of the drawing (its ink is fitted). Fitting keeps the proportions.
#include "runtime/native/behaviors/vector/page_layout.h"

#include <algorithm>
#include <cmath>

#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/images/option_checks.h"
#include "runtime/native/behaviors/images/option_rules.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/drawwork/loader.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::embed {

using api::SmoothingMode;
using api::TextRenderingHint;
using api::ImageOptions::PositioningTypes;
using drawwork::Affine;
using drawwork::RectD;

namespace {

// A drawing without a shape to draw.
class EmptyDrawing final : public Drawing {
 public:
    RectD bounds() const override { return {}; }
    void draw(drawwork::Canvas&, const Affine&, const DrawSettings&) override {}
};

[[noreturn]] void throw_bad(const ManagedObject& options, const char* property, double value, const char* reason) {
    throw_out_of_range(property, "The value " + to_utf8(number_text(value)) + " of " + member_name(options, property) +
                                     " is not " + reason + ".");
}

double checked_length(const ManagedObject& options, const char* property, double value) {
    if (!std::isfinite(value) || value < 0) {
        throw_bad(options, property, value, "a length");
    }
    return value;
}
double length_of(const ManagedObject& options, const char* property) {
    return checked_length(options, property, property_double(options, property));
}

SizeFValue page_size(const ManagedObject& options) {
    const Ref<ManagedObject> size = property_object(options, "PageSize");
    return size ? unbox<SizeFValue>(*size) : SizeFValue{};
}

double scale_of(const ManagedObject& options, const char* property) {
    const double value = has_property(options, property) ? property_double(options, property) : 1;
    if (!std::isfinite(value) || value <= 0) {
        throw_bad(options, property, value, "a scale");
    }
    return value;
}

template <class E>
[[noreturn]] void throw_no_member(const ManagedObject& options, const char* property, E value) {
    throw_out_of_range(property, "The value " + std::to_string(number_of(value)) + " of " +
                                     member_name(options, property) + " is not one of its enumeration.");
}

bool is_smooth(const ManagedObject& options) {
    const auto mode = property_enum<SmoothingMode>(options, "SmoothingMode");
    switch (mode) {
        case SmoothingMode::kDefault:
        case SmoothingMode::kHighQuality:
        case SmoothingMode::kAntiAlias:
            return true;
        case SmoothingMode::kHighSpeed:
        case SmoothingMode::kNone:
            return false;
        default:
            throw_no_member(options, "SmoothingMode", mode);
    }
}

void take_text_hint(const ManagedObject& options, DrawSettings& settings) {
    const auto hint = property_enum<TextRenderingHint>(options, "TextRenderingHint");
    switch (hint) {
        case TextRenderingHint::kSystemDefault:
        case TextRenderingHint::kAntiAlias:
            return;
        case TextRenderingHint::kSingleBitPerPixelGridFit:
            settings.hinted = true;
            settings.smooth_text = false;
            return;
        case TextRenderingHint::kSingleBitPerPixel:
            settings.smooth_text = false;
            return;
        case TextRenderingHint::kAntiAliasGridFit:
        case TextRenderingHint::kClearTypeGridFit:  // in gray, as a picture does not know the screen that shows it
            settings.hinted = true;
            return;
        default:
            throw_no_member(options, "TextRenderingHint", hint);
    }
}

DrawSettings settings_of(const ManagedObject& options) {
    DrawSettings settings;
    settings.smooth = is_smooth(options);
    take_text_hint(options, settings);
    settings.color = color_property(options, "DrawColor");
    settings.options = Ref<ManagedObject>(const_cast<ManagedObject*>(&options));
    return settings;
}

PositioningTypes positioning_of(const ManagedObject& options) {
    const auto positioning = property_enum<PositioningTypes>(options, "Positioning");
    switch (positioning) {
        case PositioningTypes::kDefinedByDocument:
        case PositioningTypes::kDefinedByOptions:
        case PositioningTypes::kRelative:
            return positioning;
        default:
            throw_no_member(options, "Positioning", positioning);
    }
}

// Where something is seen on the page as it is.
RectD ink_of(const DrawnPage& page) {
    const auto canvas = drawing_backend().ink_canvas({0, 0, page.width, page.height});
    page.draw(*canvas);
    return canvas->ink();
}

// Gives the page its size, and the area of the drawing's page its place on it.
void fit(DrawnPage& page, const RectD& area, const ManagedObject& options, PositioningTypes positioning) {
    const double border_x = length_of(options, "BorderX");
    const double border_y = length_of(options, "BorderY");
    const double width = checked_length(options, "PageWidth", page_size(options).width);
    const double height = checked_length(options, "PageHeight", page_size(options).height);
    double across = scale_of(options, "ScaleX");
    double down = scale_of(options, "ScaleY");
    const double scaled_width = area.width * across;
    const double scaled_height = area.height * down;
    const bool has_area = scaled_width > 0 && scaled_height > 0;
    page.width = width > 0 ? width : scaled_width + 2 * border_x;
    page.height = height > 0 ? height : scaled_height + 2 * border_y;
    if (has_area && positioning != PositioningTypes::kDefinedByOptions) {
        // A side that is not given follows from the other one.
        if (width > 0 && !(height > 0)) {
            page.height = std::max(0.0, width - 2 * border_x) * scaled_height / scaled_width + 2 * border_y;
        } else if (height > 0 && !(width > 0)) {
            page.width = std::max(0.0, height - 2 * border_y) * scaled_width / scaled_height + 2 * border_x;
        }
    }
    const double room_x = page.width - 2 * border_x;
    const double room_y = page.height - 2 * border_y;
    if (!(room_x > 0) || !(room_y > 0)) {
        const bool too_narrow = !(room_x > 0) && border_x > 0;
        if (!too_narrow && !(border_y > 0)) {
            throw_invalid_operation("The image has no size, and " + member_name(options, "PageSize") + " gives none.");
        }
        throw_bad(options, too_narrow ? "BorderX" : "BorderY", too_narrow ? border_x : border_y,
                  "a border that leaves room on the page");
    }
    if (!has_area) {
        return;
    }
    if (positioning != PositioningTypes::kDefinedByOptions) {
        const double factor = std::min(room_x / scaled_width, room_y / scaled_height);
        across *= factor;
        down *= factor;
    }
    double left = border_x;
    double top = border_y;
    if (property_bool(options, "CenterDrawing")) {
        left += (room_x - area.width * across) / 2;
        top += (room_y - area.height * down) / 2;
    }
    page.placing = page.placing.then(Affine::translation(-area.x, -area.y))
                       .then(Affine::scaling(across, down))
                       .then(Affine::translation(left, top));
}

}  // namespace

DrawnPage laid_out(VectorImageObject& image, const ManagedObject* options) {
    image.require_live();
    DrawnPage page;
    page.source = Ref<ImageBase>(&image);
    page.drawing = image.drawing() != nullptr ? image.drawing() : std::make_shared<EmptyDrawing>();
    const SizeFValue size = image.size_f();
    page.width = size.width;
    page.height = size.height;
    page.placing = image.placing();
    if (options == nullptr) {
        if (property_bool(image, "HasBackgroundColor")) {
            page.background = color_property(image, "BackgroundColor");
        }
        return page;
    }
    require_effective_options(*options);
    page.settings = settings_of(*options);
    const PositioningTypes positioning = positioning_of(*options);
    RectD area{0, 0, page.width, page.height};
    if (positioning == PositioningTypes::kRelative) {
        const RectD ink = ink_of(page);
        area = ink.width > 0 && ink.height > 0 ? ink : area;
    }
    fit(page, area, *options, positioning);
    page.background = color_property(*options, "BackgroundColor");
    return page;
}

DrawnPage cut_to(DrawnPage page, const RectangleValue& area) {
    const bool inside = area.x >= 0 && area.y >= 0 && area.width > 0 && area.height > 0 &&
                        int64_t{area.x} + area.width <= static_cast<int64_t>(std::ceil(page.width)) &&
                        int64_t{area.y} + area.height <= static_cast<int64_t>(std::ceil(page.height));
    if (!inside) {
        throw imagework::PictureError(imagework::Failure::kArgument, "the rectangle lies outside of the page",
                                      "rectangle");
    }
    page.placing = page.placing.then(Affine::translation(-area.x, -area.y));
    page.width = area.width;
    page.height = area.height;
    return page;
}

namespace {

// Two ways to say the size of a page, of which one is stored.
float page_width(Record& self) {
    self.require_live();
    return page_size(self).width;
}
float page_height(Record& self) {
    self.require_live();
    return page_size(self).height;
}
void set_page_width(Record& self, float value) {
    set_property(self, "PageSize", box(SizeFValue{value, page_height(self)}));
}
void set_page_height(Record& self, float value) {
    set_property(self, "PageSize", box(SizeFValue{page_width(self), value}));
}

using OptionsApi = api::ImageOptions::VectorRasterizationOptions;

const BehaviorTable ZELMOR_UNNAMED({
    property<&page_width, &set_page_width, OptionsApi::property_PageWidth>(),
    property<&page_height, &set_page_height, OptionsApi::property_PageHeight>(),
});

}  // namespace

}  // namespace zelmor::embed
