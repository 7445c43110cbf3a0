// Brushes as the drawing backend paints with them; path gradients are in path_gradients.cpp, hatches in hatches.cpp.
#include "runtime/native/behaviors/drawing/paints.h"

#include <algorithm>
#include <cmath>

#include "generated/runtime/Zelmor.Imaging.Brushes.h"
#include "runtime/native/behaviors/drawing/image_attributes.h"
#include "runtime/native/behaviors/drawing/matrix.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

using api::WrapMode;
using drawwork::Extend;
using drawwork::Paint;
using drawwork::PixelArea;
using drawwork::Sampling;

namespace {

// ---- Linear gradients

double linear_light(double value) {
    return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
}
double display_value(double light) {
    return light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
}

// Colors between the stops are mixed by their amounts of light, in steps too small to be seen.
ColorStops gamma_corrected(const ColorStops& stops) {
    constexpr int kSteps = 256;
    ColorStops result;
    for (size_t i = 0; i + 1 < stops.size(); ++i) {
        for (int step = 0; step < kSteps; ++step) {
            const double t = static_cast<double>(step) / kSteps;
            const auto channel = [&](int shift) {
                const double a = linear_light((stops[i].color >> shift & 0xFF) / 255.0);
                const double b = linear_light((stops[i + 1].color >> shift & 0xFF) / 255.0);
                return static_cast<Argb>(std::lround(display_value(a + (b - a) * t) * 255)) << shift;
            };
            const Argb alpha = mixed(stops[i].color, stops[i + 1].color, t) & 0xFF000000;
            result.push_back(
                {stops[i].at + (stops[i + 1].at - stops[i].at) * t, alpha | channel(16) | channel(8) | channel(0)});
        }
    }
    if (!stops.empty()) {
        result.push_back(stops.back());
    }
    return result;
}

ColorStops linear_stops(const ManagedObject& brush) {
    if (const auto many = property_object(brush, "InterpolationColors")) {
        return stops_of(*many);
    }
    if (!has_property(brush, "Blend")) {
        throw_invalid_operation("The gradient has no colors: interpolation_colors is not set.");
    }
    const Argb from = argb_property(brush, "StartColor"), to = argb_property(brush, "EndColor");
    const auto blend = property_object(brush, "Blend");
    return blend ? blended_stops(*blend, from, to) : ColorStops{{0, from}, {1, to}};
}

Paint linear_paint(const ManagedObject& brush, const PaintPlace& place) {
    const RectD rect = rect_of_object(*property_object(brush, "Rectangle"));
    const double turn = property_double(brush, "Angle") * M_PI / 180;
    const bool scalable = property_bool(brush, "IsAngleScalable");
    const RectD over = scalable ? RectD{0, 0, 1, 1} : rect;
    const PointD direction{std::cos(turn), std::sin(turn)};
    // The gradient reaches as far to both sides as the corners do.
    const double half = (std::abs(over.width * direction.x) + std::abs(over.height * direction.y)) / 2;
    Paint paint;
    paint.stops = linear_stops(brush);
    if (property_bool(brush, "GammaCorrection")) {
        paint.stops = gamma_corrected(paint.stops);
    }
    if (half == 0 || paint.stops.size() < 2) {
        paint.color = paint.stops.empty() ? 0 : paint.stops.back().color;
        return paint;
    }
    paint.kind = Paint::Kind::kLinear;
    paint.from = over.center() - direction * half;
    paint.to = over.center() + direction * half;
    const auto wrap = property_enum<WrapMode>(brush, "WrapMode");
    paint.extend = wrap == WrapMode::kClamp  ? Extend::kPad
                   : wrap == WrapMode::kTile ? Extend::kRepeat
                                             : Extend::kReflect;
    const Affine frame = scalable ? Affine{rect.width, 0, 0, rect.height, rect.x, rect.y} : Affine();
    paint.placing = frame.then(transform_of(brush)).then(place.map);
    return paint;
}

// ---- Textures

Paint hatch_paint(const ManagedObject& brush) {
    const auto rows = hatch_rows(property_enum<api::HatchStyle>(brush, "HatchStyle"));
    const Argb front = argb_property(brush, "ForegroundColor"), back = argb_property(brush, "BackgroundColor");
    Paint paint;
    paint.kind = Paint::Kind::kTexture;
    paint.width = paint.height = 8;
    paint.sampling = Sampling::kNearest;
    paint.extend = Extend::kRepeat;
    for (const uint8_t row : rows) {
        for (int bit = 7; bit >= 0; --bit) {
            paint.pixels.push_back(row >> bit & 1 ? front : back);
        }
    }
    return paint;
}

Paint texture_paint(const ManagedObject& brush, const PaintPlace& place) {
    const auto object = property_object(brush, "Image");
    if (!object) {
        throw_argument_null("image");
    }
    const auto* image = dynamic_cast<ImageObject*>(object.get());
    if (image == nullptr) {
        throw_not_supported(std::string("A texture of a ") + object->type().full_name);
    }
    const RectD rect = rect_of_object(*property_object(brush, "ImageRectangle"));
    PixelArea part{0, 0, image->picture().width(), image->picture().height()};
    if (rect.width > 0 && rect.height > 0) {
        const double x1 = std::clamp<double>(std::round(rect.x), 0, part.width);
        const double y1 = std::clamp<double>(std::round(rect.y), 0, part.height);
        const double x2 = std::clamp<double>(std::round(rect.right()), x1, part.width);
        const double y2 = std::clamp<double>(std::round(rect.bottom()), y1, part.height);
        part = {int32_t(x1), int32_t(y1), int32_t(x2 - x1), int32_t(y2 - y1)};
    }
    if (part.width == 0 || part.height == 0) {
        throw_argument("The texture's rectangle is outside its image.");
    }
    const auto wrap = property_enum<WrapMode>(brush, "WrapMode");
    Paint paint = texture_of(*image, part, wrap);
    if (const auto held = property_object(brush, "ImageAttributes")) {
        cast_object<ImageAttributesObject>(*held).for_brushes().apply(paint.pixels);
    }
    add_mirrored(paint, flips_sideways(wrap), flips_upright(wrap));
    paint.placing = transform_of(brush).then(place.map);
    return paint;
}

}  // namespace

