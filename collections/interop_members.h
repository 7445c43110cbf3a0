// The functions and method tables that the records of the interop types point at.
#ifndef ZELMOR_COLLECTIONS_INTEROP_MEMBERS_H
#define ZELMOR_COLLECTIONS_INTEROP_MEMBERS_H

#include "pyshell/python.h"
#include "pyshell/wrapped_object.h"

PyObject* wrpPye_tpsb_idisposable_tp_new(PyTypeObject* type, PyObject* args, PyObject* kwargs);
PyObject* wrpPye_tpsb_iter_tp_new(PyTypeObject* type, PyObject* args, PyObject* kwargs);
PyObject* wrpPye_tpsb_iterable_tp_new(PyTypeObject* type, PyObject* args, PyObject* kwargs);
PyObject* wrpPye_tpsb_icol_tp_new(PyTypeObject* type, PyObject* args, PyObject* kwargs);
PyObject* wrpPye_tpsb_ilist_tp_new(PyTypeObject* type, PyObject* args, PyObject* kwargs);
PyObject* wrpPye_tpsb_array_tp_new(PyTypeObject* type, PyObject* args, PyObject* kwargs);
PyObject* wrpPye_tpsb_arrlist_tp_new(PyTypeObject* type, PyObject* args, PyObject* kwargs);
PyObject* wrpPye_tpsb_colbase_tp_new(PyTypeObject* type, PyObject* args, PyObject* kwargs);
PyObject* wrpPye_tpsb_rocolbase_tp_new(PyTypeObject* type, PyObject* args, PyObject* kwargs);

namespace zelmor {

extern PyMethodDef disposable_methods[];
extern PyMethodDef iter_methods[];
extern PyMethodDef iterable_methods[];
extern PyMethodDef icol_methods[];
extern PyMethodDef ilist_methods[];
extern PyMethodDef array_methods[];
extern PyMethodDef arrlist_methods[];
extern PyMethodDef colbase_methods[];
extern PyMethodDef rocolbase_methods[];

// `CollectionBase` has the slots of "ilist", `ReadOnlyCollectionBase` those of "icol".
extern PySequenceMethods icol_sequence;
extern PySequenceMethods ilist_sequence;
extern PySequenceMethods array_sequence;
extern PySequenceMethods arrlist_sequence;
extern PyMappingMethods ilist_mapping;
extern PyMappingMethods array_mapping;
extern PyMappingMethods arrlist_mapping;
extern PyGetSetDef icol_getset[];
extern PyGetSetDef ilist_getset[];
extern PyGetSetDef array_getset[];
extern PyGetSetDef arrlist_getset[];

}  // namespace zelmor

#endif  // ZELMOR_COLLECTIONS_INTEROP_MEMBERS_H
