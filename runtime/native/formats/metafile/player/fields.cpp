// Reading the properties of records.
#include "runtime/native/formats/metafile/player/fields.h"

#include <cstring>
#include <string_view>

#include "runtime/native/behaviors/drawing/arguments.h"
#include "runtime/native/behaviors/drawing/matrix.h"
#include "runtime/native/core/values.h"
#include "runtime/native/formats/metafile/record_forms.h"
#include "runtime/native/formats/metafile/record_walk.h"

namespace zelmor::embed::metafile {

int64_t whole_in(const ManagedObject& object, const char* name) {
    return number_of(property(object, name));
}

double number_in(const ManagedObject& object, const char* name) {
    const Value& value = property(object, name);
    const auto* number = std::get_if<double>(&value);
    return number != nullptr ? *number : static_cast<double>(number_of(value));
}

Argb color_in(const ManagedObject& object, const char* name) {
    return static_cast<Argb>(whole_in(object, name));
}

PointD point_in(const ManagedObject& object, const char* name) {
    const auto held = object_in(object, name);
    if (!held) {
        return {};
    }
    if (&held->type() == &struct_type<SizeValue>()) {
        const auto& size = unbox<SizeValue>(*held);
        return {double(size.width), double(size.height)};
    }
    return point_of(*held);
}

RectD rect_in(const ManagedObject& object, const char* name) {
    const auto held = object_in(object, name);
    return held ? rect_of_object(*held) : RectD();
}

Affine map_in(const ManagedObject& object, const char* name) {
    const auto held = object_in(object, name);
    return held ? cast_object<MatrixObject>(*held).map : Affine();
}

std::u16string text_in(const ManagedObject& object, const char* name) {
    const Value& value = property(object, name);
    const auto* text = std::get_if<std::u16string>(&value);
    return text != nullptr ? *text : std::u16string();
}

FileBytes bytes_in(const ManagedObject& object, const char* name) {
    const Value& value = property(object, name);
    const auto* data = std::get_if<Bytes>(&value);
    if (data == nullptr) {
        return {};
    }
    const auto* first = reinterpret_cast<const uint8_t*>(data->data());
    return {first, first + data->size()};
}

Ref<ManagedObject> object_in(const ManagedObject& object, const char* name) {
    return property_object(object, name);
}

std::vector<PointD> points_in(const ManagedObject& object, const char* name) {
    return points_of(property(object, name));
}

std::vector<RectD> rects_in(const ManagedObject& object, const char* name) {
    std::vector<RectD> rects;
    for (const auto& each : objects_in(object, name)) {
        rects.push_back(rect_of_object(*each));
    }
    return rects;
}

std::vector<double> numbers_in(const ManagedObject& object, const char* name) {
    return numbers_of(property(object, name));
}

std::vector<Argb> colors_in(const ManagedObject& object, const char* name) {
    std::vector<Argb> colors;
    for (const Value& value : elements_of(property(object, name))) {
        colors.push_back(static_cast<Argb>(number_of(value)));
    }
    return colors;
}

std::vector<Ref<ManagedObject>> objects_in(const ManagedObject& object, const char* name) {
    std::vector<Ref<ManagedObject>> objects;
    for (const Value& value : elements_of(property(object, name))) {
        if (const auto* held = std::get_if<Ref<ManagedObject>>(&value); held != nullptr && *held) {
            objects.push_back(*held);
        }
    }
    return objects;
}

void scale_extent(PointD& extent, const ManagedObject& record) {
    const double x = number_in(record, "XDenom"), y = number_in(record, "YDenom");
    extent.x *= x != 0 ? number_in(record, "XNum") / x : 1;
    extent.y *= y != 0 ? number_in(record, "YNum") / y : 1;
}

FileBytes kept_in(const ManagedObject& object, const char* name) {
    const auto* keeper = dynamic_cast<const MetafileObject*>(&object);
    if (keeper == nullptr) {
        return {};
    }
    const std::string_view type = object.type().full_name;
    for (const RecordBlock& block : record_blocks()) {
        for (int32_t i = block.first; type == block.type && i < block.first + block.count; ++i) {
            const RecordItem& item = record_items()[static_cast<size_t>(i)];
            if (item.path < 0 || std::strcmp(record_paths()[static_cast<size_t>(item.path)].first, name) != 0) {
                continue;
            }
            if (const Kept* kept = keeper->find_kept(i, KeptAs::kField)) {
                return kept->bytes;
            }
        }
    }
    return {};
}

}  // namespace zelmor::embed::metafile
