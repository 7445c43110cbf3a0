// DisposableObject: the base of everything that can be disposed.
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

bool get_disposed(ManagedObject& self) {
    return self.disposed();
}

const Behavior kMembers[] = {
    {"Zelmor.Imaging.DisposableObject", "get_Disposed", entry<&get_disposed>()},
};
const BehaviorTable table(Assembly::kImaging, kMembers);

}  // namespace

}  // namespace zelmor::embed
