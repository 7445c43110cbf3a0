// Reading the arguments of drawing members.
#include "runtime/native/behaviors/drawing/arguments.h"

#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

constexpr const char* kPoint = api::PointF::kType.name;
constexpr const char* kRectangle = api::RectangleF::kType.name;

const ManagedObject& object_in(const Value& value, const char* wanted) {
    const auto* object = std::get_if<Ref<ManagedObject>>(&value);
    if (object == nullptr) {
        throw_invalid_value_cast(value, wanted);
    }
    if (!*object) {
        throw_null_reference(std::string("None cannot become a value of ") + wanted);
    }
    return **object;
}

}  // namespace

PointD point_of(const ManagedObject& object) {
    if (const auto* box = dynamic_cast<const Box<PointFValue>*>(&object); box != nullptr) {
        return {box->value.x, box->value.y};
    }
    const auto& value = unbox<PointValue>(object);
    return {double(value.x), double(value.y)};
}

RectD rect_of_object(const ManagedObject& object) {
    if (const auto* box = dynamic_cast<const Box<RectangleFValue>*>(&object); box != nullptr) {
        return to_rect(box->value);
    }
    const auto& value = unbox<RectangleValue>(object);
    return {double(value.x), double(value.y), double(value.width), double(value.height)};
}

std::vector<Value> elements_of(const Value& value) {
    if (is_null(value)) {
        return {};
    }
    // A reference of its own: reading a Python list runs code that may set the property that the value was read from.
    const Value held = value;  // NOLINT(performance-unnecessary-copy-initialization)
    auto& object = const_cast<ManagedObject&>(object_in(held, "System.Collections.IEnumerable"));
    std::vector<Value> items;
    if (const auto* list = dynamic_cast<ManagedList*>(&object); list != nullptr) {
        items.reserve(list->size());
        for (size_t i = 0; i < list->size(); ++i) {
            items.push_back(list->get(i));
        }
        return items;
    }
    const auto enumerator = cast_object<ManagedEnumerable>(object).enumerator();
    for (Value item; enumerator->move_next(item);) {
        items.push_back(item);
    }
    return items;
}

std::vector<PointD> points_of(const Value& value) {
    std::vector<PointD> points;
    for (const Value& item : elements_of(value)) {
        points.push_back(point_of(object_in(item, kPoint)));
    }
    return points;
}

std::vector<double> numbers_of(const Value& value) {
    std::vector<double> numbers;
    for (const Value& item : elements_of(value)) {
        if (const auto* number = std::get_if<double>(&item); number != nullptr) {
            numbers.push_back(*number);
        } else if (const auto* integer = std::get_if<int64_t>(&item); integer != nullptr) {
            numbers.push_back(static_cast<double>(*integer));
        } else {
            throw_invalid_value_cast(item, "System.Single");
        }
    }
    return numbers;
}

Ref<ManagedList> object_array(const TypeName& element_type, std::vector<Value> items) {
    const TypeInfo& type = require_type(element_type.name);
    const Wire wire = type.kind == TypeKind::kStruct ? Wire::kStruct : Wire::kClass;
    return make_ref<ValueList>(ListShape::kArray, element_of(wire, element_type.name), std::move(items));
}

Ref<ManagedList> point_array(const std::vector<PointD>& points) {
    std::vector<Value> items;
    items.reserve(points.size());
    for (const PointD& point : points) {
        items.emplace_back(box(to_point_f(point)));
    }
    return object_array(api::PointF::kType, std::move(items));
}

bool is_a(const TypeInfo& type, const TypeName& base) {
    return is_assignable(require_type(base.name), type);
}

std::vector<Value> read_any_elements(const VariantArg* arg, const char* parameter) {
    if (arg->tag == kHandlePyObject || arg->tag == kHandlePySequence) {
        return read_elements(arg, variant_element(), parameter);
    }
    const Ref<ManagedObject> object = read_object(arg);
    if (!object) {
        throw_argument_null(parameter);
    }
    return elements_of(Value(object));
}

namespace detail {

PointArg read_point_arg(const VariantArg* arg) {
    return {point_of(object_in(Value(read_object(arg)), kPoint))};
}
RectArg read_rect_arg(const VariantArg* arg) {
    return {rect_of_object(object_in(Value(read_object(arg)), kRectangle))};
}
PointsArg read_points_arg(const VariantArg* arg) {
    PointsArg points;
    for (const Value& item : read_any_elements(arg, "points")) {
        points.items.push_back(point_of(object_in(item, kPoint)));
    }
    return points;
}
RectsArg read_rects_arg(const VariantArg* arg) {
    RectsArg rects;
    for (const Value& item : read_any_elements(arg, "rects")) {
        rects.items.push_back(rect_of_object(object_in(item, kRectangle)));
    }
    return rects;
}

}  // namespace detail

}  // namespace zelmor::embed
