// The arrays in which programs see the frames of an image, and the blocks of a GIF image: a frame becomes an object
// when its element is looked at.
//
// An array keeps showing the frames that the image had when it was asked for. Programs may assign to its elements; one
// that was changed is an ordinary array from then on.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FRAME_ARRAY_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FRAME_ARRAY_H

#include <memory>
#include <vector>

#include "runtime/native/behaviors/images/frame_store.h"
#include "runtime/native/collections/collection.h"

namespace zelmor::embed {

class FrameArray final : public ManagedList {
 public:
    // An element of the list is the slot of a frame, or, from kBlocks on, that much more than an index of `blocks`.
    static constexpr FrameSlot kBlocks = FrameSlot{1} << 31;
    FrameArray(const ElementType& element, Ref<FrameStore> store, std::shared_ptr<const FrameSlots> list,
               std::vector<Ref<ManagedObject>> blocks = {});
    ~FrameArray() override;

    size_t size() const override { return m_changed ? m_changed->size() : m_list->size(); }
    Value get(size_t index) const override;
    // Looks for a frame among the objects that there are: no other one can be equal.
    int64_t find(const Value& value, size_t first, size_t end) const override;
    void resize(size_t count) override { changed().resize(count); }
    Ref<ManagedObject> copy() const override;
    void references(ReferenceVisitor& visitor) override;

 protected:
    void store(size_t index, const Value& value) override { changed().set(index, value); }
    void store_new(size_t index, const Value& value) override { changed().insert(index, value); }
    void take_out(size_t first, size_t count) override { changed().erase(first, count); }
    void turn() override { changed().reverse(); }
    void order(bool descending) override { changed().sort(descending); }

 private:
    ValueList& changed();
    void release_list();

    Ref<FrameStore> m_store;
    std::shared_ptr<const FrameSlots> m_list;
    std::vector<Ref<ManagedObject>> m_blocks;
    Ref<ValueList> m_changed;  // in place of all of these
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FRAME_ARRAY_H
