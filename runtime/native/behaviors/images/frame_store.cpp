// Slots of frames; see frame_store.h.
#include "runtime/native/behaviors/images/frame_store.h"

#include <algorithm>
#include <cassert>
#include <numeric>

#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/core/references.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

namespace {

const TypeInfo& store_type() {
    static const TypeInfo& type = intern_type("Zelmor.Imaging.FrameStore");
    return type;
}

}  // namespace

FrameStore::FrameStore(ImageObject& image)
    : ManagedObject(store_type()), m_image(&image), m_slots(std::make_shared<FrameSlots>()) {
    track();
}

FrameStore::FrameStore(ImageObject& image, const TypeInfo& frame_type, imagework::SharedFrames source,
                       const imagework::DecodeOptions& options)
    : ManagedObject(store_type()),
      m_image(&image),
      m_frame_type(&frame_type),
      m_source(std::move(source)),
      m_options(options),
      m_objects(m_source->count()),
      m_slots(std::make_shared<FrameSlots>(m_source->count())) {
    std::iota(m_slots->begin(), m_slots->end(), FrameSlot{0});
    track();
}

Ref<ImageObject> FrameStore::in_slot(FrameSlot slot) {
    assert(slot < m_objects.size());
    if (!m_objects[slot]) {
        // Frames that were put in or taken out have their objects: this one is still as it is in the file.
        assert(m_frame_type != nullptr);
        Ref<ImageObject> frame;
        if (m_frames_disposed) {
            frame = make_ref<ImageObject>(*m_frame_type, nullptr, imagework::FileFacts{});
            frame->dispose();
        } else {
            frame = ImageObject::frame_of_file(*m_frame_type, m_source, slot, m_options);
            frame->set_container(m_image);
        }
        m_objects[slot] = std::move(frame);
    }
    return m_objects[slot];
}

size_t FrameStore::extensions_in_file(size_t index) const {
    assert(index < size() && made_frame(index) == nullptr && m_source != nullptr);
    return m_source->header((*m_slots)[index]).blocks_before.size();
}

// The list that arrays have stays as it is.
FrameSlots& FrameStore::changed_slots() {
    if (m_slots.use_count() > 1) {
        m_lists.push_back(m_slots);
        m_slots = std::make_shared<FrameSlots>(*m_slots);
    }
    return *m_slots;
}

bool FrameStore::is_listed(FrameSlot slot) const {
    return std::any_of(m_lists.begin(), m_lists.end(), [&](const auto& each) {
        const auto list = each.lock();
        return list != nullptr && std::find(list->begin(), list->end(), slot) != list->end();
    });
}

void FrameStore::insert(size_t index, Ref<ImageObject> frame) {
    assert(index <= size() && m_image != nullptr);
    FrameSlots& slots = changed_slots();
    FrameSlot slot = 0;
    if (m_free.empty()) {
        slot = static_cast<FrameSlot>(m_objects.size());
        m_objects.emplace_back();
    } else {
        slot = m_free.back();
        m_free.pop_back();
    }
    frame->set_container(m_image);
    m_objects[slot] = std::move(frame);
    slots.insert(slots.begin() + static_cast<std::ptrdiff_t>(index), slot);
}

Ref<ImageObject> FrameStore::take(size_t index) {
    assert(index < size());
    Ref<ImageObject> taken = frame(index);
    taken->set_container(nullptr);
    FrameSlots& slots = changed_slots();
    const FrameSlot slot = slots[index];
    slots.erase(slots.begin() + static_cast<std::ptrdiff_t>(index));
    if (is_listed(slot)) {
        m_taken.push_back(slot);
    } else {
        m_objects[slot] = nullptr;
        m_free.push_back(slot);
    }
    return taken;
}

std::optional<size_t> FrameStore::index_of(const ImageObject& frame) const {
    for (size_t i = 0; i < m_slots->size(); ++i) {
        if (made_frame(i) == &frame) {
            return i;
        }
    }
    return std::nullopt;
}

void FrameStore::note_released_list() {
    if (std::erase_if(m_lists, [](const auto& list) { return list.expired(); }) == 0 || m_taken.empty()) {
        return;
    }
    std::vector<bool> listed(m_objects.size());
    for (const auto& each : m_lists) {
        for (const FrameSlot slot : *each.lock()) {
            if (slot < listed.size()) {
                listed[slot] = true;
            }
        }
    }
    std::vector<Ref<ImageObject>> released;  // end when the store is whole again
    std::erase_if(m_taken, [&](FrameSlot slot) {
        if (listed[slot]) {
            return false;
        }
        released.push_back(std::move(m_objects[slot]));
        m_free.push_back(slot);
        return true;
    });
}

void FrameStore::leave_image() {
    for (const FrameSlot slot : *m_slots) {
        if (m_objects[slot]) {
            m_objects[slot]->set_container(nullptr);
        }
    }
    m_image = nullptr;
}

void FrameStore::dispose_frames() {
    const FrameSlots slots = *m_slots;
    for (const FrameSlot slot : slots) {
        if (const Ref<ImageObject> frame = m_objects[slot]) {
            frame->dispose();
        }
    }
    m_frames_disposed = true;
    m_source.reset();
}

void FrameStore::references(ReferenceVisitor& visitor) {
    if (visitor.takes()) {
        leave_image();
    }
    visitor(m_objects);
}

}  // namespace zelmor::embed
