// What a build with many changes in it asks at each of their places: whether this one was chosen for the process.
//
// The changed sources include this file (see schema.py); the product knows nothing of it.
#ifndef ZELMOR_TOOLS_MUTANTS_SELECTED_H
#define ZELMOR_TOOLS_MUTANTS_SELECTED_H

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <cstdlib>
#include <string>

// Of what only earns a warning, the most frequent: a source that fails for one is compiled a second time (compile.sh).
#pragma GCC diagnostic ignored "-Wparentheses"
#pragma GCC diagnostic ignored "-Wreturn-local-addr"
#pragma GCC diagnostic ignored "-Wtype-limits"
#pragma GCC diagnostic ignored "-Wunused-but-set-variable"
#pragma GCC diagnostic ignored "-Wunused-function"
#pragma GCC diagnostic ignored "-Wunused-parameter"
#pragma GCC diagnostic ignored "-Wunused-variable"

namespace zelmor_mutants {

// What a process was started with: each variable ends with a zero. Read without streams, which a library that is just
// being loaded may not have yet.
inline std::string environment_of(const std::string& process) {
    std::string text;
    const int file = ::open(("/proc/" + process + "/environ").c_str(), O_RDONLY | O_CLOEXEC);
    char piece[4096];
    for (ssize_t count = 0; file >= 0 && (count = ::read(file, piece, sizeof piece)) > 0;) {
        text.append(piece, static_cast<size_t>(count));
    }
    if (file >= 0) {
        ::close(file);
    }
    return text;
}

// A variable of the environment; empty if it is not set. The runtime starts its helper programs without an environment,
// so that theirs is that of the process that started them.
inline std::string variable(const std::string& name) {
    if (const char* const text = std::getenv(name.c_str())) {
        return text;
    }
    const std::string own = environment_of("self");
    const std::string entries = '\0' + (own.empty() ? environment_of(std::to_string(::getppid())) : own);
    const std::string begin = '\0' + name + '=';
    const size_t at = entries.find(begin);
    return at == std::string::npos ? std::string() : entries.c_str() + at + begin.size();
}

// The file named by ZELMOR_MUTANTS_REACHED has a byte for each change, which becomes 1 when its place is reached. A
// file, because tests start processes of their own; mapped, because some of these are ended by force.
inline char* reached_file() {
    const std::string path = variable("ZELMOR_MUTANTS_REACHED");
    const int file = path.empty() ? -1 : ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    if (file < 0) {
        return nullptr;
    }
    const off_t size = ::lseek(file, 0, SEEK_END);
    void* const bytes = ::mmap(nullptr, static_cast<size_t>(size), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    ::close(file);
    return bytes == MAP_FAILED ? nullptr : static_cast<char*>(bytes);
}

// The environment is read once in each shared object.
struct Choice {
    int number = std::atoi(variable("ZELMOR_MUTANT").c_str());
    char* reached = reached_file();
};
inline const Choice& choice() {
    static const Choice made;
    return made;
}
// Before a helper program limits itself, which keeps it from opening files.
inline const Choice& at_start = choice();

// Whether ZELMOR_MUTANT names this change.
inline bool chosen(int number) {
    if (choice().reached != nullptr) {
        choice().reached[number] = 1;
    }
    return choice().number == number;
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
