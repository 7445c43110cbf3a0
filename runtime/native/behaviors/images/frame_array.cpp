// Arrays of frames; see frame_array.h.
#include "runtime/native/behaviors/images/frame_array.h"

#include <algorithm>
#include <cassert>

#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/core/references.h"

namespace zelmor::embed {

FrameArray::FrameArray(const ElementType& element, Ref<FrameStore> store, std::shared_ptr<const FrameSlots> list,
                       std::vector<Ref<ManagedObject>> blocks)
    : ManagedList(ListShape::kArray, element),
      m_store(std::move(store)),
      m_list(std::move(list)),
      m_blocks(std::move(blocks)) {
    assert(m_store && m_list != nullptr);
    if (m_list != m_store->slots()) {
        m_store->add_list(m_list);
    }
    track();
}

FrameArray::~FrameArray() {
    release_list();
}

void FrameArray::release_list() {
    m_list.reset();
    if (m_store) {
        m_store->note_released_list();
    }
}

Value FrameArray::get(size_t index) const {
    if (m_changed) {
        return m_changed->get(index);
    }
    assert(index < m_list->size());
    const FrameSlot slot = (*m_list)[index];
    return slot >= kBlocks ? m_blocks[slot - kBlocks] : Ref<ManagedObject>(m_store->in_slot(slot));
}

int64_t FrameArray::find(const Value& value, size_t first, size_t end) const {
    const auto* object = std::get_if<Ref<ManagedObject>>(&value);
    if (m_changed || object == nullptr || dynamic_cast<const ImageObject*>(object->get()) == nullptr) {
        return m_changed ? m_changed->find(value, first, end) : ManagedList::find(value, first, end);
    }
    assert(end <= m_list->size());
    for (size_t i = first; i < end; ++i) {
        const FrameSlot slot = (*m_list)[i];
        if (slot < kBlocks && m_store->made_in(slot) == object->get()) {
            return static_cast<int64_t>(i);
        }
    }
    return -1;
}

ValueList& FrameArray::changed() {
    if (!m_changed) {
        std::vector<Value> items;
        items.reserve(size());
        for (size_t i = 0; i < size(); ++i) {
            items.push_back(get(i));
        }
        m_changed = make_ref<ValueList>(shape(), element(), std::move(items));
        release_list();
        m_store = nullptr;
        m_blocks.clear();
    }
    return *m_changed;
}

Ref<ManagedObject> FrameArray::copy() const {
    return m_changed ? m_changed->copy() : make_ref<FrameArray>(element(), m_store, m_list, m_blocks);
}

void FrameArray::references(ReferenceVisitor& visitor) {
    if (visitor.takes()) {
        m_list = std::make_shared<const FrameSlots>();
    }
    visitor(m_store);
    visitor(m_blocks);
    visitor(m_changed);
}

}  // namespace zelmor::embed
