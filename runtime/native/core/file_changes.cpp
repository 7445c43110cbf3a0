// The functions that hear of changes of files; see file_changes.h.
#include "runtime/native/core/file_changes.h"

#include <cassert>

namespace zelmor::embed {

namespace {

const BeforeFileChange*& listeners() {
    static const BeforeFileChange* first = nullptr;  // complete once the library is loaded
    return first;
}

}  // namespace

BeforeFileChange::BeforeFileChange(Function function) : m_function(function), m_next(listeners()) {
    listeners() = this;
}

void announce_change(int descriptor) {
    assert(descriptor >= 0);
    struct stat info {};
    if (::fstat(descriptor, &info) != 0 || !S_ISREG(info.st_mode)) {
        return;
    }
    for (const BeforeFileChange* listener = listeners(); listener != nullptr; listener = listener->m_next) {
        listener->m_function(info);
    }
}

}  // namespace zelmor::embed
