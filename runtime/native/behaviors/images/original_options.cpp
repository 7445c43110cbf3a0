// The options that an image's file was saved with, as an object of the managed API.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/frames.h"
#include "runtime/native/behaviors/images/picture_failures.h"
#include "runtime/native/behaviors/vector/rasterization_options.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

using namespace imagework;

Ref<ManagedObject> original_options(ImageObject& self) {
    self.require_live();
    const FileFacts& facts = self.facts();
    const FormatClasses* classes = classes_of(file_format_of(facts));
    if (classes == nullptr) {
        throw_not_supported("Save options for an image of no file format");
    }
    if (classes->options.get() == nullptr) {
        throw_not_supported(std::string("Save options for an image of the format ") + format_name(facts.format));
    }
    Ref<ManagedObject> options = make_instance(classes->options.get()->name);
    const FormatMembers& members = *members_of(facts.format);
    if (facts.encoding) {
        members.fill_options(*options, facts);
    }
    if (!members.options_have_resolution) {
        return options;
    }
    const Resolution resolution = self.picture().resolution();
    Ref<ManagedObject> setting = make_instance(api::ResolutionSetting::kType.name);
    set_property(*setting, "HorizontalResolution", resolution.horizontal);
    set_property(*setting, "VerticalResolution", resolution.vertical);
    set_property(*options, "ResolutionSettings", setting);
    return options;
}

namespace {

Ref<ManagedObject> get_original_options(ImageBase& self) {
    self.require_live();
    if (auto* image = dynamic_cast<ImageObject*>(&self)) {
        return original_options(*image);
    }
    const FormatClasses* classes = classes_of(self.image_format());
    if (classes == nullptr || classes->options.get() == nullptr) {
        throw_not_supported(std::string("Save options for a ") + self.type().name);
    }
    return make_instance(classes->options.get()->name);
}

// The arguments of a drawing that has no pixels yet, which programs pass for images of any kind: the color behind it,
// its width and its height.
bool are_for_drawings(const ManagedList& args) {
    const auto is_number = [&](size_t index) {
        const Value value = args.get(index);
        return std::holds_alternative<int64_t>(value) || std::holds_alternative<double>(value);
    };
    const Value first = args.size() == 3 ? args.get(0) : Value();
    const auto* color = std::get_if<Ref<ManagedObject>>(&first);
    return color != nullptr && *color && &(*color)->type() == &struct_type<ColorValue>() && is_number(1) &&
           is_number(2);
}

// The options that fit an image of pixels best are those of its own file: it does not look at the arguments of a
// drawing. A vector image gets options that say how it becomes pixels.
Ref<ManagedObject> get_default_options(ImageBase& self, const VariantArg* args) {
    const Ref<ManagedList> list = read_list(args, variant_element());
    self.require_live();
    if (auto* vector = dynamic_cast<VectorImageObject*>(&self)) {
        return rasterization_options(*vector, list.get());
    }
    if (list && list->size() > 0 && !are_for_drawings(*list)) {
        throw_argument("The arguments have to be a background color, a width and a height. (Parameter 'args')");
    }
    return get_original_options(self);
}

using ImageApi = api::Image;
using TiffFrameApi = api::FileFormats::Tiff::TiffFrame;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&original_options, TiffFrameApi::get_FrameOptions>(),
    behavior<&get_original_options, ImageApi::call_000_GetOriginalOptions>(),
    behavior<&get_default_options, ImageApi::call_000_GetDefaultOptions>(),
});

}  // namespace

}  // namespace zelmor::embed
