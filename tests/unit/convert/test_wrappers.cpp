// The wrapper types of the converter tests.
#include "test_wrappers.h"

#include "pyshell/markers.h"

namespace {

void sibling_dealloc(PyObject* self) {
    Py_TYPE(self)->tp_free(self);
}

PyTypeObject record(const char* name, destructor dealloc) {
    PyTypeObject type = {};
    type.ob_base = {PyObject_HEAD_INIT(nullptr) 0};
    type.tp_name = name;
    type.tp_basicsize = sizeof(PyClrObject);
    type.tp_dealloc = dealloc;
    return type;
}

using Marker = bool (*)(PyTypeObject*);

PyTypeObject* ready(PyTypeObject& type, Marker mark) {
    EXPECT_EQ(PyType_Ready(&type), 0);
    EXPECT_TRUE(mark(&type));
    return &type;
}

}  // namespace

PyTypeObject* class_wrapper_type() {
    static PyTypeObject type = record("zelmor.imaging.Thing", reinterpret_cast<destructor>(wrapClrObject_tp_dealloc));
    static PyTypeObject* const made = ready(type, fn_set_obj_type_host_markattr);
    return made;
}

PyTypeObject* struct_wrapper_type() {
    static PyTypeObject type = record("zelmor.imaging.Pair", reinterpret_cast<destructor>(wrapClrStruct_tp_dealloc));
    static PyTypeObject* const made = ready(type, fn_set_stc_type_host_markattr);
    return made;
}

PyTypeObject* sibling_class_type() {
    static PyTypeObject type = record("zelmor.pydrawing.Pen", sibling_dealloc);
    static PyTypeObject* const made = ready(type, fn_set_obj_type_host_markattr);
    return made;
}

PyTypeObject* sibling_struct_type() {
    static PyTypeObject type = record("zelmor.pydrawing.Color", sibling_dealloc);
    static PyTypeObject* const made = ready(type, fn_set_stc_type_host_markattr);
    return made;
}
