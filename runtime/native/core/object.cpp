// Default answers of a managed object.
#include "runtime/native/core/object.h"

#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

std::u16string ManagedObject::to_text() const {
    return to_utf16(type().full_name);
}

int32_t ManagedObject::hash_code() const {
    // A running number, spread over the word, is cheaper than the address and the same in every run.
    static uint32_t last = 0;
    if (hash_ == 0) hash_ = static_cast<int32_t>((++last * 2654435761u) | 1u);
    return hash_;
}

Ref<ManagedObject> ManagedObject::copy() const {
    throw_not_supported(std::string("Copying a ") + type().full_name);
}

void ManagedObject::require_live() const {
    if (disposed_) throw_disposed(type().full_name);
}

}  // namespace zelmor::embed
