// UTF-16 text holders: a std::u16string in memory of the C allocator.
#include "exchange/u16_buffer.h"

#include <cstdlib>
#include <new>
#include <utility>

void* fn_create_u16_buffer(const char16_t* chars, int length) {
    // A null pointer is fine for no characters at all, and std::logic_error otherwise.
    std::u16string text = length == 0 ? std::u16string() : std::u16string(chars, static_cast<size_t>(length));
    void* holder = std::malloc(sizeof(std::u16string));
    if (holder == nullptr) {
        throw std::bad_alloc();
    }
    return new (holder) std::u16string(std::move(text));
}

namespace zelmor {

std::u16string take_u16_buffer(void* holder) {
    if (holder == nullptr) {
        return {};
    }
    auto* text = static_cast<std::u16string*>(holder);
    std::u16string result = std::move(*text);
    text->~basic_string();
    std::free(holder);
    return result;
}

}  // namespace zelmor
