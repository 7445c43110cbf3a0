// The options that an image's file was saved with, as an object of the managed API.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/frames.h"
#include "runtime/native/behaviors/images/picture_failures.h"
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

// The options that fit the image best are those of its own file; there are no arguments that would change them.
Ref<ManagedObject> get_default_options(ImageObject& self, const VariantArg* args) {
    if (const auto list = read_list(args, variant_element()); list && list->size() > 0) {
        throw_not_supported("Image.GetDefaultOptions with arguments");
    }
    return original_options(self);
}

using ImageApi = api::Image;
using TiffFrameApi = api::FileFormats::Tiff::TiffFrame;

const BehaviorTable table({
    behavior<&original_options, TiffFrameApi::get_FrameOptions, ImageApi::call_000_GetOriginalOptions>(),
    behavior<&get_default_options, ImageApi::call_000_GetDefaultOptions>(),
});

}  // namespace

}  // namespace zelmor::embed
