// What a build with many changes in it asks at each of their places: whether this one was chosen for the process.
//
// The changed sources include this file (see schema.py); the product knows nothing of it.
#ifndef ZELMOR_TOOLS_MUTANTS_SELECTED_H
#define ZELMOR_TOOLS_MUTANTS_SELECTED_H

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <cstdlib>

// Of what only earns a warning, the most frequent: a source that fails for one is compiled a second time (compile.sh).
#pragma GCC diagnostic ignored "-Wparentheses"
#pragma GCC diagnostic ignored "-Wreturn-local-addr"
#pragma GCC diagnostic ignored "-Wtype-limits"
#pragma GCC diagnostic ignored "-Wunused-but-set-variable"
#pragma GCC diagnostic ignored "-Wunused-function"
#pragma GCC diagnostic ignored "-Wunused-parameter"
#pragma GCC diagnostic ignored "-Wunused-variable"

namespace zelmor_mutants {

// The file named by ZELMOR_MUTANTS_REACHED has a byte for each change, which becomes 1 when its place is reached. A
// file, because tests start processes of their own; mapped, because some of these are ended by force.
inline char* reached_file() {
    const char* const path = std::getenv("ZELMOR_MUTANTS_REACHED");
    const int file = path == nullptr ? -1 : ::open(path, O_RDWR | O_CLOEXEC);
    if (file < 0) {
        return nullptr;
    }
    const off_t size = ::lseek(file, 0, SEEK_END);
    void* const bytes = ::mmap(nullptr, static_cast<size_t>(size), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    ::close(file);
    return bytes == MAP_FAILED ? nullptr : static_cast<char*>(bytes);
}

// Whether ZELMOR_MUTANT names this change. The environment is read once in each shared object.
inline bool chosen(int number) {
    static const int selected = [] {
        const char* const text = std::getenv("ZELMOR_MUTANT");
        return text == nullptr ? 0 : std::atoi(text);
    }();
    static char* const reached = reached_file();
    if (reached != nullptr) {
        reached[number] = 1;
    }
    return selected == number;
}

// One of two constants, as whatever type the place has: a list in braces takes no int for a narrower field.
template <typename Constant>
struct Either {
    Constant value;

    template <typename Type>
    operator Type() const {  // NOLINT(google-explicit-constructor): it stands where a constant stood
        return static_cast<Type>(value);
    }
};

template <typename Changed, typename Original>
Either<Original> either(int number, Changed changed, Original original) {
    return {chosen(number) ? static_cast<Original>(changed) : original};
}

}  // namespace zelmor_mutants

#endif  // ZELMOR_TOOLS_MUTANTS_SELECTED_H
