// Files whose content the runtime is about to change where they are, as opposed to replacing them by others.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_FILE_CHANGES_H
#define ZELMOR_RUNTIME_NATIVE_CORE_FILE_CHANGES_H

#include <sys/stat.h>

namespace zelmor::embed {

// A function that is called before each such change, defined at namespace scope. It may refuse the change by an
// exception.
class BeforeFileChange {
 public:
    using Function = void (*)(const struct stat& file);
    explicit BeforeFileChange(Function function);

 private:
    friend void announce_change(int descriptor);
    Function m_function;
    const BeforeFileChange* m_next;
};

// Calls the functions for an open file; what is no regular file has no content to change.
void announce_change(int descriptor);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_FILE_CHANGES_H
