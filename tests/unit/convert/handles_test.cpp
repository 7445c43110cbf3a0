// The untested handle reader: the word behind the object head, whatever the object.
#include "convert/handles.h"

#include "bridge_test.h"
#include "test_wrappers.h"

namespace {

class Handles : public BridgeTest {};

TEST_F(Handles, TheHandleOfAnyWrapperIsCopied) {
    int target = 0;
    for (PyTypeObject* type : {class_wrapper_type(), struct_wrapper_type(), sibling_class_type()}) {
        const Wrapper wrapper(type, &target);
        void* handle = nullptr;
        EXPECT_EQ(fn_py_unknown_to_clr_unknown(wrapper.get(), &handle), 1);
        EXPECT_EQ(handle, &target);
        const Wrapper empty(type, nullptr);
        EXPECT_EQ(fn_py_unknown_to_clr_unknown(empty.get(), &handle), 1);
        EXPECT_EQ(handle, nullptr);
    }
}

}  // namespace
