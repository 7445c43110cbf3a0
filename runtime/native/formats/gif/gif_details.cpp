// Control blocks and extensions of GIF images; see gif_details.h.
//
// A frame keeps the extensions that stand before it, and the image those behind its last frame, so that frames can be
// added and removed by members that know nothing of extensions.
#include "runtime/native/formats/gif/gif_details.h"

#include <algorithm>
#include <cassert>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Gif.Blocks.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Gif.h"
#include "runtime/native/behaviors/formats/gif_blocks.h"
#include "runtime/native/behaviors/images/frame_array.h"
#include "runtime/native/behaviors/images/frames.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

using ControlBlockApi = api::FileFormats::Gif::Blocks::GifGraphicsControlBlock;

constexpr const char* kProperty = "ControlBlock";
constexpr int kMillisecondsPerDelay = 10;

int64_t delay_of(int32_t duration) {
    return std::min<int64_t>((int64_t{duration} + kMillisecondsPerDelay / 2) / kMillisecondsPerDelay, 0xFFFF);
}

int64_t flags_of(const imagework::GifControl& control) {
    return control.disposal << 2 | (control.user_input ? 2 : 0) | (control.transparent ? 1 : 0);
}

// What a control block says, taken over by a frame.
void take_control(ImageObject& frame, const ManagedObject& block) {
    const int64_t flags = property_int(block, "Flags");
    const int64_t delay = property_int(block, "DelayTime");
    if (delay != delay_of(frame.duration)) {  // a duration can be finer
        frame.duration = static_cast<int32_t>(delay * kMillisecondsPerDelay);
    }
    frame.gif.control.disposal = static_cast<int>(flags >> 2 & 7);
    frame.gif.control.user_input = (flags & 2) != 0;
    frame.gif.control.transparent.reset();
    if ((flags & 1) != 0) {
        frame.gif.control.transparent = static_cast<uint8_t>(property_int(block, "TransparentColorIndex"));
    }
}

// How many extensions stand before a frame.
size_t extension_count(const FrameStore& frames, size_t index) {
    const ImageObject* frame = frames.made_frame(index);
    return frame != nullptr ? frame->gif.blocks_before.size() : frames.extensions_in_file(index);
}

// The frame if extensions stand before it, otherwise null: it need not become an object for these.
Ref<ImageObject> extended_frame(FrameStore& frames, size_t index) {
    return extension_count(frames, index) != 0 ? frames.frame(index) : nullptr;
}

// Where a block stands: before a frame, or behind the last one.
struct Place {
    std::vector<GifExtension>* list;
    size_t at;
    size_t frame;  // whose list it is, or the number of frames
};

// The place of the block of that number; at a frame the end of its list.
Place place_of(ImageObject& image, size_t index) {
    FrameStore& frames = *image.frame_store();
    for (size_t i = 0; i < frames.size(); ++i) {
        const size_t count = extension_count(frames, i);
        if (index <= count) {
            return {&frames.frame(i)->gif.blocks_before, index, i};
        }
        index -= count + 1;
    }
    return {&image.gif.blocks_behind, std::min(index, image.gif.blocks_behind.size()), frames.size()};
}

void require_extension(const ManagedObject& block) {
    static const TypeInfo& base = require_type(api::FileFormats::Gif::GifBlock::kType.name);
    if (!is_assignable(base, block.type())) {
        throw_not_supported(std::string("A ") + block.type().name +
                            " in a GIF image, which holds frames and extensions,");
    }
}

// Whether an extension says how the pixels are shown, rather than what they are: a control block, a color profile, the
// number of loops.
bool belongs_to_pixels(const ManagedObject& block) {
    if (is_gif_block(block, GifLabel::kControl)) {
        return true;
    }
    if (!is_gif_block(block, GifLabel::kApplication)) {
        return false;
    }
    const auto name = property_string(block, "ApplicationIdentifier");
    return name == u"ICCRGBG1" || name == u"ANIMEXTS";
}

std::vector<GifExtension> taken(std::vector<GifExtension>& list, size_t count) {
    const auto end = list.begin() + static_cast<std::ptrdiff_t>(count);
    std::vector<GifExtension> result(std::make_move_iterator(list.begin()), std::make_move_iterator(end));
    list.erase(list.begin(), end);
    return result;
}

}  // namespace

Ref<ManagedObject> control_block_of(ImageObject& frame) {
    frame.require_live();
    if (Ref<ManagedObject> known = property_object(frame, kProperty)) {
        return known;
    }
    Ref<ManagedObject> block = make_instance(ControlBlockApi::kType.name);
    const imagework::GifControl& control = frame.gif.control;
    set_property(*block, "Flags", flags_of(control));
    set_property(*block, "DelayTime", delay_of(frame.duration));
    set_property(*block, "TransparentColorIndex", int64_t{control.transparent.value_or(0)});
    set_property(frame, kProperty, block);
    return block;
}

void take_control_block(ImageObject& frame) {
    if (!has_property(frame, kProperty)) {
        return;
    }
    if (const Ref<ManagedObject> block = property_object(frame, kProperty)) {
        take_control(frame, *block);
    }
    // One that was added by itself stands for the frame's own.
    for (const GifExtension& extension : frame.gif.blocks_before) {
        if (is_gif_block(*extension.block, GifLabel::kControl)) {
            take_control(frame, *extension.block);
        }
    }
}

void tell_control_block(ImageObject& frame) {
    if (!has_property(frame, kProperty)) {
        return;
    }
    if (const Ref<ManagedObject> block = property_object(frame, kProperty)) {
        set_property(*block, "DelayTime", delay_of(frame.duration));
    }
}

