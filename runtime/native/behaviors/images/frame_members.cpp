// Members of frames, whatever their format; see frame_members.h.
#include "runtime/native/behaviors/images/frame_members.h"

#include "runtime/native/behaviors/images/frames.h"
#include "runtime/native/behaviors/images/page_selection.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/marshal.h"

namespace zelmor::embed {

using imagework::FileFacts;
using imagework::Format;

FileFacts facts_of_picture(Format format, const imagework::Picture& picture, int bits) {
    FileFacts facts;
    facts.format = format;
    facts.readable = true;
    facts.width = picture.width();
    facts.height = picture.height();
    facts.has_alpha = picture.has_alpha();
    facts.bits_per_pixel = bits;
    return facts;
}

namespace {

void require_not_negative(int32_t value) {
    if (value < 0) {
        throw_out_of_range("value", "The value " + std::to_string(value) + " is negative.");
    }
}

}  // namespace

int32_t frame_duration(ImageObject& self) {
    self.require_live();
    return self.duration;
}
void set_frame_duration(ImageObject& self, int32_t value) {
    self.require_live();
    require_not_negative(value);
    self.duration = value;
}
int32_t frame_left(ImageObject& self) {
    self.require_live();
    return self.left;
}
int32_t frame_top(ImageObject& self) {
    self.require_live();
    return self.top;
}
void set_frame_left(ImageObject& self, int32_t value) {
    self.require_live();
    require_not_negative(value);
    self.left = value;
}
void set_frame_top(ImageObject& self, int32_t value) {
    self.require_live();
    require_not_negative(value);
    self.top = value;
}
// A frame stays until the next one is laid over it.
api::AnimationDisposalMethods frame_disposal_method(ImageObject& self) {
    self.require_live();
    return api::AnimationDisposalMethods::kPreserve;
}

// The canvas at the time when the frame is shown, as an image of its own.
Ref<ImageObject> full_frame(ImageObject& self) {
    std::unique_ptr<imagework::Picture> picture = self.picture().copy();
    // A frame of a file has the earlier ones in it.
    if (ImageObject* image = self.container(); image != nullptr && !self.origin().source) {
        std::vector<Page> pages = pages_of(*image, every_page(*image));
        const size_t index = image->index_of(self).value_or(0);
        if (pages.size() > 1) {
            fit_to_canvas(pages);
            picture = std::move(pages[index].picture);
        }
    }
    FileFacts facts = self.facts();
    return make_ref<ImageObject>(require_type(api::RasterCachedImage::kType.name), std::move(picture), facts);
}

Ref<ImageObject> frame_argument(const VariantArg* block, const TypeName& interface) {
    const Ref<ManagedObject> object = read_object(block, require_type(interface.name));
    if (!object) {
        throw_argument_null("block");
    }
    auto* frame = dynamic_cast<ImageObject*>(object.get());
    if (frame == nullptr) {
        throw_not_supported(std::string("A ") + object->type().name + " in an image, which holds frames,");
    }
    frame->require_live();
    return Ref<ImageObject>(frame);
}
void insert_block_frame(ImageObject& self, int32_t index, const Ref<ImageObject>& frame) {
    self.insert_frame(checked_index(self, index, "index", true), frame);
}
void remove_block_frame(ImageObject& self, const ImageObject& frame) {
    const auto index = self.index_of(frame);
    if (!index) {
        throw_argument("The block is not one of the image. (Parameter 'block')");
    }
    self.take_frame(*index);
}
void clear_frames(ImageObject& self) {
    while (!self.frames().empty()) {
        self.take_frame(self.frames().size() - 1);
    }
}

Ref<ImageObject> active_frame_of(ImageObject& self) {
    const FrameRange all = self.frames();
    return self.active_index() < all.size() ? all[self.active_index()] : nullptr;
}
void set_active_frame_of(ImageObject& self, ImageObject* value) {
    const auto index = self.index_of(required_image(value, "value"));
    if (!index) {
        throw_argument("The frame is not one of the image. (Parameter 'value')");
    }
    self.set_active_index(*index);
}

}  // namespace zelmor::embed
