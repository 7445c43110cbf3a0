// Walking over the references that managed objects hold to each other, for the cycle collector.
//
// A class that holds counted references (Ref, Value) to managed objects overrides ManagedObject::references() and shows
// each of them to the visitor. The same walk serves for finding objects and for ending them: a visitor that takes
// leaves empty references behind, and the destructor of the class has to cope with these. References to Python objects
// are not shown; they go when the object that holds them is deleted.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_REFERENCES_H
#define ZELMOR_RUNTIME_NATIVE_CORE_REFERENCES_H

#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "runtime/native/core/value.h"

namespace zelmor::embed {

class ReferenceVisitor {
 public:
    using Found = void (*)(ManagedObject& object, void* context);
    // Calls `found` for each tracked object that is referred to.
    ReferenceVisitor(Found found, void* context) noexcept : m_found(found), m_context(context) {}
    // Moves each reference to the end of `taken`.
    explicit ReferenceVisitor(std::vector<Ref<ManagedObject>>& taken) noexcept : m_taken(&taken) {}

    bool takes() const noexcept { return m_taken != nullptr; }

    template <class T>
    void operator()(Ref<T>& reference) {
        ManagedObject* const object = reference.get();
        if (object == nullptr) {
            return;
        }
        if (m_taken != nullptr) {
            m_taken->push_back(std::move(reference));
        } else if (object->is_tracked()) {
            m_found(*object, m_context);
        }
    }
    void operator()(Value& value) {
        if (auto* reference = std::get_if<Ref<ManagedObject>>(&value)) {
            (*this)(*reference);
        }
    }
    template <class T>
    void operator()(std::vector<T>& items) {
        for (T& item : items) {
            (*this)(item);
        }
    }
    template <class T>
    void operator()(std::optional<T>& item) {
        if (item) {
            (*this)(*item);
        }
    }
    template <class K, class T>
    void operator()(std::map<K, T>& items) {
        for (auto& [key, item] : items) {
            (*this)(item);
        }
    }

 private:
    Found m_found = nullptr;
    void* m_context = nullptr;
    std::vector<Ref<ManagedObject>>* m_taken = nullptr;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_REFERENCES_H