bool flips_sideways(WrapMode wrap) {
    return wrap == WrapMode::kTileFlipX || wrap == WrapMode::kTileFlipXy;
}
bool flips_upright(WrapMode wrap) {
    return wrap == WrapMode::kTileFlipY || wrap == WrapMode::kTileFlipXy;
}

void add_mirrored(Paint& paint, bool sideways, bool upright) {
    const auto width = static_cast<size_t>(paint.width);
    if (sideways) {
        std::vector<Argb> pixels;
        for (auto row = paint.pixels.begin(); row != paint.pixels.end(); row += paint.width) {
            pixels.insert(pixels.end(), row, row + paint.width);
            pixels.insert(pixels.end(), std::make_reverse_iterator(row + paint.width), std::make_reverse_iterator(row));
        }
        paint.pixels = std::move(pixels);
        paint.width *= 2;
    }
    if (upright) {
        const size_t line = sideways ? 2 * width : width;
        for (size_t y = static_cast<size_t>(paint.height); y-- > 0;) {
            const std::vector<Argb> row(paint.pixels.begin() + static_cast<ptrdiff_t>(y * line),
                                        paint.pixels.begin() + static_cast<ptrdiff_t>((y + 1) * line));
            paint.pixels.insert(paint.pixels.end(), row.begin(), row.end());
        }
        paint.height *= 2;
    }
}

Argb argb_property(const ManagedObject& object, const char* name) {
    return unbox<ColorValue>(*property_object(object, name)).argb;
}

