// Counted reference to a managed object.
//
// The count sits in the object and is not atomic: every entry point runs under the caller's lock, on one thread at a
// time. Nothing here may be used from a worker thread of an image library.
#pragma once

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
    explicit Ref(T* object) noexcept : object_(object) {
        if (object_) object_->retain();
    }
    Ref(const Ref& other) noexcept : Ref(other.object_) {}
    Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    Ref(const Ref<U>& other) noexcept : Ref(static_cast<T*>(other.get())) {}  // NOLINT(google-explicit-constructor)
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    Ref(Ref<U>&& other) noexcept : object_(other.detach()) {}  // NOLINT(google-explicit-constructor)
    ~Ref() {
        if (object_) object_->release();
    }
    Ref& operator=(Ref other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }

    T* get() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    T* operator->() const noexcept { return object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }
    friend bool operator==(const Ref& a, const Ref& b) noexcept { return a.object_ == b.object_; }

    // Gives the count away; the caller must hand it to attach() or release it.
    [[nodiscard]] T* detach() noexcept { return std::exchange(object_, nullptr); }
    // Takes over a count that detach() gave away.
    static Ref attach(T* object) noexcept {
        Ref ref;
        ref.object_ = object;
        return ref;
    }

 private:
    T* object_ = nullptr;
};

// Makes an object and the first reference to it.
template <class T, class... Args>
Ref<T> make_ref(Args&&... args) {
    return Ref<T>(new T(std::forward<Args>(args)...));
}

}  // namespace zelmor::embed
