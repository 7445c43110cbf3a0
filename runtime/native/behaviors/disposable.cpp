// DisposableObject: the base of all classes whose objects can be disposed.
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

bool get_disposed(ManagedObject& self) {
    return self.disposed();
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&get_disposed, api::DisposableObject::get_Disposed>(),
});

}  // namespace

}  // namespace zelmor::embed
