// The yardstick for reading into memory: what a loop over memcpy moves, a chunk at a time, and nothing else.
//
// It parses its arguments and takes its buffers once; a reader that is called for each chunk cannot be faster.
#define PY_SSIZE_T_CLEAN
#include <Python.h>
#include <string.h>

// read_all(source, target): the source goes through the target from beginning to end; the bytes moved.
static PyObject* read_all(PyObject* module, PyObject* args) {
    (void)module;
    Py_buffer source, target;
    if (!PyArg_ParseTuple(args, "y*w*", &source, &target)) {
        return NULL;
    }
    Py_ssize_t moved = 0;
    while (target.len > 0 && moved < source.len) {
        Py_ssize_t count = source.len - moved < target.len ? source.len - moved : target.len;
        memcpy(target.buf, (const char*)source.buf + moved, (size_t)count);
        moved += count;
    }
    PyBuffer_Release(&source);
    PyBuffer_Release(&target);
    return PyLong_FromSsize_t(moved);
}

static PyMethodDef methods[] = {
    {"read_all", read_all, METH_VARARGS, NULL},
    {NULL, NULL, 0, NULL},
};

static struct PyModuleDef definition = {
    PyModuleDef_HEAD_INIT, "memory_reader", NULL, -1, methods, NULL, NULL, NULL, NULL};

PyMODINIT_FUNC PyInit_memory_reader(void) {
    return PyModule_Create(&definition);
}
