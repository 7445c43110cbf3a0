// The yardstick: what a careful programmer would write by hand in C for the few members that the bench measures.
//
// It calls the same delegates of the same running runtime as zelmor.imaging does, parses with the same function and
// formats, and keeps the same discipline: a test of the error indicator after every call, one handle owned by one
// object and given back once, overloads tried in order with one message each when none fits. Of everything that makes
// the bridge general (casts, host states, wrappers of unrelated types, subclasses) it has nothing.
#define PY_SSIZE_T_CLEAN
#include <Python.h>
#include <dlfcn.h>
#include <stdint.h>

typedef struct {
    int32_t tag;  // 1: the value is a struct handle
    void* value;
} VariantArg;

typedef struct {
    int32_t length;
    int32_t char_size;
    const void* data;
} PyStringArg;

typedef int (*CreateDelegate)(const char* assembly, const char* type, const char* method, void** delegate);

static struct {
    void (*free_instance)(void*);
    void* (*point_from_xy)(int, int);
    void* (*point_from_size)(const VariantArg*);
    void* (*point_from_dword)(int);
    void* (*point_empty)(void);
    void* (*size_from_point)(const VariantArg*);
    void* (*size_from_wh)(int, int);
    void* (*size_empty)(void);
    int (*size_get_width)(void*);
    void (*size_set_width)(void*, int);
    void* (*rectangle_from_xywh)(int, int, int, int);
    unsigned char (*rectangle_contains_xy)(void*, int, int);
    unsigned char (*rectangle_contains_point)(void*, const VariantArg*);
    unsigned char (*rectangle_contains_rectangle)(void*, const VariantArg*);
    void* (*color_from_name)(const PyStringArg*);
} delegates;

typedef struct {
    PyObject_HEAD void* handle;
} Wrapped;

static PyTypeObject PointType, SizeType, RectangleType, ColorType;

// --- converters -----------------------------------------------------------------------------------------------------

static int convert_int32(PyObject* object, int* out) {
    if (!PyLong_CheckExact(object)) {
        PyErr_Format(PyExc_TypeError, "can't build '%s' from '%s'", "Int32", Py_TYPE(object)->tp_name);
        return 0;
    }
    long value = PyLong_AsLong(object);
    if (value == -1 && PyErr_Occurred()) {
        return 0;
    }
    *out = (int)value;
    return 1;
}

static int convert_string(PyObject* object, PyStringArg* out) {
    if (object == Py_None) {
        out->length = -1;
        return 1;
    }
    if (!PyUnicode_Check(object)) {
        PyErr_Format(PyExc_TypeError, "can't build String from '%s'", Py_TYPE(object)->tp_name);
        return 0;
    }
    if (PyUnicode_READY(object) < 0) {
        return 0;
    }
    out->length = (int32_t)PyUnicode_GET_LENGTH(object);
    out->char_size = (int32_t)PyUnicode_KIND(object);
    out->data = PyUnicode_DATA(object);
    return 1;
}

static int convert_struct(PyObject* object, PyTypeObject* type, const char* name, VariantArg* out) {
    if (Py_TYPE(object) == type) {
        out->tag = 1;
        out->value = ((Wrapped*)object)->handle;
        return 1;
    }
    PyErr_Format(PyExc_TypeError, "can't build %s value from '%s'", name, Py_TYPE(object)->tp_name);
    return 0;
}

static int convert_point(PyObject* object, VariantArg* out) {
    return convert_struct(object, &PointType, "Point", out);
}

static int convert_size(PyObject* object, VariantArg* out) {
    return convert_struct(object, &SizeType, "Size", out);
}

static int convert_rectangle(PyObject* object, VariantArg* out) {
    return convert_struct(object, &RectangleType, "Rectangle", out);
}

// --- objects --------------------------------------------------------------------------------------------------------

static PyObject* wrap(void* handle, PyTypeObject* type) {
    Wrapped* self = (Wrapped*)type->tp_alloc(type, 0);
    if (!self) {
        delegates.free_instance(handle);
        return NULL;
    }
    self->handle = handle;
    return (PyObject*)self;
}

