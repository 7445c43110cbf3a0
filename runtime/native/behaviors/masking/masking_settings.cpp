// Reading masking options; see masking_settings.h.
#include "runtime/native/behaviors/masking/masking_settings.h"

#include <algorithm>
#include <cmath>

#include "runtime/native/behaviors/masking/parts.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

using api::Masking::Options::AutoMaskingArgs;
using api::Masking::Options::AutoMaskingGraphCutOptions;
using api::Masking::Options::ManualMaskingArgs;

constexpr int32_t kMostObjects = 255;

std::string text_of_place(PointValue point) {
    return "(" + std::to_string(point.x) + ", " + std::to_string(point.y) + ")";
}
std::string text_of_area(const RectangleValue& area) {
    return std::to_string(area.width) + " by " + std::to_string(area.height) + " at " + text_of_place({area.x, area.y});
}

RectangleValue intersection(const RectangleValue& a, const RectangleValue& b) {
    const int64_t left = std::max(a.x, b.x), top = std::max(a.y, b.y);
    const int64_t right = std::min(int64_t{a.x} + a.width, int64_t{b.x} + b.width);
    const int64_t bottom = std::min(int64_t{a.y} + a.height, int64_t{b.y} + b.height);
    if (right <= left || bottom <= top) {
        return {};
    }
    return {static_cast<int32_t>(left), static_cast<int32_t>(top), static_cast<int32_t>(right - left),
            static_cast<int32_t>(bottom - top)};
}

// A rectangle of the image as one of the area; its parts outside do not count.
RectangleValue in_area(const RectangleValue& rectangle, const RectangleValue& area, const char* option) {
    RectangleValue inside = intersection(rectangle, area);
    if (inside.width == 0) {
        throw_out_of_range(option, "The rectangle of " + text_of_area(rectangle) +
                                       " has no pixel of the masking area, which is " + text_of_area(area) + ".");
    }
    inside.x -= area.x;
    inside.y -= area.y;
    return inside;
}

PointValue in_area(PointValue point, const RectangleValue& area, const char* option) {
    if (intersection({point.x, point.y, 1, 1}, area).width == 0) {
        throw_out_of_range(option, "The point " + text_of_place(point) + " is not inside the masking area, which is " +
                                       text_of_area(area) + ".");
    }
    return {point.x - area.x, point.y - area.y};
}

// The elements of a collection that a property holds; none of a property that is null.
std::vector<Value> elements_of(const Ref<ManagedObject>& collection) {
    std::vector<Value> elements;
    if (collection) {
        const auto& list = cast_object<ManagedList>(*collection);
        for (size_t i = 0; i < list.size(); ++i) {
            elements.push_back(list.get(i));
        }
    }
    return elements;
}
ManagedObject& object_in(const Value& value, const char* option) {
    const auto* object = std::get_if<Ref<ManagedObject>>(&value);
    if (object == nullptr || !*object) {
        throw_argument(std::string("An element is null. (Parameter '") + option + "')");
    }
    return **object;
}

std::vector<PointValue> points_of(const Ref<ManagedObject>& collection, const RectangleValue& area,
                                  const char* option) {
    std::vector<PointValue> points;
    for (const Value& item : elements_of(collection)) {
        points.push_back(in_area(unbox<PointValue>(object_in(item, option)), area, option));
    }
    return points;
}
std::vector<RectangleValue> rectangles_of(const Ref<ManagedObject>& collection, const RectangleValue& area,
                                          const char* option) {
    std::vector<RectangleValue> rectangles;
    for (const Value& item : elements_of(collection)) {
        rectangles.push_back(in_area(unbox<RectangleValue>(object_in(item, option)), area, option));
    }
    return rectangles;
}

MaskingHints hints_of(const Record& arguments, const RectangleValue& area) {
    MaskingHints hints;
    for (const Value& item : elements_of(property_object(arguments, "ObjectsPoints"))) {
        const auto* points = std::get_if<Ref<ManagedObject>>(&item);
        hints.points.push_back(points_of(points != nullptr ? *points : nullptr, area, "objects_points"));
    }
    hints.rectangles = rectangles_of(property_object(arguments, "ObjectsRectangles"), area, "objects_rectangles");
    hints.orphans = points_of(property_object(arguments, "OrphanedPoints"), area, "orphaned_points");
    return hints;
}

bool is_kind(const Record& object, const TypeName& type) {
    return is_assignable(require_type(type.name), object.type());
}

void read_automatic(const Record& arguments, MaskingSettings& settings) {
    settings.objects = static_cast<int32_t>(property_int(arguments, "NumberOfObjects"));
    settings.precision = property_double(arguments, "Precision");
    settings.iterations = static_cast<int32_t>(property_int(arguments, "MaxIterationNumber"));
    settings.hints.add(hints_of(arguments, settings.area));
}

// What an earlier run of these options has found, in the place of arguments.
MaskingHints default_hints(const Record& options, const RectangleValue& area) {
    MaskingHints hints;
    hints.points.push_back(
        points_of(property_object(options, "DefaultBackgroundStrokes"), area, "default_background_strokes"));
    hints.points.push_back(
        points_of(property_object(options, "DefaultForegroundStrokes"), area, "default_foreground_strokes"));
    hints.rectangles =
        rectangles_of(property_object(options, "DefaultObjectsRectangles"), area, "default_objects_rectangles");
    if (hints.points[0].empty() && hints.points[1].empty()) {
        hints.points.clear();
    }
    return hints;
}

