// Counted reference to a managed object.
//
// The count sits in the object and is not atomic: every entry point runs under the caller's lock, on one thread at a
// time. Nothing here may be used from a worker thread of an image library.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_REF_H
#define ZELMOR_RUNTIME_NATIVE_CORE_REF_H

#include <cstddef>
#include <type_traits>
#include <utility>

namespace zelmor::embed {

// Owns one count of a T, or is empty. T is ManagedObject or derives from it.
template <class T>
class Ref {
 public:
    constexpr Ref() noexcept = default;
    constexpr Ref(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)
    explicit Ref(T* object) noexcept : m_object(object) {
        if (m_object != nullptr) {
            m_object->retain();
        }
    }
    Ref(const Ref& other) noexcept : Ref(other.m_object) {}
    Ref(Ref&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    Ref(const Ref<U>& other) noexcept : Ref(static_cast<T*>(other.get())) {}  // NOLINT(google-explicit-constructor)
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    Ref(Ref<U>&& other) noexcept : m_object(other.detach()) {}  // NOLINT(google-explicit-constructor)
    ~Ref() {
        if (m_object != nullptr) {
            m_object->release();
        }
    }
    Ref& operator=(Ref other) noexcept {
        std::swap(m_object, other.m_object);
        return *this;
    }

    T* get() const noexcept { return m_object; }
    T& operator*() const noexcept { return *m_object; }
    T* operator->() const noexcept { return m_object; }
    explicit operator bool() const noexcept { return m_object != nullptr; }
    friend bool operator==(const Ref& a, const Ref& b) noexcept { return a.m_object == b.m_object; }

    // Gives the count away; the caller must hand it to attach() or release it.
    [[nodiscard]] T* detach() noexcept { return std::exchange(m_object, nullptr); }
    // Takes over a count that detach() gave away.
    static Ref attach(T* object) noexcept {
        Ref ref;
        ref.m_object = object;
        return ref;
    }

 private:
    T* m_object = nullptr;
};

// Makes an object and the first reference to it.
template <class T, class... Args>
Ref<T> make_ref(Args&&... args) {
    return Ref<T>(new T(std::forward<Args>(args)...));
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_REF_H