static void dealloc(Wrapped* self) {
    if (self->handle) {
        delegates.free_instance(self->handle);
        self->handle = NULL;
    }
    Py_TYPE(self)->tp_free(self);
}

// Takes the failed parse's message out of the way, so that the next overload starts clean.
static void remember_failure(PyObject** error) {
    PyObject *type, *traceback;
    PyErr_Fetch(&type, error, &traceback);
    Py_XDECREF(type);
    Py_XDECREF(traceback);
}

static void forget_failures(PyObject** errors, int count) {
    for (int i = 0; i < count; i++) {
        Py_XDECREF(errors[i]);
    }
}

static void raise_failures(PyObject** errors, int count) {
    PyObject* messages = PyList_New(count);
    if (!messages) {
        forget_failures(errors, count);
        return;
    }
    for (int i = 0; i < count; i++) {
        PyList_SET_ITEM(messages, i, PyObject_Str(errors[i]));
        Py_DECREF(errors[i]);
    }
    PyErr_SetObject(PyExc_TypeError, messages);
    Py_DECREF(messages);
}

// Ends a constructor whose overload number `failed` has been settled on.
static int constructed(Wrapped* self, void* handle, PyObject** errors, int failed) {
    self->handle = handle;
    forget_failures(errors, failed);
    return PyErr_Occurred() ? -1 : 0;
}

static int Point_init(Wrapped* self, PyObject* args, PyObject* kwargs) {
    static char* xy_names[] = {"x", "y", NULL};
    static char* size_names[] = {"size", NULL};
    static char* dword_names[] = {"dw", NULL};
    static char* no_names[] = {NULL};
    PyObject* errors[4] = {NULL};
    int x = 0, y = 0, dword = 0;
    VariantArg size = {0, NULL};
    if (PyArg_ParseTupleAndKeywords(args, kwargs, "O&O&", xy_names, convert_int32, &x, convert_int32, &y)) {
        return constructed(self, delegates.point_from_xy(x, y), errors, 0);
    }
    remember_failure(&errors[0]);
    if (PyArg_ParseTupleAndKeywords(args, kwargs, "O&", size_names, convert_size, &size)) {
        return constructed(self, delegates.point_from_size(&size), errors, 1);
    }
    remember_failure(&errors[1]);
    if (PyArg_ParseTupleAndKeywords(args, kwargs, "O&", dword_names, convert_int32, &dword)) {
        return constructed(self, delegates.point_from_dword(dword), errors, 2);
    }
    remember_failure(&errors[2]);
    if (PyArg_ParseTupleAndKeywords(args, kwargs, "", no_names)) {
        return constructed(self, delegates.point_empty(), errors, 3);
    }
    remember_failure(&errors[3]);
    raise_failures(errors, 4);
    return -1;
}

static int Size_init(Wrapped* self, PyObject* args, PyObject* kwargs) {
    static char* point_names[] = {"point", NULL};
    static char* wh_names[] = {"width", "height", NULL};
    static char* no_names[] = {NULL};
    PyObject* errors[3] = {NULL};
    VariantArg point = {0, NULL};
    int width = 0, height = 0;
    if (PyArg_ParseTupleAndKeywords(args, kwargs, "O&", point_names, convert_point, &point)) {
        return constructed(self, delegates.size_from_point(&point), errors, 0);
    }
    remember_failure(&errors[0]);
    if (PyArg_ParseTupleAndKeywords(args, kwargs, "O&O&", wh_names, convert_int32, &width, convert_int32, &height)) {
        return constructed(self, delegates.size_from_wh(width, height), errors, 1);
    }
    remember_failure(&errors[1]);
    if (PyArg_ParseTupleAndKeywords(args, kwargs, "", no_names)) {
        return constructed(self, delegates.size_empty(), errors, 2);
    }
    remember_failure(&errors[2]);
    raise_failures(errors, 3);
    return -1;
}

