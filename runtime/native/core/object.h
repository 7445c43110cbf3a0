// The base class of all managed objects: type, reference count, text form, equality, hash, disposal.
//
// A handle (handles.h) names such an object. Properties are not here: see records.h for objects that store them and
// values.h for the value types.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_OBJECT_H
#define ZELMOR_RUNTIME_NATIVE_CORE_OBJECT_H

#include <cstdint>
#include <string>

#include "runtime/native/catalogue/tables.h"
#include "runtime/native/core/ref.h"

namespace zelmor::embed {

class ReferenceVisitor;

class ManagedObject {
 public:
    explicit ManagedObject(const TypeInfo& type) noexcept : m_type(&type) {}
    ManagedObject(const ManagedObject&) = delete;
    ManagedObject& operator=(const ManagedObject&) = delete;
    virtual ~ManagedObject() {
        if (is_tracked()) {
            untrack();
        }
    }

    const TypeInfo& type() const noexcept { return *m_type; }

    // ToString(): the full name of the type, unless a type has more to say.
    virtual std::u16string to_text() const;
    // Equals(): the same object, unless the type compares by value.
    virtual bool equals(const ManagedObject& other) const { return this == &other; }
    // GetHashCode(): stable for the life of the object.
    virtual int32_t hash_code() const;
    // MemberwiseClone(): a copy with the same values; NotSupportedException where a type cannot be copied.
    virtual Ref<ManagedObject> copy() const;
    // The object that Python is shown in place of this one, which it has no class for; empty where it is shown itself.
    virtual Ref<ManagedObject> shown_as() const { return nullptr; }
    // Called once, by the first dispose(); releases what the object holds before its last reference goes.
    virtual void on_dispose() {}

    void dispose() {
        if (m_disposed) {
            return;
        }
        m_disposed = true;
        on_dispose();
    }
    bool disposed() const noexcept { return m_disposed; }
    // Raises ObjectDisposedException naming the type once the object is disposed.
    void require_live() const;

    // Shows the visitor each counted reference to a managed object that this object owns, exactly once (references.h).
    // A reference that is left out keeps what it refers to alive; one that is shown twice would end an object in use.
    virtual void references(ReferenceVisitor& visitor);
    // Whether the object holds references to others, or may come to hold some.
    bool is_holder() const noexcept { return m_tracking != Tracking::kNever; }
    // Whether the cycle collector knows the object (collector.h).
    bool is_tracked() const noexcept { return m_tracking > Tracking::kNotYet; }

    void retain() const noexcept { ++m_life.count; }
    void release() const noexcept {
        if (--m_life.count == 0) {
            end();
        }
    }

 protected:
    // Of a class that overrides references(): the constructor says that objects of it may come to hold references, and
    // track() is called before the first reference is stored. A class whose objects always hold some calls track() in
    // its constructor. `bytes` is the memory that the object keeps besides its own, such as pixels.
    void may_hold_references() noexcept {
        if (m_tracking == Tracking::kNever) {
            m_tracking = Tracking::kNotYet;
        }
    }
    void track(uint64_t bytes = 0) {
        if (!is_tracked()) [[unlikely]] {
            start_tracking(bytes);
        }
    }

 private:
    friend class Collector;

    enum class Tracking : uint8_t { kNever, kNotYet, kYoung, kMiddle, kOld };

    // Deletes the object, and after it, one by one, those that it and they held the last count of.
    void end() const noexcept;
    void start_tracking(uint64_t bytes);
    void untrack() const noexcept;

    struct Life {
        uint32_t count = 0;
        int32_t hash = 0;  // given at the first question
    };

    const TypeInfo* m_type;
    union {
        mutable Life m_life = {};
        mutable const ManagedObject* m_next_ended;  // once the last count is gone
    };
    bool m_disposed = false;
    mutable Tracking m_tracking = Tracking::kNever;
    mutable uint32_t m_position = 0;  // in its generation, while it is tracked
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_OBJECT_H
