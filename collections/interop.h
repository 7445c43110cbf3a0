// The wrappers of managed collections, enumerators, disposables and streams, in "<module>._wrpgen._interop".
#ifndef ZELMOR_COLLECTIONS_INTEROP_H
#define ZELMOR_COLLECTIONS_INTEROP_H

#include <string>

#include "exchange/wire/records.h"
#include "pyshell/python.h"

extern PyTypeObject wrpPye_tyds_FFFFFFFF_IDisposableWrapper;
extern PyTypeObject wrpPye_tyds_FFFFFFFF_IterWrapper;
extern PyTypeObject wrpPye_tyds_FFFFFFFF_IterableWrapper;
extern PyTypeObject wrpPye_tyds_FFFFFFFF_IColWrapper;
extern PyTypeObject wrpPye_tyds_FFFFFFFF_IListWrapper;
extern PyTypeObject wrpPye_tyds_FFFFFFFF_RoColBaseWrapper;
extern PyTypeObject wrpPye_tyds_FFFFFFFF_ColBaseWrapper;
extern PyTypeObject wrpPye_tyds_FFFFFFFF_ArrayWrapper;
extern PyTypeObject wrpPye_tyds_FFFFFFFF_ArrListWrapper;
extern PyTypeObject wrpPye_tyds_FFFFFFFF_ShlBufferView;
extern PyTypeObject wrpPye_tyds_FFFFFFFF_StreamWrapper;

// Whether a kind cannot be used, with the text that says why.
bool wrpPye_bltp_idisposable_is_not_valid(std::string& message);
bool wrpPye_bltp_iter_is_not_valid(std::string& message);
bool wrpPye_bltp_iterable_is_not_valid(std::string& message);
bool wrpPye_bltp_icol_is_not_valid(std::string& message);
bool wrpPye_bltp_ilist_is_not_valid(std::string& message);
bool wrpPye_bltp_array_is_not_valid(std::string& message);
bool wrpPye_bltp_arrlist_is_not_valid(std::string& message);
bool wrpPye_bltp_colbase_is_not_valid(std::string& message);
bool wrpPye_bltp_rocolbase_is_not_valid(std::string& message);
bool wrpPye_bltp_stream_is_not_valid(std::string& message);

// The guards: 0, or non-zero with a TypeError raised.
int wrpPye_uafn_idisposable_invalidate();
int wrpPye_uafn_iter_invalidate();
int wrpPye_uafn_iterable_invalidate();
int wrpPye_uafn_icol_invalidate();
int wrpPye_uafn_ilist_invalidate();
int wrpPye_uafn_array_invalidate();
int wrpPye_uafn_arrlist_invalidate();
int wrpPye_uafn_colbase_invalidate();
int wrpPye_uafn_rocolbase_invalidate();
int wrpPye_uafn_stream_invalidate();

// "__enter__" and "__exit__" of everything disposable, generated classes included.
PyObject* wrpPye_bltp_idisposable_enter(PyObject* self, PyObject* ignored);
PyObject* wrpPye_bltp_idisposable_exit(PyObject* self, PyObject* args);

// "O&" converters of collection parameters.
int wrpPye_conv_py_to_clr_array(PyObject* object, VariantArg* out);
int wrpPye_conv_py_to_clr_arrlist(PyObject* object, VariantArg* out);
int wrpPye_conv_py_to_clr_colbase(PyObject* object, VariantArg* out);
int wrpPye_conv_py_to_clr_rocolbase(PyObject* object, VariantArg* out);
int wrpPye_conv_py_to_clr_ilist(PyObject* object, VariantArg* out);
int wrpPye_conv_py_to_clr_icollection(PyObject* object, VariantArg* out);
int wrpPye_conv_py_to_clr_iterable(PyObject* object, VariantArg* out);
int wrpPye_conv_py_to_clr_iter(PyObject* object, VariantArg* out);
int wrpPye_conv_py_to_clr_idisposable(PyObject* object, VariantArg* out);
int wrpPye_conv_py_to_clr_stream(PyObject* object, VariantArg* out);

// Builds "_wrpgen" with "_interop" and "_generic" and adds it to the root module. A new reference, or null with a
// Python error set.
PyObject* wrpPye_mlit_FFFFFFFF_common_wrappers(PyObject* root);
PyObject* wrpPye_mlit_FFFFFFFF_interop_wrappers();
PyObject* wrpPygn_mlit_FFFFFFFF_generic_wrappers();

#endif  // ZELMOR_COLLECTIONS_INTEROP_H