// Frames that have no extensions need not be objects for it.
Ref<ManagedObject> gif_block_array(ImageObject& image, const ElementType& element) {
    const Ref<FrameStore>& frames = image.frame_store();
    const auto slots = frames->slots();
    auto list = std::make_shared<FrameSlots>();
    std::vector<Ref<ManagedObject>> blocks;
    const auto add = [&](const std::vector<GifExtension>& extensions) {
        for (const GifExtension& extension : extensions) {
            list->push_back(FrameArray::kBlocks + static_cast<FrameSlot>(blocks.size()));
            blocks.push_back(extension.block);
        }
    };
    for (size_t i = 0; i < slots->size(); ++i) {
        if (const Ref<ImageObject> frame = extended_frame(*frames, i)) {
            add(frame->gif.blocks_before);
        }
        list->push_back((*slots)[i]);
    }
    add(image.gif.blocks_behind);
    return Ref<ManagedObject>(make_ref<FrameArray>(element, frames, std::move(list), std::move(blocks)));
}

size_t gif_block_count(ImageObject& image) {
    const Ref<FrameStore>& frames = image.frame_store();
    size_t count = frames->size() + image.gif.blocks_behind.size();
    for (size_t i = 0; i < frames->size(); ++i) {
        count += extension_count(*frames, i);
    }
    return count;
}

void insert_gif_block_at(ImageObject& image, size_t index, const Ref<ManagedObject>& block) {
    assert(block);
    const Place place = place_of(image, index);
    auto* frame = dynamic_cast<ImageObject*>(block.get());
    if (frame == nullptr) {
        require_extension(*block);
        place.list->insert(place.list->begin() + static_cast<std::ptrdiff_t>(place.at), GifExtension{block});
        return;
    }
    image.insert_frame(place.frame, Ref<ImageObject>(frame));
    frame->gif.blocks_before = taken(*place.list, place.at);
}

void remove_gif_block_of(ImageObject& image, const ManagedObject& block) {
    if (const auto* frame = dynamic_cast<const ImageObject*>(&block)) {
        const auto index = image.index_of(*frame);
        if (!index) {
            throw_argument("The block is not one of the image. (Parameter 'block')");
        }
        const Ref<ImageObject> removed = image.take_frame(*index);
        auto& next =
            *index < image.frames().size() ? image.frames()[*index]->gif.blocks_before : image.gif.blocks_behind;
        auto& left = removed->gif.blocks_before;
        next.insert(next.begin(), std::make_move_iterator(left.begin()), std::make_move_iterator(left.end()));
        left.clear();
        return;
    }
    const auto erase_from = [&](std::vector<GifExtension>& list) {
        return std::erase_if(list, [&](const GifExtension& each) { return each.block.get() == &block; }) != 0;
    };
    const FrameStore& frames = *image.frame_store();
    for (size_t i = 0; i < frames.size(); ++i) {
        // No program has an extension of a frame that is no object yet.
        if (ImageObject* frame = frames.made_frame(i); frame != nullptr && erase_from(frame->gif.blocks_before)) {
            return;
        }
    }
    if (!erase_from(image.gif.blocks_behind)) {
        throw_argument("The block is not one of the image. (Parameter 'block')");
    }
}

void clear_gif_blocks(ImageObject& image) {
    while (!image.frames().empty()) {
        image.take_frame(image.frames().size() - 1);
    }
    image.gif.blocks_behind.clear();
}

void drop_gif_descriptions(ImageObject& image) {
    const auto drop = [](std::vector<GifExtension>& list) {
        std::erase_if(list, [](const GifExtension& each) { return !belongs_to_pixels(*each.block); });
    };
    drop(image.gif.blocks_before);
    if (image.is_container()) {
        FrameStore& frames = *image.frame_store();
        for (size_t i = 0; i < frames.size(); ++i) {
            if (const Ref<ImageObject> frame = extended_frame(frames, i)) {
                drop(frame->gif.blocks_before);
            }
        }
        drop(image.gif.blocks_behind);
    }
}

void append_gif_frame(ImageObject& image, Ref<ImageObject> frame) {
    ImageObject& added = *frame;
    append_frame(image, std::move(frame));
    auto& behind = image.gif.blocks_behind;
    auto& before = added.gif.blocks_before;
    before.insert(before.begin(), std::make_move_iterator(behind.begin()), std::make_move_iterator(behind.end()));
    behind.clear();
}

void order_gif_blocks(ImageObject& image) {
    FrameStore& frames = *image.frame_store();
    std::vector<GifExtension> first;
    const auto take_applications = [&](std::vector<GifExtension>& list) {
        const auto middle = std::stable_partition(list.begin(), list.end(), [](const GifExtension& each) {
            return !is_gif_block(*each.block, GifLabel::kApplication);
        });
        first.insert(first.end(), std::make_move_iterator(middle), std::make_move_iterator(list.end()));
        list.erase(middle, list.end());
        std::stable_partition(list.begin(), list.end(),
                              [](const GifExtension& each) { return !is_gif_block(*each.block, GifLabel::kControl); });
    };
    for (size_t i = 0; i < frames.size(); ++i) {
        if (const Ref<ImageObject> frame = extended_frame(frames, i)) {
            take_applications(frame->gif.blocks_before);
        }
    }
    take_applications(image.gif.blocks_behind);
    auto& front = frames.size() == 0 ? image.gif.blocks_behind : frames.frame(0)->gif.blocks_before;
    front.insert(front.begin(), std::make_move_iterator(first.begin()), std::make_move_iterator(first.end()));
}

}  // namespace zelmor::embed
