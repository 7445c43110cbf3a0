// The default options of a vector image; see rasterization_options.h.
#include "runtime/native/behaviors/vector/rasterization_options.h"

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/vector/vector_classes.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

constexpr size_t kMost = 3;

float length_argument(const Value& value) {
    double length = 0;
    if (const auto* whole = std::get_if<int64_t>(&value)) {
        length = static_cast<double>(*whole);
    } else if (const auto* number = std::get_if<double>(&value)) {
        length = *number;
    }
    if (!(length > 0)) {
        throw_argument("The width and the height of a page are positive numbers. (Parameter 'args')");
    }
    return static_cast<float>(length);
}

Ref<ManagedObject> color_argument(const Value& value) {
    const auto* object = std::get_if<Ref<ManagedObject>>(&value);
    if (object == nullptr || !*object || (*object)->type().full_name != std::string_view(api::Color::kType.name)) {
        throw_argument("The first argument is the color behind the drawing. (Parameter 'args')");
    }
    return *object;
}

}  // namespace

Ref<ManagedObject> rasterization_options(VectorImageObject& image, const ManagedList* arguments) {
    Ref<ManagedObject> options = make_instance(rasterization_options_of(image.image_format()).name);
    SizeFValue size = image.size_f();
    if (property_bool(image, "HasBackgroundColor")) {
        set_property(*options, "BackgroundColor", property(image, "BackgroundColor"));
    }
    const size_t count = arguments != nullptr ? arguments->size() : 0;
    if (count > kMost) {
        throw_argument("There are more arguments than a color, a width and a height. (Parameter 'args')");
    }
    if (count > 0) {
        set_property(*options, "BackgroundColor", color_argument(arguments->get(0)));
    }
    if (count > 1) {
        size.width = length_argument(arguments->get(1));
    }
    if (count > 2) {
        size.height = length_argument(arguments->get(2));
    }
    set_property(*options, "PageSize", box(size));
    return options;
}

}  // namespace zelmor::embed
