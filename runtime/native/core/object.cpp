// Default answers of a managed object.
#include "runtime/native/core/object.h"

#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/core/thread_state.h"

namespace zelmor::embed {

// One within the other, the ends of a long chain would use up the stack.
void ManagedObject::end() const noexcept {
    // The count is about to be overwritten, and the collector reads the counts of all objects that it knows.
    if (is_tracked()) {
        untrack();
    }
    ThreadState& state = thread_state;
    if (state.ending) {
        m_next_ended = nullptr;
        (state.last_ended != nullptr ? state.last_ended->m_next_ended : state.first_ended) = this;
        state.last_ended = this;
        return;
    }
    state.ending = true;
    delete this;
    while (const ManagedObject* object = state.first_ended) {
        state.first_ended = object->m_next_ended;
        if (state.first_ended == nullptr) {
            state.last_ended = nullptr;
        }
        object->m_life = {};
        delete object;
    }
    state.ending = false;
    // Within an entry point the references to Python objects wait for its end.
    if (state.callbacks == nullptr && state.first_reference != nullptr) {
        release_waiting_references(state);
    }
}

void ManagedObject::references(ReferenceVisitor&) {}

std::u16string ManagedObject::to_text() const {
    return to_utf16(type().full_name);
}

int32_t ManagedObject::hash_code() const {
    // A running number, spread over the word, is cheaper than the address and the same in every run. All threads
    // count on: it is given between two callbacks.
    static uint32_t last = 0;
    if (m_life.hash == 0) {
        m_life.hash = static_cast<int32_t>((++last * 2654435761u) | 1u);
    }
    return m_life.hash;
}

Ref<ManagedObject> ManagedObject::copy() const {
    throw_not_supported(std::string("Copying a ") + type().full_name);
}

void ManagedObject::require_live() const {
    if (m_disposed) {
        throw_disposed(type().full_name);
    }
}

}  // namespace zelmor::embed
