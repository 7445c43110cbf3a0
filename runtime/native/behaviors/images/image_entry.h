// Typed entry points of the image classes: as entry<&f>(), with the backend's failures made managed exceptions.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_IMAGE_ENTRY_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_IMAGE_ENTRY_H

#include <utility>

#include "runtime/native/core/entry.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::embed {

// A failure of the backend as the managed side names it. `subject` stands before the text: "Cannot load 'a.png'".
[[noreturn]] void throw_picture_error(const imagework::PictureError& error, const std::string& subject = {});

namespace detail {

template <auto F, class Type = decltype(F)>
struct Translated;

template <auto F, class R, class... P>
struct Translated<F, R (*)(P...)> {
    static R call(P... args) {
        try {
            return F(std::forward<P>(args)...);
        } catch (const imagework::PictureError& error) {
            throw_picture_error(error);
        }
    }
};

}  // namespace detail

template <auto F>
EntryPoint image_entry() {
    return entry<&detail::Translated<F>::call>();
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_IMAGE_ENTRY_H