Argb mixed(Argb from, Argb to, double part) {
    const auto channel = [&](int shift) {
        const double a = from >> shift & 0xFF, b = to >> shift & 0xFF;
        return static_cast<Argb>(std::lround(std::clamp(a + (b - a) * part, 0.0, 255.0))) << shift;
    };
    return channel(24) | channel(16) | channel(8) | channel(0);
}

Argb color_at(const ColorStops& stops, double position) {
    if (stops.empty()) {
        return 0;
    }
    if (position <= stops.front().at) {
        return stops.front().color;
    }
    for (size_t i = 1; i < stops.size(); ++i) {
        if (position > stops[i].at) {
            continue;
        }
        const double span = stops[i].at - stops[i - 1].at;
        return span > 0 ? mixed(stops[i - 1].color, stops[i].color, (position - stops[i - 1].at) / span)
                        : stops[i].color;
    }
    return stops.back().color;
}

ColorStops stops_of(const ManagedObject& blend) {
    const std::vector<double> positions = numbers_of(property(blend, "Positions"));
    const std::vector<Value> colors = elements_of(property(blend, "Colors"));
    if (colors.size() != positions.size()) {
        throw_argument("A blend has as many colors as positions.");
    }
    ColorStops stops;
    for (size_t i = 0; i < colors.size(); ++i) {
        const auto* color = std::get_if<Ref<ManagedObject>>(&colors[i]);
        const ManagedObject& held = required(color == nullptr ? nullptr : color->get(), "colors");
        stops.push_back({positions[i], unbox<ColorValue>(held).argb});
    }
    return stops;
}

ColorStops blended_stops(const ManagedObject& blend, Argb from, Argb to) {
    const std::vector<double> positions = numbers_of(property(blend, "Positions"));
    const std::vector<double> factors = numbers_of(property(blend, "Factors"));
    if (factors.size() != positions.size()) {
        throw_argument("A blend has as many factors as positions.");
    }
    if (factors.size() < 2) {
        return {{0, from}, {1, to}};
    }
    ColorStops stops;
    for (size_t i = 0; i < factors.size(); ++i) {
        stops.push_back({positions[i], mixed(from, to, factors[i])});
    }
    return stops;
}

Paint texture_of(const ImageObject& image, const PixelArea& part, WrapMode wrap_mode) {
    Paint paint;
    paint.kind = Paint::Kind::kTexture;
    paint.width = part.width;
    paint.height = part.height;
    paint.pixels.resize(static_cast<size_t>(part.width) * static_cast<size_t>(part.height));
    image.picture().read_argb({part.x, part.y, part.width, part.height}, paint.pixels);
    paint.extend = wrap_mode == WrapMode::kClamp ? Extend::kNone : Extend::kRepeat;
    return paint;
}

Paint solid_paint(const ColorValue& color, double opacity) {
    Paint paint;
    paint.color = color.argb;
    paint.opacity = opacity;
    return paint;
}

Paint paint_of(const ManagedObject* object, const PaintPlace& place) {
    const ManagedObject& brush = required(object, "brush");
    brush.require_live();
    const TypeInfo& type = brush.type();
    Paint paint;
    if (is_a(type, api::Brushes::SolidBrush::kType)) {
        paint.color = argb_property(brush, "Color");
    } else if (is_a(type, api::Brushes::HatchBrush::kType)) {
        paint = hatch_paint(brush);
    } else if (is_a(type, api::Brushes::TextureBrush::kType)) {
        paint = texture_paint(brush, place);
    } else if (is_a(type, api::Brushes::LinearGradientBrushBase::kType)) {
        paint = linear_paint(brush, place);
    } else if (is_a(type, api::Brushes::PathGradientBrushBase::kType)) {
        paint = path_gradient_paint(brush, place);
    } else {
        throw_not_supported(std::string("Painting with a ") + type.full_name);
    }
    paint.opacity = std::clamp(property_double(brush, "Opacity"), 0.0, 1.0);
    return paint;
}

}  // namespace zelmor::embed