void read_strokes(const Record& options, bool has_arguments, MaskingSettings& settings) {
    if (is_kind(options, AutoMaskingGraphCutOptions::kType)) {
        for (const Value& item : elements_of(property_object(options, "AssumedObjects"))) {
            const auto& assumed = cast_object<Record>(object_in(item, "assumed_objects"));
            const Ref<ManagedObject> bounds = property_object(assumed, "Bounds");
            settings.assumed.push_back({property_enum<DetectedObjectType>(assumed, "Type"),
                                        in_area(bounds ? unbox<RectangleValue>(*bounds) : RectangleValue{},
                                                settings.area, "assumed_objects")});
        }
        settings.publish_strokes = property_bool(options, "CalculateDefaultStrokes");
        if (!settings.publish_strokes && !has_arguments) {
            settings.hints = default_hints(options, settings.area);
        }
    }
    settings.find_strokes = settings.publish_strokes || settings.hints.empty();
}

}  // namespace

RectangleValue masking_area_of(const Record& options, SizeValue image) {
    const Ref<ManagedObject> boxed = property_object(options, "MaskingArea");
    const RectangleValue area = boxed ? unbox<RectangleValue>(*boxed) : RectangleValue{};
    if (area.width == 0 && area.height == 0) {
        return {0, 0, image.width, image.height};
    }
    if (intersection(area, {0, 0, image.width, image.height}) != area) {
        throw_out_of_range("masking_area", "The area of " + text_of_area(area) + " is not inside the image, which is " +
                                               std::to_string(image.width) + " by " + std::to_string(image.height) +
                                               ".");
    }
    return area;
}

int32_t feathering_of(const Record& options) {
    if (!has_property(options, "FeatheringRadius")) {
        return 0;
    }
    const int64_t radius = property_int(options, "FeatheringRadius");
    if (radius < 0 || radius > kMostFeathering) {
        throw_out_of_range("feathering_radius", "The value " + std::to_string(radius) + " is not between 0 and " +
                                                    std::to_string(kMostFeathering) + ".");
    }
    return static_cast<int32_t>(radius);
}

void require_fitting(const MaskingSettings& settings) {
    const bool two_sides = settings.method == SegmentationMethod::kGraphCut;
    if (settings.objects < 2 || settings.objects > kMostObjects) {
        throw_out_of_range("number_of_objects", "The value " + std::to_string(settings.objects) +
                                                    " is not between 2 and " + std::to_string(kMostObjects) +
                                                    ", the background included.");
    }
    if (two_sides && settings.objects != 2) {
        throw ManagedException(
            "NotSupportedException",
            "The value " + std::to_string(settings.objects) +
                " of AutoMaskingArgs.NumberOfObjects is not supported with the method GraphCut, which "
                "tells one side from the other: decompose gives each part of it a number.");
    }
    if (!(settings.precision >= 0) || std::isinf(settings.precision)) {
        throw_out_of_range("precision", "The precision has to be a number that is not negative.");
    }
    if (settings.iterations < 1) {
        throw_out_of_range("max_iteration_number",
                           "The value " + std::to_string(settings.iterations) + " is not positive.");
    }
    // A graph cut has one object, which may stand in several rectangles.
    const size_t named = two_sides ? std::max(settings.hints.points.size(), size_t{2}) : settings.hints.named_objects();
    if (named > static_cast<size_t>(settings.objects)) {
        throw_argument("Points or rectangles are given for " + std::to_string(named) +
                       " objects, the background included, and number_of_objects is " +
                       std::to_string(settings.objects) + ". (Parameter 'args')");
    }
    if (settings.method == SegmentationMethod::kWatershed && settings.hints.empty()) {
        throw_argument(
            "A watershed begins at objects_points or objects_rectangles, and there are none. "
            "(Parameter 'args')");
    }
}

void read_masking_arguments(const Record& arguments, MaskingSettings& settings) {
    if (settings.method == SegmentationMethod::kManual) {
        if (!is_kind(arguments, ManualMaskingArgs::kType)) {
            throw_argument("The method Manual takes ManualMaskingArgs, not AutoMaskingArgs. (Parameter 'args')");
        }
        const Ref<ManagedObject> mask = property_object(arguments, "Mask");
        if (!mask) {
            throw_argument("ManualMaskingArgs.Mask is null. (Parameter 'args')");
        }
        settings.mask = Ref<PathObject>(&cast_object<PathObject>(*mask));
        return;
    }
    if (!is_kind(arguments, AutoMaskingArgs::kType)) {
        throw_argument(
            "ManualMaskingArgs belong to the method Manual; the others take AutoMaskingArgs. "
            "(Parameter 'args')");
    }
    read_automatic(arguments, settings);
    require_fitting(settings);
}

MaskingSettings read_masking_settings(const Record& options, SizeValue image) {
    MaskingSettings settings;
    settings.method = property_enum<SegmentationMethod>(options, "Method");
    if (number_of(settings.method) < 0 || settings.method > SegmentationMethod::kGraphCut) {
        throw_out_of_range(
            "method", "The value " + std::to_string(number_of(settings.method)) + " is not one of SegmentationMethod.");
    }
    settings.area = masking_area_of(options, image);
    settings.decompose = property_bool(options, "Decompose");
    settings.feathering = feathering_of(options);
    const Ref<ManagedObject> arguments = property_object(options, "Args");
    if (arguments) {
        read_masking_arguments(cast_object<Record>(*arguments), settings);
    } else if (settings.method == SegmentationMethod::kManual) {
        throw_argument("The method Manual needs ManualMaskingArgs with a mask. (Parameter 'args')");
    }
    if (settings.method == SegmentationMethod::kGraphCut) {
        read_strokes(options, static_cast<bool>(arguments), settings);
    }
    require_fitting(settings);
    return settings;
}

}  // namespace zelmor::embed