static int Rectangle_init(Wrapped* self, PyObject* args, PyObject* kwargs) {
    static char* names[] = {"x", "y", "width", "height", NULL};
    int x = 0, y = 0, width = 0, height = 0;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "O&O&O&O&", names, convert_int32, &x, convert_int32, &y,
                                     convert_int32, &width, convert_int32, &height)) {
        return -1;
    }
    return constructed(self, delegates.rectangle_from_xywh(x, y, width, height), NULL, 0);
}

// --- members --------------------------------------------------------------------------------------------------------

static PyObject* Size_get_width(Wrapped* self, void* closure) {
    (void)closure;
    int value = delegates.size_get_width(self->handle);
    return PyErr_Occurred() ? NULL : PyLong_FromLong(value);
}

static int Size_set_width(Wrapped* self, PyObject* value, void* closure) {
    (void)closure;
    int width = 0;
    if (!convert_int32(value, &width)) {
        return -1;
    }
    delegates.size_set_width(self->handle, width);
    return PyErr_Occurred() ? -1 : 0;
}

static PyObject* truth(unsigned char value, PyObject** errors, int failed) {
    forget_failures(errors, failed);
    return PyErr_Occurred() ? NULL : PyBool_FromLong(value);
}

static PyObject* Rectangle_contains(Wrapped* self, PyObject* args, PyObject* kwargs) {
    static char* xy_names[] = {"x", "y", NULL};
    static char* point_names[] = {"point", NULL};
    static char* rect_names[] = {"rect", NULL};
    PyObject* errors[3] = {NULL};
    int x = 0, y = 0;
    VariantArg point = {0, NULL}, rect = {0, NULL};
    if (PyArg_ParseTupleAndKeywords(args, kwargs, "O&O&", xy_names, convert_int32, &x, convert_int32, &y)) {
        return truth(delegates.rectangle_contains_xy(self->handle, x, y), errors, 0);
    }
    remember_failure(&errors[0]);
    if (PyArg_ParseTupleAndKeywords(args, kwargs, "O&", point_names, convert_point, &point)) {
        return truth(delegates.rectangle_contains_point(self->handle, &point), errors, 1);
    }
    remember_failure(&errors[1]);
    if (PyArg_ParseTupleAndKeywords(args, kwargs, "O&", rect_names, convert_rectangle, &rect)) {
        return truth(delegates.rectangle_contains_rectangle(self->handle, &rect), errors, 2);
    }
    remember_failure(&errors[2]);
    raise_failures(errors, 3);
    return NULL;
}

static PyObject* Color_from_name(PyObject* self, PyObject* args, PyObject* kwargs) {
    (void)self;
    static char* names[] = {"name", NULL};
    PyStringArg name = {-1, 0, NULL};
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "O&", names, convert_string, &name)) {
        return NULL;
    }
    void* handle = delegates.color_from_name(&name);
    return PyErr_Occurred() ? NULL : wrap(handle, &ColorType);
}

static PyGetSetDef size_properties[] = {
    {"width", (getter)Size_get_width, (setter)Size_set_width, NULL, NULL},
    {NULL, NULL, NULL, NULL, NULL},
};

static PyMethodDef rectangle_methods[] = {
    {"contains", (PyCFunction)(void (*)(void))Rectangle_contains, METH_VARARGS | METH_KEYWORDS, NULL},
    {NULL, NULL, 0, NULL},
};

static PyMethodDef color_methods[] = {
    {"from_name", (PyCFunction)(void (*)(void))Color_from_name, METH_VARARGS | METH_KEYWORDS | METH_STATIC, NULL},
    {NULL, NULL, 0, NULL},
};

#define WRAPPED_TYPE(name)                                                                         \
    PyVarObject_HEAD_INIT(NULL, 0).tp_name = "baseline." name, .tp_basicsize = sizeof(Wrapped),    \
                                .tp_dealloc = (destructor)dealloc, .tp_flags = Py_TPFLAGS_DEFAULT, \
                                .tp_new = PyType_GenericNew

static PyTypeObject PointType = {WRAPPED_TYPE("Point"), .tp_init = (initproc)Point_init};
static PyTypeObject SizeType = {WRAPPED_TYPE("Size"), .tp_init = (initproc)Size_init, .tp_getset = size_properties};
static PyTypeObject RectangleType = {WRAPPED_TYPE("Rectangle"), .tp_init = (initproc)Rectangle_init,
                                     .tp_methods = rectangle_methods};
