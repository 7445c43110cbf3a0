// The frames of an image: objects that are made when they are first looked at.
//
// A frame of a file is known by its number until a program asks for it; its object costs a few kilobytes, and a file
// may have tens of thousands of frames. The store numbers all frames of an image: each has a *slot*, in which its
// object stands once it was made, and keeps it as long as the image or an array that shows it has the frame. Lists of
// slots say which frames the image has, in its order, and which an array showed when it was made.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FRAME_STORE_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FRAME_STORE_H

#include <memory>
#include <optional>
#include <vector>

#include "runtime/native/core/object.h"
#include "runtime/native/imagework/backend.h"

namespace zelmor::embed {

class ImageObject;

using FrameSlot = uint32_t;
using FrameSlots = std::vector<FrameSlot>;

class FrameStore final : public ManagedObject {
 public:
    // Without a frame.
    explicit FrameStore(ImageObject& image);
    // With all frames of a file. They become objects of the type.
    FrameStore(ImageObject& image, const TypeInfo& frame_type, imagework::SharedFrames source,
               const imagework::DecodeOptions& options);

    // The frames of the image, by their order.
    size_t size() const { return m_slots->size(); }
    Ref<ImageObject> frame(size_t index) { return in_slot((*m_slots)[index]); }
    // Null where the object was not made yet, since nothing asked for it.
    ImageObject* made_frame(size_t index) const { return m_objects[(*m_slots)[index]].get(); }
    // Of such a frame: how many extensions stand before it in its GIF file.
    size_t extensions_in_file(size_t index) const;
    void insert(size_t index, Ref<ImageObject> frame);
    Ref<ImageObject> take(size_t index);
    std::optional<size_t> index_of(const ImageObject& frame) const;

    // For arrays that show frames. One of them tells the store when it has let go of its list.
    std::shared_ptr<const FrameSlots> slots() const { return m_slots; }
    void add_list(const std::shared_ptr<const FrameSlots>& slots) { m_lists.push_back(slots); }
    void note_released_list();
    Ref<ImageObject> in_slot(FrameSlot slot);
    ImageObject* made_in(FrameSlot slot) const { return m_objects[slot].get(); }

    // The image ends, and its frames live on in arrays; or it is disposed, and they with it.
    void leave_image();
    void dispose_frames();

    void references(ReferenceVisitor& visitor) override;

 private:
    FrameSlots& changed_slots();
    bool is_listed(FrameSlot slot) const;

    ImageObject* m_image;  // null once it is gone
    const TypeInfo* m_frame_type = nullptr;
    imagework::SharedFrames m_source;  // of the slots below its count
    imagework::DecodeOptions m_options;
    bool m_frames_disposed = false;
    std::vector<Ref<ImageObject>> m_objects;               // by slot
    std::vector<FrameSlot> m_free;                         // slots without a frame
    std::shared_ptr<FrameSlots> m_slots;                   // those of the image; arrays share the list until it changes
    std::vector<std::weak_ptr<const FrameSlots>> m_lists;  // other lists, which only arrays have
    std::vector<FrameSlot> m_taken;                        // out of the image, but in one of these
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FRAME_STORE_H
