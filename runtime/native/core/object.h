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

class ManagedObject {
 public:
    explicit ManagedObject(const TypeInfo& type) noexcept : m_type(&type) {}
    ManagedObject(const ManagedObject&) = delete;
    ManagedObject& operator=(const ManagedObject&) = delete;
    virtual ~ManagedObject() = default;

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

    void retain() const noexcept { ++m_life.count; }
    void release() const noexcept {
        if (--m_life.count == 0) {
            end();
        }
    }

 private:
    // Deletes the object, and after it, one by one, those that it and they held the last count of.
    void end() const noexcept;

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
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_OBJECT_H