static PyTypeObject ColorType = {WRAPPED_TYPE("Color"), .tp_methods = color_methods};

// --- module ---------------------------------------------------------------------------------------------------------

// bind(wrapper library, assembly, {class: managed host class}): finds the delegates in the runtime that is already up.
static PyObject* bind(PyObject* self, PyObject* args) {
    (void)self;
    const char *library_path, *assembly;
    PyObject* hosts;
    if (!PyArg_ParseTuple(args, "ssO!", &library_path, &assembly, &PyDict_Type, &hosts)) {
        return NULL;
    }
    void* library = dlopen(library_path, RTLD_NOW | RTLD_NOLOAD);
    if (!library) {
        PyErr_Format(PyExc_RuntimeError, "%s is not loaded: %s", library_path, dlerror());
        return NULL;
    }
    CreateDelegate create = (CreateDelegate)dlsym(library, "coreclr_wrap_create_delegate");
    if (!create) {
        PyErr_SetString(PyExc_RuntimeError, dlerror());
        return NULL;
    }
    const struct {
        const char* type;
        const char* method;
        void** slot;
    } wanted[] = {
        {"ExchangeHost", "FreeInstance", (void**)&delegates.free_instance},
        {"Point", "ctor_000_Point", (void**)&delegates.point_from_xy},
        {"Point", "ctor_001_Point", (void**)&delegates.point_from_size},
        {"Point", "ctor_002_Point", (void**)&delegates.point_from_dword},
        {"Point", "ctor_003_Point", (void**)&delegates.point_empty},
        {"Size", "ctor_000_Size", (void**)&delegates.size_from_point},
        {"Size", "ctor_001_Size", (void**)&delegates.size_from_wh},
        {"Size", "ctor_002_Size", (void**)&delegates.size_empty},
        {"Size", "get_Width", (void**)&delegates.size_get_width},
        {"Size", "set_Width", (void**)&delegates.size_set_width},
        {"Rectangle", "ctor_000_Rectangle", (void**)&delegates.rectangle_from_xywh},
        {"Rectangle", "call_000_Contains", (void**)&delegates.rectangle_contains_xy},
        {"Rectangle", "call_001_Contains", (void**)&delegates.rectangle_contains_point},
        {"Rectangle", "call_002_Contains", (void**)&delegates.rectangle_contains_rectangle},
        {"Color", "call_000_FromName", (void**)&delegates.color_from_name},
    };
    for (size_t i = 0; i < sizeof(wanted) / sizeof(wanted[0]); i++) {
        PyObject* host = PyDict_GetItemString(hosts, wanted[i].type);
        const char* host_class = host ? PyUnicode_AsUTF8(host) : NULL;
        if (!host_class) {
            PyErr_Format(PyExc_KeyError, "no managed host class given for %s", wanted[i].type);
            return NULL;
        }
        int status = create(assembly, host_class, wanted[i].method, wanted[i].slot);
        if (status != 0) {
            PyErr_Format(PyExc_RuntimeError, "%s.%s: status %d", host_class, wanted[i].method, status);
            return NULL;
        }
    }
    Py_RETURN_NONE;
}

static PyMethodDef module_methods[] = {
    {"bind", bind, METH_VARARGS, NULL},
    {NULL, NULL, 0, NULL},
};

static PyModuleDef module = {PyModuleDef_HEAD_INIT, .m_name = "baseline", .m_size = -1, .m_methods = module_methods};

PyMODINIT_FUNC PyInit_baseline(void) {
    PyObject* result = PyModule_Create(&module);
    PyTypeObject* types[] = {&PointType, &SizeType, &RectangleType, &ColorType};
    for (size_t i = 0; result && i < sizeof(types) / sizeof(types[0]); i++) {
        if (PyModule_AddType(result, types[i]) < 0) {
            Py_CLEAR(result);
        }
    }
    return result;
}
