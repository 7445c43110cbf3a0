// Messages that are raised again and again, each made once.
//
// Where a name has several overloads, a failed attempt is an everyday event: its message is kept for a moment and
// dropped when the next overload fits. To format it takes longer than all the rest of the attempt.
#ifndef ZELMOR_PYSHELL_REMEMBERED_TEXTS_H
#define ZELMOR_PYSHELL_REMEMBERED_TEXTS_H

#include <array>
#include <cstdint>

#include "pyshell/python.h"

namespace zelmor {

// A table of texts by what they tell of: numbers, and addresses of static data. Each key has one place, and takes it
// from the key that had it before. Guarded by the interpreter lock; the texts live as long as the process.
template <class Key, size_t Places>
class RememberedTexts {
 public:
    // The text of this key, borrowed, made by `make` if it is not here. Null with an exception set if that fails.
    template <class Make>
    PyObject* get(const Key& key, size_t hash, Make make) {
        Place& place = m_places[hash % Places];
        if (place.text == nullptr || place.key != key) {
            PyObject* text = make();
            if (text == nullptr) {
                return nullptr;
            }
            // Making it can run any code, which may have filled the place meanwhile.
            Py_XDECREF(place.text);
            place = {key, text};
        }
        return place.text;
    }

 private:
    struct Place {
        Key key;
        PyObject* text;
    };

    std::array<Place, Places> m_places{};
};

inline size_t hash_of_address(const void* address) {
    return reinterpret_cast<uintptr_t>(address) / sizeof(void*);
}

}  // namespace zelmor

#endif  // ZELMOR_PYSHELL_REMEMBERED_TEXTS_H
