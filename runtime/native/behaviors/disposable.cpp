// DisposableObject: the base of everything that can be disposed.
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

bool get_disposed(ManagedObject& self) {
    return self.disposed();
}

using DisposableObjectApi = api::DisposableObject;

const BehaviorTable table({
    behavior<&get_disposed, DisposableObjectApi::get_Disposed>(),
});

}  // namespace

}  // namespace zelmor::embed
