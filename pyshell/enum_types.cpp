// Creation of enumeration classes. They belong to the series of the import under way, or to one of their own.
#include "pyshell/enum_types.h"

#include "pyshell/descriptors.h"
#include "pyshell/enum_series.h"
#include "pyshell/errors.h"
#include "pyshell/markers.h"
#include "pyshell/modules.h"

namespace zelmor {

PyObject* make_enum_pair(const char* name, PyObject* value) {
    if (value == nullptr) {
        return nullptr;
    }
    PyObject* text = PyUnicode_FromString(name);
    if (text == nullptr) {
        Py_DECREF(value);
        return nullptr;
    }
    return Py_BuildValue("(NN)", text, value);
}

PyObject* make_enum_class(const char* name, bool flags, PyObject* members) {
    if (members == nullptr) {
        return nullptr;
    }
    const PyRef owned_members = PyRef::steal(members);
    const PyRef text = PyRef::steal(PyUnicode_FromString(name));
    if (!text) {
        return nullptr;
    }
    if (EnumSeries* series = EnumSeries::current(); series != nullptr) {
        return series->make(flags, text.get(), members);
    }
    EnumSeries alone;
    return alone.make(flags, text.get(), members);
}

PyObject* equip_enum_class(PyObject* enum_class, PyMethodDef* const (&operations)[kEnumOperationCount]) {
    auto* type = reinterpret_cast<PyTypeObject*>(enum_class);
    if (!fn_set_castable_type_markattr(type, Py_Ellipsis)) {
        PyShlErr_TypeInitializationInternalError(kCastableMarkerNotSet, type->tp_name);
        Py_DECREF(enum_class);
        return nullptr;
    }
    // The entries go straight into the dictionary, past the interpreter's cache of attributes. No attribute of the
    // class has been looked up yet, so this has to stay directly behind its creation.
    for (PyMethodDef* operation : operations) {
        PyObject* descriptor = (operation->ml_flags & METH_STATIC) != 0 ? PyShDescr_NewStaticMethod(type, operation)
                                                                        : PyShDescr_NewInstanceMethod(type, operation);
        if (store_static_member(type, operation->ml_name, descriptor) != 0) {
            Py_DECREF(enum_class);
            return nullptr;
        }
    }
    return enum_class;
}

}  // namespace zelmor
