// The holder in which the managed side hands over a UTF-16 text that never becomes a Python string: the name of a
// run-time type.
#ifndef ZELMOR_EXCHANGE_U16_BUFFER_H
#define ZELMOR_EXCHANGE_U16_BUFFER_H

#include <string>

// Copies `length` code units into a new holder, owned by the receiver. Called by the managed side.
void* fn_create_u16_buffer(const char16_t* chars, int length);

namespace zelmor {

// The text of a holder, which is released. A null holder gives the empty text.
std::u16string take_u16_buffer(void* holder);

}  // namespace zelmor

#endif  // ZELMOR_EXCHANGE_U16_BUFFER_H
